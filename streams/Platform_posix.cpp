// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "streams/Platform.h"

namespace fieldstore::platform {
namespace {

constexpr mode_t kReadWriteForAll = 0666;  // less the umask

/// A file descriptor that is closed at the end of its life.
class Descriptor {
public:
    Descriptor(const std::string& path, int flags) {
        do {
            number = open(path.c_str(), flags | O_CLOEXEC, kReadWriteForAll);
        } while (number < 0 && errno == EINTR);
    }
    ~Descriptor() { Close(); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    bool IsOpen() const { return number >= 0; }
    int Number() const { return number; }
    bool Close() {
        const int closing = number;
        number = -1;
        return closing < 0 || close(closing) == 0;
    }
    bool Write(std::string_view text) const {
        while (!text.empty()) {
            const ssize_t written = write(number, text.data(), text.size());
            if (written < 0 && errno == EINTR) continue;
            if (written <= 0) return false;
            text.remove_prefix(static_cast<std::size_t>(written));
        }
        return true;
    }

private:
    int number = -1;
};

/// Whether trying again is of no use, unlike after an error of the disk.
bool IsForbidden(int reason) {
    return reason == EACCES || reason == EPERM || reason == EROFS || reason == ENAMETOOLONG;
}

bool IsOwnPlainFile(const struct stat& file) {
    return S_ISREG(file.st_mode) && file.st_nlink == 1 && file.st_uid == geteuid();
}

bool IsWritable(const std::string& path) {
    return faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) == 0;
}

bool GivePermissionsOf(const struct stat& file, int descriptor) {
    struct stat created {};
    if (fstat(descriptor, &created) != 0) return false;
    constexpr auto keepOwner = static_cast<uid_t>(-1);
    if (created.st_gid != file.st_gid && fchown(descriptor, keepOwner, file.st_gid) != 0)
        return false;
    constexpr mode_t permissions = 07777;
    return fchmod(descriptor, file.st_mode & permissions) == 0;
}

/// What CreateBeside() gives after an error: "" to write in place, or nothing to try again.
std::optional<std::string> InPlaceWhenForbidden(int reason) {
    if (IsForbidden(reason)) return "";
    return std::nullopt;
}

// POSIX opens in shared mode anyway. A signal may interrupt the opening of a file on a network.
template <typename File>
void OpenUninterrupted(File& file, const std::string& path, std::ios::openmode mode) {
    do {
        errno = 0;
        file.clear();
        file.open(path, mode);
    } while (!file.is_open() && errno == EINTR);
}

}  // namespace

bool CreateExclusively(const std::string& path, std::string_view content) {
    Descriptor file(path, O_WRONLY | O_CREAT | O_EXCL);
    if (!file.IsOpen()) return false;
    // Without content the name is all there is to it.
    if (content.empty() || (file.Write(content) && file.Close())) return true;
    unlink(path.c_str());
    return false;
}

std::optional<std::string> CreateBeside(const std::string& target) {
    struct stat existing {};
    const bool exists = lstat(target.c_str(), &existing) == 0;
    if (!exists && errno != ENOENT) return InPlaceWhenForbidden(errno);
    if (exists && !IsOwnPlainFile(existing)) return "";
    if (exists && !IsWritable(target)) return InPlaceWhenForbidden(errno);
    constexpr int attempts = 100;  // the names are taken by what processes that died left behind
    for (int attempt = 0; attempt < attempts; ++attempt) {
        std::string path = target + kReplacementSuffix + std::to_string(getpid());
        if (attempt > 0) path += "-" + std::to_string(attempt);
        const Descriptor file(path, O_WRONLY | O_CREAT | O_EXCL);
        if (!file.IsOpen() && errno == EEXIST) continue;
        if (!file.IsOpen()) return InPlaceWhenForbidden(errno);
        if (!exists || GivePermissionsOf(existing, file.Number())) return path;
        const int reason = errno;
        unlink(path.c_str());
        return InPlaceWhenForbidden(reason);
    }
    return "";
}

bool AppendText(const std::string& path, std::string_view text) {
    // Not waiting for the other end of a pipe.
    Descriptor file(path, O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW | O_NONBLOCK);
    struct stat opened {};
    if (!file.IsOpen() || fstat(file.Number(), &opened) != 0) return false;
    if (!S_ISREG(opened.st_mode) || opened.st_nlink != 1) return false;
    return file.Write(text) && file.Close();
}

void OpenShared(std::ifstream& file, const std::string& path, std::ios::openmode mode) {
    OpenUninterrupted(file, path, mode);
}

void OpenShared(std::ofstream& file, const std::string& path, std::ios::openmode mode) {
    OpenUninterrupted(file, path, mode);
}

}  // namespace fieldstore::platform
