// SPDX-License-Identifier: Apache-2.0
#include <unistd.h>

#include <array>
#include <atomic>
#include <csignal>
#include <memory>
#include <stdexcept>
#include <string>

#include "tool/Progress.h"
#include "tool/RemovedOnSignal.h"

namespace fieldstore::tool {
namespace {

constexpr std::array kSignals{SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGXCPU, SIGPIPE};

// What the handler reads, which must not lock. An export has a few hundred outputs open at the
// most.
using Name = std::atomic<const char*>;
static_assert(Name::is_always_lock_free);
std::array<Name, 512> names{};

extern "C" void RemoveAndEnd(int number) {
    for (const Name& name : names)
        if (const char* path = name.load()) unlink(path);
    Progress::Erase();
    std::raise(number);  // waits for the return from here, and then has its usual effect
}

}  // namespace

void RemoveFilesOnSignals() {
    // A file that may grow no further is an error of the output, not the end. A closed pipe is the
    // end.
    std::signal(SIGXFSZ, SIG_IGN);
    for (const int number : kSignals) {
        struct sigaction old {};
        sigaction(number, nullptr, &old);
        if (old.sa_handler == SIG_IGN) continue;  // as nohup wants it
        struct sigaction action {};
        action.sa_handler = &RemoveAndEnd;
        action.sa_flags = static_cast<int>(SA_RESETHAND);
        sigaction(number, &action, nullptr);
    }
}

RemovedOnSignal::RemovedOnSignal(const std::string& path) : slot(0) {
    for (const char* none = nullptr; slot < names.size(); ++slot, none = nullptr)
        if (names[slot].compare_exchange_strong(none, path.c_str())) return;
    throw std::logic_error("too many temporary files at a time");
}

RemovedOnSignal::~RemovedOnSignal() {
    names[slot].store(nullptr);
}

struct HeldSignals::Before {
    sigset_t mask{};
};

HeldSignals::HeldSignals() : before(std::make_unique<Before>()) {
    sigset_t held{};
    sigemptyset(&held);
    for (const int number : kSignals) sigaddset(&held, number);
    pthread_sigmask(SIG_BLOCK, &held, &before->mask);
}

HeldSignals::~HeldSignals() {
    pthread_sigmask(SIG_SETMASK, &before->mask, nullptr);
}

}  // namespace fieldstore::tool
