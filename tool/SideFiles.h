// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_SIDE_FILES_H
#define FIELDSTORE_TOOL_SIDE_FILES_H

#include <string>
#include <vector>

namespace fieldstore::tool {

// What the library (core/SideFiles.h) and this tool put beside a data file.
inline constexpr const char* kTemporarySuffix = ".tmp";  // and six characters: this tool's output

/// Whether a file of that name is one of these, or a log, rather than a data file.
bool IsSideFile(const std::string& name);

/// What interrupted writers left beside a data file and what to do about it, a line each.
std::vector<std::string> LeftBeside(const std::string& dataPath);

}  // namespace fieldstore::tool

#endif
