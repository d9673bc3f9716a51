// SPDX-License-Identifier: Apache-2.0
#include "streams/POWindowsFileLocker.h"

#include <stdexcept>

#include "streams/FileExists.h"
#include "streams/Platform.h"
#include "streams/RetryPause.h"
#include "streams/StreamMessages.h"

using namespace fieldstore;

void POWindowsFileLocker::Lock() {
    for (int attempt = 1; attempt < retryCount; ++attempt) {
        if (platform::CreateExclusively(lockFileName)) return;
        Pause(PauseFromSeconds(retryInterval));
    }
    throw std::runtime_error(messages::kLockNotAcquired);
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
    if (FileExists(lockFileName)) throw std::runtime_error(messages::kLockNotReleased);
}
