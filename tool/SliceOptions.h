// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_SLICEOPTIONS_H
#define FIELDSTORE_TOOL_SLICEOPTIONS_H

#include <map>
#include <string>
#include <string_view>

#include "tool/CommandLine.h"
#include "tool/Slice.h"

namespace fieldstore::tool {

/// The options of a slice, as they were given.
using SliceWords = std::map<std::string, std::string>;
/// Describes them, but for the one of a part that the command describes itself; the words must live
/// until the command line is parsed.
void DescribeSlice(CommandLine& command, SliceWords& words, std::string_view except = "");
/// What they mean; raises for words without a meaning.
Slice ParseSlice(const SliceWords& words);

}  // namespace fieldstore::tool

#endif
