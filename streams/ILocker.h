// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_ILOCKER_H
#define FIELDSTORE_ILOCKER_H

/// A lock between processes that write the same storage.
class ILocker {
public:
    ILocker(const ILocker&) = delete;
    ILocker& operator=(const ILocker&) = delete;
    virtual ~ILocker() = default;

    /// Takes the lock, waiting and retrying. Raises "Unable to acquire file lock.".
    virtual void Lock() = 0;
    /// Unlock() when the lock is taken, by whomever; else nothing.
    virtual void UnlockIfLocked() = 0;
    /// Gives the lock back. Raises "Unable to release file lock.".
    virtual void Unlock() = 0;
    /// Sets the pause between two attempts, in seconds, and their number.
    virtual void SetRetry(double interval, unsigned int count) = 0;

protected:
    ILocker() = default;
};

#endif
