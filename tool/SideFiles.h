// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_SIDE_FILES_H
#define FIELDSTORE_TOOL_SIDE_FILES_H

#include <string>
#include <vector>

namespace fieldstore::tool {

// Names of the files that the library and this tool put beside a data file.
inline constexpr const char* kReplacementSuffix = ".new";  // and a number: what is to replace it
inline constexpr const char* kUndoSuffix = ".undo";        // an append is at work, or died
inline constexpr const char* kTemporarySuffix = ".tmp";    // and six characters: this tool's output

/// The marker of a writer's lock on a data file.
std::string LockPathOf(const std::string& dataPath);
/// The mark of an append; it holds the length that the file had before.
std::string UndoPathOf(const std::string& dataPath);

/// Whether a file of that name is one of these, or a log, rather than a data file.
bool IsSideFile(const std::string& name);

/// What interrupted writers left beside a data file and what to do about it, a line each.
std::vector<std::string> LeftBeside(const std::string& dataPath);

}  // namespace fieldstore::tool

#endif
