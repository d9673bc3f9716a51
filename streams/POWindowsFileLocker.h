// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_POWINDOWSFILELOCKER_H
#define FIELDSTORE_POWINDOWSFILELOCKER_H

#include "streams/LockClaim.h"
#include "streams/POFileLocker.h"

/// The marker-file lock on the platform's atomic create-if-absent: whoever creates the marker holds
/// the lock, and its existence is the lock. Nothing is kept in the process, so the marker of a
/// process that died stays until it is removed. The protocol is the same on
/// all platforms.
class POWindowsFileLocker : public POFileLocker {
public:
    using POFileLocker::POFileLocker;

    /// Makes one attempt less than the retry count, each failed one followed by a pause. When the
    /// marker goes away during a pause, whoever has the claim tries for it at once, which does not
    /// count as an attempt. May wait a few milliseconds before the first attempt for another writer
    /// that has the claim.
    void Lock() override;
    void UnlockIfLocked() override;
    /// An absent marker is a released lock.
    void Unlock() override;

private:
    bool TakeDuring(fieldstore::LockClaim::Time pause, fieldstore::LockClaim& claim) const;
    bool TryUnlock() const;
};

#endif
