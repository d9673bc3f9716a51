// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_SIDE_FILES_H
#define FIELDSTORE_TOOL_SIDE_FILES_H

#include <string>
#include <vector>

#include "streams/Writer.h"

namespace fieldstore::tool {

// What the library (core/SideFiles.h) and this tool put next to a data file.
inline constexpr const char* kTemporarySuffix = ".tmp";  // and six characters: this tool's output
inline constexpr const char* kSealSuffix = ".seal";

/// Whether a file of that name is one of these, a log, or labels, rather than a data file.
bool IsSideFile(const std::string& name);

/// A writer for people: process 4711 on node7.
std::string NameOf(const Writer& writer);

/// What writers have next to a data file, or beside its lock, who they are, and what to do about
/// those that died, a line each.
std::vector<std::string> LeftBeside(const std::string& dataPath);

/// The writers that marks of appends and replacements name, of all data that a lock marker is for,
/// as far as these lie next to the marker or beside `dataPath`.
std::vector<Writer> WritersUnder(const std::string& marker, const std::string& dataPath);

}  // namespace fieldstore::tool

#endif
