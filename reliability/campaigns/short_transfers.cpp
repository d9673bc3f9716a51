// SPDX-License-Identifier: Apache-2.0
// Preloaded into a program, makes reads and writes transfer less than was asked for, as pipes,
// networks and signals do: at most SHORT_LIMIT bytes, or half of them when that is not set. Only
// for files below the directory SHORT_BELOW. After each such write it sleeps SHORT_PAUSE
// microseconds, if that is set, so that other programs find the file half written.

// The checked forms of the C library are inline and would stand in the way.
#undef _FORTIFY_SOURCE

#include <dlfcn.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

template <typename Function>
Function* Real(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

bool Concerns(int file) {
    const char* below = std::getenv("SHORT_BELOW");
    if (below == nullptr) return false;
    char target[PATH_MAX];
    const std::string link = "/proc/self/fd/" + std::to_string(file);
    const ssize_t length = readlink(link.c_str(), target, sizeof target);
    const std::size_t wanted = std::strlen(below);
    return length > static_cast<ssize_t>(wanted) && std::strncmp(target, below, wanted) == 0;
}

std::size_t Shortened(int file, std::size_t count) {
    if (count < 2 || !Concerns(file)) return count;
    const char* limit = std::getenv("SHORT_LIMIT");
    return limit == nullptr ? count / 2 : std::min(count, std::size_t(std::atoi(limit)));
}

void PauseAfterWrite(int file) {
    const char* pause = std::getenv("SHORT_PAUSE");
    if (pause != nullptr && Concerns(file)) usleep(static_cast<useconds_t>(std::atoi(pause)));
}

}  // namespace

extern "C" ssize_t read(int file, void* buffer, std::size_t count) {
    return Real<decltype(read)>("read")(file, buffer, Shortened(file, count));
}

extern "C" ssize_t write(int file, const void* buffer, std::size_t count) {
    const ssize_t done = Real<decltype(write)>("write")(file, buffer, Shortened(file, count));
    const int error = errno;
    PauseAfterWrite(file);
    errno = error;
    return done;
}

// The first part that has any bytes, and not all of it.
extern "C" ssize_t writev(int file, const iovec* parts, int count) {
    if (!Concerns(file)) return Real<decltype(writev)>("writev")(file, parts, count);
    for (int i = 0; i < count; ++i)
        if (parts[i].iov_len != 0) return write(file, parts[i].iov_base, parts[i].iov_len);
    return 0;
}
