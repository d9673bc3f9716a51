// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_HOST_LOAD_H
#define FIELDSTORE_TOOL_HOST_LOAD_H

#include <string>

#include "tool/ResultFile.h"
#include "tool/TemporaryFile.h"

namespace fieldstore::tool {

/// The result of loading the file as a host does. Requires, as those below: a file that is not
/// unreadable.
int LoadResult(const ResultFile& file);
/// Raises when a host could not load it.
void RequireLoads(const ResultFile& file, const std::string& shownPath);
/// Loads the file as a host does and stores it anew, as one body. Raises when it does not load.
void StoreLoaded(const ResultFile& file, TemporaryFile& target);

}  // namespace fieldstore::tool

#endif
