// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_FILE_IDENTITY_H
#define FIELDSTORE_TOOL_FILE_IDENTITY_H

#include <sys/stat.h>

#include <optional>
#include <string>

namespace fieldstore::tool {

/// What tells whether a file is still the same one with the same content: a picture of the moment
/// in which it was taken.
class FileIdentity {
public:
    /// Of the file that a name leads to; nothing when there is none.
    static std::optional<FileIdentity> Of(const std::string& path) {
        FileIdentity identity;
        if (stat(path.c_str(), &identity.info) != 0) return std::nullopt;
        return identity;
    }
    friend bool operator==(const FileIdentity& a, const FileIdentity& b) {
        return a.info.st_dev == b.info.st_dev && a.info.st_ino == b.info.st_ino &&
               a.info.st_size == b.info.st_size && a.info.st_mtim.tv_sec == b.info.st_mtim.tv_sec &&
               a.info.st_mtim.tv_nsec == b.info.st_mtim.tv_nsec;
    }
    friend bool operator!=(const FileIdentity& a, const FileIdentity& b) { return !(a == b); }

private:
    struct stat info {};
};

}  // namespace fieldstore::tool

#endif
