// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_COPY_H
#define FIELDSTORE_TOOL_COPY_H

#include <ostream>
#include <string>

#include "tool/ResultFile.h"

namespace fieldstore::tool {

/// Copies the bytes of a file from `begin` up to `end`; raises when the file ends before.
/// Requires: begin <= end.
void CopyBytes(const std::string& path, std::uint64_t begin, std::uint64_t end, std::ostream& out);

/// Copies a file's whole bodies as they are; `withVersion` takes what stands before them as well.
/// Requires: a file that is not unreadable.
void CopyBodies(const ResultFile& file, bool withVersion, std::ostream& out);

}  // namespace fieldstore::tool

#endif
