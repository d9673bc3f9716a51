// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_FILE_EXISTS_H
#define FIELDSTORE_FILE_EXISTS_H

#include <cstdint>
#include <filesystem>
#include <string>
#include <system_error>

#include "streams/FileNames.h"

namespace fieldstore {

inline std::filesystem::filesystem_error FileSystemError(const char* operation,
                                                         const std::string& path,
                                                         const std::error_code& reason) {
    return {operation, platform::PathOf(path), reason};
}

/// Whether something of that name exists. A missing file or directory is false; a query that fails
/// raises std::filesystem::filesystem_error with the operation name "exists".
inline bool FileExists(const std::string& path) {
    std::error_code error;
    const auto type = platform::TypeOf(path, platform::Links::Follow, error);
    if (type == std::filesystem::file_type::not_found) return false;
    if (type == std::filesystem::file_type::none) throw FileSystemError("exists", path, error);
    return true;
}

/// The length of a file. Raises with the operation name "size".
inline std::uint64_t FileSize(const std::string& path) {
    std::error_code error;
    const auto size = platform::SizeOf(path, error);
    if (error) throw FileSystemError("size", path, error);
    return size;
}

/// Removes a file; returns whether there was one. Raises with the operation name "remove". Needs no
/// memory when there is nothing to report, so that a lock can be given back when none is left.
inline bool RemoveFile(const std::string& path) {
    const auto error = platform::Remove(path);
    if (!error) return true;
    if (error == std::errc::no_such_file_or_directory) return false;
    throw FileSystemError("remove", path, error);
}

}  // namespace fieldstore

#endif
