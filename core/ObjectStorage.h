// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_OBJECT_STORAGE_H
#define FIELDSTORE_OBJECT_STORAGE_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "streams/ILocker.h"
#include "streams/POStreamFileIO.h"
#include "streams/POStreamIO.h"

namespace fieldstore {

/// Where an object is stored: the paths that its host chose, the stream built on them, the lock
/// that goes with it, and the log next to the data.
///
/// The paths take effect with the next Create(); stream and lock keep those that they were built
/// on.
class ObjectStorage {
public:
    /// Builds a stream of a type from 3 to 8 of IPOBase::EStorageType and, when asked for and the
    /// stream writes a file, the lock. Raises for another type, a path with a zero byte and a lock
    /// that would be the data file; what there was stays then.
    void Create(int type, bool withLock);
    /// A stream of that type on a path.
    static std::shared_ptr<POStreamIO> MakeStream(int type, const std::string& path);
    /// Back to no stream and no lock.
    void Drop();

    /// "Null stream function." when there is no stream.
    POStreamIO& Require() const;
    /// The stream in good state, or "Null stream function.", "Bad stream.".
    POStreamIO& RequireGood() const;
    /// The stream as a file's in good state, with the same errors.
    POStreamFileIO& RequireFile() const;
    /// The stream as a file's, nullptr when there is none or it leads to a data service.
    POStreamFileIO* File() const { return dynamic_cast<POStreamFileIO*>(stream.get()); }

    /// Opens the stream for reading; that of an appended file ends where nothing but what was
    /// acknowledged is left. Raises when a file cannot be opened.
    void OpenInput(bool appended) const;

    /// The path of the stream, or the one that it would have.
    std::string Identifier() const {
        return stream ? stream->GetIdentifier() : directory + fileName;
    }
    /// Where the mark of an append may stand, the place next to the data first.
    std::vector<std::string> MarkPlaces() const;
    /// What a load of an appending class may rely on when the power went in an append, or one step
    /// is not done: the length that the data had before. Nothing when no such mark is beside the
    /// data or next to the lock.
    std::optional<std::uint64_t> AcknowledgedLength() const;
    /// Removes what dead writers left of marks, as far as they are marks of these data.
    void RemoveMarks() const noexcept;

    /// The log next to the data; empty without a stream or when its name has no ".".
    std::string LogPath() const;
    /// Appends a line about the stream to that log, or to standard error.
    void Log(const std::string& message, const std::string& logPath) const;

    std::string directory;
    std::string lockDirectory;
    std::string fileName;
    std::shared_ptr<POStreamIO> stream;
    std::shared_ptr<ILocker> locker;
    bool synced = true;  // what a commit acknowledges is on the disk

private:
    void RequireUsableNames() const;
    void MakeLocker();

    std::string lockPath;  // of the locker
};

}  // namespace fieldstore

#endif
