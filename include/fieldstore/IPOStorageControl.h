// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_IPOSTORAGECONTROL_H
#define FIELDSTORE_IPOSTORAGECONTROL_H

#include <string>

#include "fieldstore/export.h"

/// What an object's storage does beyond IPOBase: how safe a commit is, and why something failed.
///
/// Every object that NewInstance creates has it; reach it with
/// std::dynamic_pointer_cast<IPOStorageControl>(object). The rules for threads are those of
/// IPOBase. Nothing here raises, but for std::bad_alloc.
class FIELDSTORE_INTERFACE IPOStorageControl {
public:
    /// What Commit() waits for before it returns 0. Any integer may arrive.
    enum EDurability : int {
        /// The data and their name are on the disk, and survive a power cut. A later commit under
        /// the lock notices what a power cut left of a commit that had not returned.
        eSynced = 1,
        /// The system has the data, and they survive the death of the process. A power cut within
        /// the next half minute or so may take the commit back, or leave a torn end that later
        /// commits do not notice, and lose the old content of a file that was replaced.
        eUnsynced = 2
    };

    IPOStorageControl(const IPOStorageControl&) = delete;
    IPOStorageControl& operator=(const IPOStorageControl&) = delete;
    virtual ~IPOStorageControl() = default;

    /// Sets what the commits of this object wait for, beginning with the next one, that of its
    /// destructor included. New objects have eSynced. Returns 0; 1 for another value, which changes
    /// nothing.
    virtual int SetDurability(EDurability durability) = 0;

    /// Why the last CreateStorageInterface, Commit, Load, LoadFile or DeleteStorage of this object
    /// failed: one sentence with the path and, where there is one, the system's reason, for people
    /// to read. Empty when it succeeded, and for a new object. A load that LoadFile does not tell
    /// of counts as failed here.
    virtual std::string GetLastError() = 0;

protected:
    IPOStorageControl() = default;
};

#endif
