// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>

#include "tool/Error.h"
#include "tool/Waiting.h"

#if __has_include(<sys/inotify.h>)
#include <sys/inotify.h>
#include <chrono>
#include <cstdint>
#include <memory>
#include <set>
#include <string>
#define FIELDSTORE_HAS_INOTIFY 1
#endif

namespace fieldstore::tool {

/// A pipe that the signal writes to wakes the waiting.
struct Interrupt::System {
    static void Take(int /*number*/) {
        const int kept = errno;
        const auto written = write(target, "", 1);
        static_cast<void>(written);  // a full pipe wakes as well
        errno = kept;
    }
    static inline volatile std::sig_atomic_t target = -1;
    std::array<int, 2> ends{};
    std::array<struct sigaction, 2> before{};
};

Interrupt::Interrupt() : system(std::make_unique<System>()) {
    if (pipe2(system->ends.data(), O_CLOEXEC | O_NONBLOCK) != 0)
        throw Error("", "no pipe can be made", "Close other programs.");
    System::target = system->ends[1];
    struct sigaction action {};
    action.sa_handler = &System::Take;
    action.sa_flags = static_cast<int>(SA_RESETHAND);  // who asks twice need not wait
    sigaction(SIGINT, &action, &system->before[0]);
    sigaction(SIGTERM, &action, &system->before[1]);
}

Interrupt::~Interrupt() {
    sigaction(SIGINT, &system->before[0], nullptr);
    sigaction(SIGTERM, &system->before[1], nullptr);
    for (const int end : system->ends) close(end);
}

bool Interrupt::Came() const {
    pollfd asked{system->ends[0], POLLIN, 0};
    return poll(&asked, 1, 0) > 0;
}

struct Changes::System {
    int descriptor = -1;
    bool allTold = true;
};

#ifdef FIELDSTORE_HAS_INOTIFY

Changes::Changes(const std::set<std::string>& directories) : system(std::make_unique<System>()) {
    system->descriptor = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    constexpr std::uint32_t events =
        IN_MODIFY | IN_CLOSE_WRITE | IN_CREATE | IN_MOVED_TO | IN_MOVED_FROM | IN_DELETE;
    for (const auto& directory : directories)
        if (inotify_add_watch(system->descriptor, directory.c_str(), events) < 0)
            system->allTold = false;
}

#else

Changes::Changes(const std::set<std::string>& /*directories*/)
    : system(std::make_unique<System>()) {}

#endif

Changes::~Changes() {
    if (system->descriptor >= 0) close(system->descriptor);
}

void Changes::Wait(const Interrupt& interrupt, std::chrono::milliseconds most) const {
    const int descriptor = system->descriptor;
    std::array<pollfd, 2> asked{{{interrupt.system->ends[0], POLLIN, 0}, {descriptor, POLLIN, 0}}};
    const bool told = system->allTold && descriptor >= 0;
    const auto pause = std::min(most, told ? kLongestWait : kPolling);
    poll(asked.data(), descriptor >= 0 ? 2 : 1, static_cast<int>(pause.count()));
    if (descriptor < 0) return;
    std::array<char, 4096> events{};
    while (read(descriptor, events.data(), events.size()) > 0) {
    }
}

}  // namespace fieldstore::tool
