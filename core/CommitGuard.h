// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_COMMIT_GUARD_H
#define FIELDSTORE_COMMIT_GUARD_H

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "core/AppendMark.h"
#include "core/ObjectStorage.h"
#include "streams/Platform.h"

namespace fieldstore {

/// What the guard of a commit asks of the object that is stored.
struct StoredBodies {
    std::function<std::uint64_t()> endOfWhole;            ///< where the last whole body ends
    std::function<void(const std::string& message)> log;  ///< into the object's error log
};

/// What a running commit has taken hold of: the lock, the mark of its append, the output. All of it
/// is taken back at the end of the guard's life, unless Finish() came before.
///
/// An append under the lock never builds on an end of the data that nobody vouches for. The absence
/// of a mark vouches for it, since every append has one while it runs; where there is a mark, or
/// where none can stand, the file is read through first.
class CommitGuard {
public:
    /// What counts of an append that ended halfway.
    enum class Append { WholeBodies, AllOrNothing };

    CommitGuard(ObjectStorage& where, StoredBodies bodies);
    ~CommitGuard();
    CommitGuard(const CommitGuard&) = delete;
    CommitGuard& operator=(const CommitGuard&) = delete;

    void TakeLock();
    /// Clears up after a writer that died, cutting what it left behind the last whole body, and
    /// sets the mark. Without the lock another writer may be at work, and only the last byte is
    /// looked at. Raises when something other than an append that ended halfway has happened to the
    /// data, and when one that counts as a whole can have no mark.
    void PrepareAppend(Append append);
    void OpenOutput(bool append);
    /// Closes the output and gives everything back. In this order: the data are on the disk before
    /// the mark goes, and the mark is gone, from the disk as well, before the commit is
    /// acknowledged or another writer comes.
    void Finish();

private:
    void VouchForEnd(Append append);
    void CutTornTail(std::uint64_t lengthBefore) const;
    void Cut(std::uint64_t length, std::uint64_t end) const;
    bool SetMark(const std::vector<std::string>& places, const AppendRecord& record);
    void RemoveMarkAt(const std::string& path) const;
    void ClearMark() noexcept;
    void RequireEndedText() const;

    /// The mark of this commit.
    struct Mark {
        std::string path;
        std::optional<platform::FileIdentity> identity;
    };

    ObjectStorage& storage;
    StoredBodies stored;
    bool lockHeld = false;
    bool outputOpened = false;
    std::optional<Mark> mark;
};

}  // namespace fieldstore

#endif
