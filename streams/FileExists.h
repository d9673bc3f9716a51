// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_FILE_EXISTS_H
#define FIELDSTORE_FILE_EXISTS_H

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <string>

namespace fieldstore {

/// Whether something of that name exists. A missing file or directory is false; a query that fails
/// raises std::filesystem::filesystem_error with the operation name "exists".
inline bool FileExists(const std::string& path) {
    std::error_code error;
    const auto type = std::filesystem::status(path, error).type();
    if (type == std::filesystem::file_type::not_found) return false;
    if (type == std::filesystem::file_type::none)
        throw std::filesystem::filesystem_error("exists", path, error);
    return true;
}

/// Removes a file; returns whether there was one. Raises with the operation name "remove". Needs no
/// memory when there is nothing to report, so that a lock can be given back when none is left.
inline bool RemoveFile(const std::string& path) {
    if (std::remove(path.c_str()) == 0) return true;
    if (errno == ENOENT) return false;
    const std::error_code error(errno, std::generic_category());
    throw std::filesystem::filesystem_error("remove", path, error);
}

}  // namespace fieldstore

#endif
