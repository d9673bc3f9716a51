// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <atomic>
#include <mutex>
#include <stdexcept>

#include "streams/FileNames.h"
#include "streams/Windows.h"
#include "tool/Progress.h"
#include "tool/RemovedOnSignal.h"

namespace fieldstore::tool {
namespace {

using Name = std::atomic<const char*>;
std::array<Name, 512> names{};

// The handler runs in a thread of its own, which may be made to wait.
std::recursive_mutex& Held() {
    static std::recursive_mutex mutex;
    return mutex;
}

BOOL WINAPI RemoveAndEnd(DWORD /*event*/) {
    Held().lock();  // for good, as the process ends
    for (const Name& name : names)
        if (const char* path = name.load()) platform::Remove(path);
    Progress::Erase();
    return FALSE;  // the system then ends the process
}

}  // namespace

struct HeldSignals::Before {
    std::lock_guard<std::recursive_mutex> lock{Held()};
};

void RemoveFilesOnSignals() {
    SetConsoleCtrlHandler(&RemoveAndEnd, TRUE);
}

RemovedOnSignal::RemovedOnSignal(const std::string& path) : slot(0) {
    for (const char* none = nullptr; slot < names.size(); ++slot, none = nullptr)
        if (names[slot].compare_exchange_strong(none, path.c_str())) return;
    throw std::logic_error("too many temporary files at a time");
}

RemovedOnSignal::~RemovedOnSignal() {
    names[slot].store(nullptr);
}

HeldSignals::HeldSignals() : before(std::make_unique<Before>()) {}
HeldSignals::~HeldSignals() = default;

}  // namespace fieldstore::tool
