// SPDX-License-Identifier: Apache-2.0
#include "streams/POWindowsFileLocker.h"

#include <stdexcept>
#include <system_error>

#include "streams/FileExists.h"
#include "streams/Platform.h"
#include "streams/RetryPause.h"
#include "streams/StopRequest.h"
#include "streams/StreamErrors.h"
#include "streams/StreamMessages.h"
#include "streams/SystemFile.h"

using namespace fieldstore;

void POWindowsFileLocker::Lock() {
    LockClaim claim(lockFileName);
    claim.LetOthersFirst();
    std::error_code reason;
    for (int attempt = 1; attempt < retryCount; ++attempt) {
        reason = platform::CreateExclusively(lockFileName);
        if (!reason) return;
        StopIfRequested();
        const auto pause = PauseFromSeconds(retryInterval);
        if (reason != std::errc::file_exists)
            Pause(pause);
        else if (TakeDuring(pause, claim))
            return;
    }
    throw FileError(messages::kLockNotAcquired, lockFileName, reason);
}

bool POWindowsFileLocker::TakeDuring(LockClaim::Time pause, LockClaim& claim) const {
    while (pause.count() > 0) {
        StopIfRequested();
        const bool isNext = claim.IsNext();
        pause -= claim.Nap(pause);
        if (!isNext || platform::IdentityOf(lockFileName)) continue;
        if (!platform::CreateExclusively(lockFileName)) return true;
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
