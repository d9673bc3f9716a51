// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_FILE_NAMES_H
#define FIELDSTORE_FILE_NAMES_H

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

/// What is done to files by their names; the build picks FileNames_posix.cpp or
/// FileNames_windows.cpp.
///
/// A name is a string of bytes as hosts give it. Where the system's own names consist of wider
/// characters, it is UTF-8; one that is not is taken to be in the code page of the system. Names
/// may be longer than the system takes without being asked to.
namespace fieldstore::platform {

/// A name as the standard library takes it, and back.
std::filesystem::path PathOf(const std::string& name);
std::string NameOf(const std::filesystem::path& path);

/// Where the last name in a path begins.
std::size_t LastNameIn(const std::string& name);

/// The directory of a path; "." when it names none.
std::string DirectoryOf(const std::string& name);

enum class Links { Follow, Keep };
/// What has that name: not_found for nothing, none with an error when the system cannot tell.
std::filesystem::file_type TypeOf(const std::string& name, Links links, std::error_code& error);
/// The length of a regular file.
std::uint64_t SizeOf(const std::string& name, std::error_code& error);

/// The path of the file itself, so that links in its name stay; "" when it cannot be told.
std::string BehindLinks(const std::string& name);
/// The name from the root of the file system, without a look at the disk.
std::string AbsoluteName(const std::string& name);
/// The same for every way to write the name of a file on this machine.
std::string WholePath(const std::string& name);

/// Whether something has that name; false also when the system cannot tell.
bool Exists(const std::string& name);
bool IsDirectory(const std::string& name);
/// The names of what is in a directory, in no order.
std::vector<std::string> NamesIn(const std::string& directory, std::error_code& error);
/// The name of a file in a directory; "" is the current one.
std::string Joined(const std::string& directory, const std::string& name);

/// Removes a file. Needs no memory when there is nothing to report, if the name is short.
std::error_code Remove(const std::string& name) noexcept;
/// Gives a file another name, whatever file had that before; readers of that one keep it.
std::error_code Rename(const std::string& from, const std::string& to);
/// Whether a failure means that another process has the file open in a way that forbids this, which
/// ends when that one is done.
bool IsInUse(const std::error_code& reason);

}  // namespace fieldstore::platform

#endif
