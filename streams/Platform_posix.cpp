// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "streams/Platform.h"

namespace fieldstore::platform {
namespace {

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

bool CreateExclusively(const std::string& path) {
    constexpr mode_t readWriteForAll = 0666;  // less the umask
    int descriptor = -1;
    do {
        descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, readWriteForAll);
    } while (descriptor < 0 && errno == EINTR);
    if (descriptor < 0) return false;
    close(descriptor);
    return true;
}

void OpenShared(std::ifstream& file, const std::string& path, std::ios::openmode mode) {
    OpenUninterrupted(file, path, mode);
}

void OpenShared(std::ofstream& file, const std::string& path, std::ios::openmode mode) {
    OpenUninterrupted(file, path, mode);
}

}  // namespace fieldstore::platform
