// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_FUZZ_CHILD_H
#define FIELDSTORE_FUZZ_CHILD_H

#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>
#include <string>

namespace fieldstore::fuzz {

/// A value that a process shares with its children.
template <typename T>
class Shared {
public:
    Shared()
        : value(static_cast<T*>(mmap(nullptr, sizeof(T), PROT_READ | PROT_WRITE,
                                     MAP_SHARED | MAP_ANONYMOUS, -1, 0))) {
        if (value == MAP_FAILED) throw std::runtime_error("mmap failed");
    }
    ~Shared() { munmap(value, sizeof(T)); }
    Shared(const Shared&) = delete;
    Shared& operator=(const Shared&) = delete;
    T* operator->() const { return value; }

private:
    T* value;
};

/// How a child ended and what it took.
struct ChildEnd {
    std::string trouble;   // empty when it ended by itself, with status 0
    double seconds = 0;    // on the processor
    double mebibytes = 0;  // the most that it held in memory
};

/// Runs `action` in a child, which an alarm ends after `seconds`; `action` may put the alarm off.
template <typename Action>
ChildEnd InChild(unsigned seconds, Action action) {
    const pid_t child = fork();
    if (child < 0) throw std::runtime_error("fork failed");
    if (child == 0) {
        alarm(seconds);
        action();
        _exit(0);
    }
    int status = 0;
    rusage usage{};
    wait4(child, &status, 0, &usage);
    ChildEnd end;
    constexpr double micro = 1e-6, kibibytesPerMebibyte = 1024;
    end.seconds = static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
                  micro * static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec);
    end.mebibytes = static_cast<double>(usage.ru_maxrss) / kibibytesPerMebibyte;
    if (WIFSIGNALED(status))
        end.trouble =
            WTERMSIG(status) == SIGALRM ? "hangs" : "signal " + std::to_string(WTERMSIG(status));
    else if (WEXITSTATUS(status) != 0)
        end.trouble = "status " + std::to_string(WEXITSTATUS(status));
    return end;
}

}  // namespace fieldstore::fuzz

#endif
