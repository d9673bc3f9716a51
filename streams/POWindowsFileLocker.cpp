// SPDX-License-Identifier: Apache-2.0
#include "streams/POWindowsFileLocker.h"

#include <algorithm>
#include <stdexcept>

#include "streams/FileExists.h"
#include "streams/Platform.h"
#include "streams/RetryPause.h"
#include "streams/StreamErrors.h"

using namespace fieldstore;

namespace {

// How often a waiting writer looks whether the marker is gone: soon at first, when the commit of
// the other may be a short one, then no oftener than a file system of a network bears.
constexpr std::chrono::microseconds kShortestNap{50};
constexpr std::chrono::microseconds kLongestNap{2000};

}  // namespace

void POWindowsFileLocker::Lock() {
    std::error_code reason;
    for (int attempt = 1; attempt < retryCount; ++attempt) {
        reason = platform::CreateExclusively(lockFileName);
        if (!reason) return;
        const auto pause = PauseFromSeconds(retryInterval);
        if (reason != std::errc::file_exists)
            Pause(pause);
        else if (TakeDuring(pause))
            return;
    }
    throw FileError(messages::kLockNotAcquired, lockFileName, reason);
}

bool POWindowsFileLocker::TakeDuring(std::chrono::microseconds pause) const {
    auto nap = kShortestNap;
    while (pause.count() > 0) {
        nap = std::min(nap, pause);
        Pause(nap);
        pause -= nap;
        nap = std::min(2 * nap, kLongestNap);
        if (platform::IdentityOf(lockFileName)) continue;
        if (!platform::CreateExclusively(lockFileName)) return true;
        nap = kShortestNap;  // another was faster, perhaps not for long
    }
    return false;
}

void POWindowsFileLocker::UnlockIfLocked() {
    if (FileExists(lockFileName)) Unlock();
}

bool POWindowsFileLocker::TryUnlock() const {
    try {
        RemoveFile(lockFileName);
        return true;  // also when there was none
    } catch (const std::exception&) {
        return false;  // counts as a failed attempt
    }
}

void POWindowsFileLocker::Unlock() {
    for (int attempt = 0; attempt < retryCount; ++attempt) {
        if (TryUnlock()) return;
        Pause(PauseFromSeconds(retryInterval));
    }
    if (FileExists(lockFileName)) throw FileError(messages::kLockNotReleased, lockFileName, {});
}
