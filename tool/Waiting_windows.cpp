// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <vector>

#include "streams/Windows.h"
#include "tool/Error.h"
#include "tool/Waiting.h"

namespace fieldstore::tool {

/// An event that the handler of Ctrl-C sets wakes the waiting.
struct Interrupt::System {
    static BOOL WINAPI Take(DWORD /*event*/) {
        if (WaitForSingleObject(target, 0) == WAIT_OBJECT_0) return FALSE;  // who asks twice
        SetEvent(target);
        return TRUE;
    }
    static inline HANDLE target = nullptr;
    platform::Handle event{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
};

Interrupt::Interrupt() : system(std::make_unique<System>()) {
    if (!system->event.IsValid()) throw Error("", "no event can be made", "Close other programs.");
    System::target = system->event.Get();
    SetConsoleCtrlHandler(&System::Take, TRUE);
}

Interrupt::~Interrupt() {
    SetConsoleCtrlHandler(&System::Take, FALSE);
}

bool Interrupt::Came() const {
    return WaitForSingleObject(system->event.Get(), 0) == WAIT_OBJECT_0;
}

struct Changes::System {
    std::vector<HANDLE> notifications;
    bool allTold = true;
};

Changes::Changes(const std::set<std::string>& directories) : system(std::make_unique<System>()) {
    constexpr std::size_t most = MAXIMUM_WAIT_OBJECTS - 1;  // with the interrupt
    constexpr DWORD events =
        FILE_NOTIFY_CHANGE_FILE_NAME | FILE_NOTIFY_CHANGE_SIZE | FILE_NOTIFY_CHANGE_LAST_WRITE;
    for (const auto& directory : directories) {
        const HANDLE notification =
            system->notifications.size() < most
                ? FindFirstChangeNotificationW(platform::SystemName(directory).c_str(), FALSE,
                                               events)
                : INVALID_HANDLE_VALUE;
        if (notification == INVALID_HANDLE_VALUE)
            system->allTold = false;
        else
            system->notifications.push_back(notification);
    }
}

Changes::~Changes() {
    for (const HANDLE notification : system->notifications)
        FindCloseChangeNotification(notification);
}

void Changes::Wait(const Interrupt& interrupt, std::chrono::milliseconds most) const {
    std::vector<HANDLE> all{interrupt.system->event.Get()};
    all.insert(all.end(), system->notifications.begin(), system->notifications.end());
    const auto pause = std::min(most, system->allTold ? kLongestWait : kPolling);
    const DWORD woke = WaitForMultipleObjects(static_cast<DWORD>(all.size()), all.data(), FALSE,
                                              static_cast<DWORD>(pause.count()));
    if (woke > WAIT_OBJECT_0 && woke < WAIT_OBJECT_0 + all.size())
        FindNextChangeNotification(all[woke - WAIT_OBJECT_0]);
}

}  // namespace fieldstore::tool
