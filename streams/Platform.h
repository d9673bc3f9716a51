// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_PLATFORM_H
#define FIELDSTORE_PLATFORM_H

#include <fstream>
#include <optional>
#include <string>
#include <string_view>

/// What differs between operating systems; the build picks Platform_posix.cpp or
/// Platform_windows.cpp.
namespace fieldstore::platform {

/// Creates a file with this content and closes it; fails when anything of that name exists, a link
/// included. Returns whether it was created.
bool CreateExclusively(const std::string& path, std::string_view content = {});

/// What the name of a file that is to replace another has behind that file's name; numbers follow.
inline constexpr char kReplacementSuffix[] = ".new";

/// Creates an empty file beside `target`, with its permissions, that is to be renamed over it, and
/// returns its path: `target` with kReplacementSuffix and numbers added. "" when `target` can only
/// be written in place: it is no plain file, belongs to someone else, has several names, may not be
/// written, or its directory takes no new file. Nothing when the attempt failed and may succeed
/// later.
std::optional<std::string> CreateBeside(const std::string& target);

/// Appends to a file, which is created when it is missing. Refuses links, files with several names
/// and what is no plain file, which others may have planted in a shared directory. Returns whether
/// all was written.
bool AppendText(const std::string& path, std::string_view text);

/// Opens a file that other processes may read and write meanwhile. Failure leaves the fail state.
void OpenShared(std::ifstream& file, const std::string& path, std::ios::openmode mode);
void OpenShared(std::ofstream& file, const std::string& path, std::ios::openmode mode);

}  // namespace fieldstore::platform

#endif
