// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_IPOSTORAGECONTROL_H
#define FIELDSTORE_IPOSTORAGECONTROL_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include "fieldstore/export.h"

/// What an object's storage does beyond IPOBase: how safe a commit is, why something failed, and
/// the bytes of an object for whoever carries them to a file or to another process in a way of its
/// own (fieldstore/mpi.h does).
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

    /// Which bytes WriteBytes gives. Any integer may arrive.
    enum EBytes : int {
        eStart = 1,  ///< what comes before the first body of a file: a version line, or nothing
        eBody = 2,   ///< what a commit appends to a file, or the content of a replaced one
        eWhole = 3   ///< both, one after the other: a file with only this body
    };

    /// Takes bytes in pieces, in their order; false refuses them, which fails what gives them. A
    /// piece is gone when the call returns.
    using ByteSink = std::function<bool(const char* bytes, std::size_t count)>;

    /// Writes what is to follow the first `length` bytes of a file, through `append` or in
    /// any other way. Returns "" when all of it is in the file, and on the disk as far as it was
    /// not given to `append`; else the reason, without a full stop.
    using AppendWriter = std::function<std::string(std::uint64_t length, const ByteSink& append)>;

    /// Where an object is stored, and whether there is something to store.
    struct StorageState {
        std::string className;  ///< as NewInstance takes it
        std::string path;       ///< of the data file, absolute; without storage, as it would be
        bool appends = false;   ///< a commit appends a body
        bool text = false;      ///< the storage's mode; without storage, that of the class
        bool locked = false;    ///< commits take a lock
        bool synced = false;    ///< eSynced
        bool changed = false;   ///< Commit(false) would store something
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

    // What is added goes behind these, so that hosts need not be compiled again.

    /// The state of the object's storage. Raises std::filesystem::filesystem_error when the current
    /// directory is gone.
    virtual StorageState GetStorageState() = 0;

    /// Gives the bytes that a commit in that mode would write. Touches no storage; the object
    /// counts as changed as before. Gives nothing of data that a commit would refuse. Large values
    /// come in pieces of their own, which need no memory.
    /// Returns 0, or 1 for refused data, a sink that refuses, a DOF list in blocks, whose bytes do
    /// not come in order, and an `which` that is not listed; GetLastError tells. What the sink
    /// raises counts as a refusal.
    virtual int WriteBytes(EBytes which, bool text, const ByteSink& sink) = 0;

    /// Empties the object and reads it from bytes, as IPOBase::Load does from a file with this
    /// content; the storage stays as it is. Results as those of Load.
    virtual int ReadBytes(bool text, const char* bytes, std::uint64_t count) = 0;

    /// An append as one step, of as many bodies as `write` writes: under the lock, with a mark from
    /// which everybody sees that nothing after `length` counts until the step is done; whoever
    /// dies meanwhile, all of it is in the file afterwards, or none. `write` is called once, when
    /// lock and mark are there. What it gave to `append` is brought to the disk, as the object's
    /// durability says, and so is the removal of the mark. Stores nothing of the object itself.
    ///
    /// Returns 0; 1 for a class that replaces its file, storage without a lock, a place where no
    /// mark can be made, and all that fails a commit, `write` included. The file is then as it was;
    /// GetLastError tells the reason, and that of `write`. What `write` raises counts as a failure.
    virtual int AppendBytes(const AppendWriter& write) = 0;

    /// Says that the bytes of the object have reached its file: its changes count as stored.
    virtual void NoteStored() = 0;

protected:
    IPOStorageControl() = default;
};

#endif
