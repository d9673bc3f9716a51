// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_IPOBASE_H
#define FIELDSTORE_IPOBASE_H

#include <memory>
#include <string>

#include "fieldstore/export.h"

/// What every persistent object offers: choosing a storage, writing to it and reading from it.
///
/// Obtain objects from NewInstance() and down-cast them to their class interface with
/// std::dynamic_pointer_cast. The last pointer that is released commits unsaved changes, through
/// the storage built before, and destroys the object; a failure of that commit is appended to the
/// error log (see CreateStorageInterface) and never raised. Changes made before a fork belong to
/// the parent: the copy in the child does not commit them when it is destroyed. Every object also
/// has an IPOStorageControl.
///
/// Threads: one object is used by one thread at a time; different objects are independent.
///
/// Result codes of the operations that return int: 0 success, 1 failure, 2 the file to read is
/// missing, unreadable or no file. Unless an operation says otherwise it raises nothing.
class FIELDSTORE_INTERFACE IPOBase {
public:
    /// Kinds of storage that CreateStorageInterface builds. Any integer may arrive; a value that is
    /// not listed is rejected.
    enum EStorageType : int {
        eReadDefault = 1,      ///< reading, in the class's default mode
        eWriteDefault = 2,     ///< writing, in the class's default mode
        eReadText = 3,         ///< file, text mode, reading
        eWriteText = 4,        ///< file, text mode, writing
        eReadBinary = 5,       ///< file, binary mode, reading
        eWriteBinary = 6,      ///< file, binary mode, writing
        eReadDataService = 7,  ///< data-service stream; it carries no data
        eWriteDataService = 8  ///< the same as eReadDataService
    };

    IPOBase(const IPOBase&) = delete;
    IPOBase& operator=(const IPOBase&) = delete;
    virtual ~IPOBase() = default;

    /// Writes the object to its storage when it was changed or when `force` is set; otherwise
    /// returns 0 and touches nothing.
    ///
    /// Needs write storage (CreateStorageInterface); never builds any. With a lock, waits for it up
    /// to 20 s: 199 attempts 0.1 s apart, and one more whenever the marker goes away. A data file
    /// that cannot be opened for writing is tried 200 times 2 s apart. Classes that append put a
    /// body after those in the file, under the lock after cutting off a torn one that a dead
    /// process left; they fail when the file is damaged before that. The others write a new file
    /// and rename it over the old one where the system can. What a commit acknowledges with 0 is on
    /// the disk, unless IPOStorageControl::SetDurability says otherwise. On failure (1) the data
    /// stay in memory and count as unsaved, the file is as it was before, and a lock taken by this
    /// call is given back; IPOStorageControl::GetLastError tells why. What replaces a file in
    /// place, because it has several names for instance, may leave it cut off, and a disk that
    /// fails after the renaming leaves the new content, which a power cut may take back.
    virtual int Commit(bool force) = 0;

    /// Replaces the data by a copy of those of `source`, which must be of the same class.
    /// Returns 1 and changes nothing for null or another class; copying an object onto itself
    /// returns 0. The copy counts as unsaved.
    virtual int CopyFrom(std::shared_ptr<IPOBase> source) = 0;

    /// Builds the storage that later operations use, on directory + file name, and drops the
    /// previous one; opens nothing.
    ///
    /// `withLock` matters for writing to a file: a marker file next to the data (or in the lock
    /// directory), named like the data with everything from its last "." replaced by ".lck", then
    /// keeps other writers out during each commit. Without it a lock chosen earlier stays in place.
    /// Failures of a destructor are logged next to the data, with the ending "err", unless that
    /// is a link; then they go to standard error.
    /// Returns 1, and keeps the storage there was, for an unknown type, a data file that would be
    /// its own lock, and a zero byte in directory, lock directory or file name.
    virtual int CreateStorageInterface(EStorageType type, bool withLock) = 0;

    /// Deletes the stored file and its lock marker and empties the object. Builds the class's write
    /// storage first when there is none; the object has no storage afterwards. No writer of the
    /// file may be at work: its lock would be removed as well, and what it stores might not load.
    /// Raises std::runtime_error "Unable to destroy stream file." when the file cannot be removed
    /// within 200 attempts 0.1 s apart, "Unable to release file lock." for the marker; the data
    /// are then unchanged.
    virtual int DeleteStorage() = 0;

    /// The file name, without directory. A new object has its class's default, such as
    /// "modeinfo.dat".
    virtual std::string GetFileName() = 0;

    /// Empties the object and reads it from its storage; read storage of the class's default mode
    /// is built unless the current storage is set up for reading. Takes no lock.
    ///
    /// Returns 2 when the file is missing, unreadable or no file (a directory, a pipe, a device), 1
    /// when its content is damaged or incomplete. After a failure the object holds whatever had
    /// been read, counted as saved.
    virtual int Load() = 0;

    /// Points the object at file `name` (a path; the directory is cleared), empties it and loads
    /// it. Returns 0 whether or not the load succeeded: a missing file leaves the object empty. Use
    /// SetDirectory, SetFileName and Load where the difference matters.
    /// Raises std::runtime_error "Failed to create storage interface for persistent object.".
    virtual int LoadFile(const std::string& name) = 0;

    /// Sets the directory of the lock marker, its trailing separator included; empty means the
    /// marker lies next to the data. Takes effect with the next CreateStorageInterface. Returns 0.
    virtual int SetLockDirectory(const std::string& lockDirectory) = 0;

    /// Sets the file name; takes effect with the next CreateStorageInterface. Returns 0.
    virtual int SetFileName(const std::string& fileName) = 0;

    /// Sets the directory of the data file, its trailing separator included: the path is the plain
    /// concatenation of directory and file name. Takes effect with the next CreateStorageInterface.
    /// Returns 0.
    virtual int SetDirectory(const std::string& directory) = 0;

    /// Sets the text of the version line that POBinaryTree and POSolutionMetrics write at the start
    /// of a new file; the other classes ignore it. Returns 0. A text that could not be read back
    /// (over 255 bytes in binary, 254 in text mode, a zero byte, a line end in text mode) makes the
    /// next commit fail.
    virtual int SetVersion(const std::string& version) = 0;

protected:
    IPOBase() = default;
};

#endif
