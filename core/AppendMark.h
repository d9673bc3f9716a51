// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_APPEND_MARK_H
#define FIELDSTORE_APPEND_MARK_H

#include <cstdint>
#include <string>

#include "core/SideFiles.h"

namespace fieldstore {

/// A small file beside the data that stands while a body is appended under the lock: the data
/// file's name with ".undo". It holds the length that the data had before. Whoever takes the lock
/// and finds it knows that a writer died, and that the end of the data may be torn.
///
/// It guards against processes that die, not against power cuts: nothing is forced to the disk.
class AppendMark {
public:
    explicit AppendMark(const std::string& dataPath) : path(AppendMarkPathFor(dataPath)) {}

    /// Raises std::filesystem::filesystem_error, as Set() does, when the system cannot tell.
    bool Stands() const;
    /// The recorded length; the largest number when the mark cannot be understood, so that
    /// everything counts as having been there before.
    std::uint64_t Length() const;
    /// Records the data's length, 0 when there are none. A directory that takes no new file leaves
    /// the append unguarded.
    void Set(const std::string& dataPath) const;
    /// Removes the mark. One that stays costs the next commit a look through the data.
    void Clear() const noexcept;

private:
    std::string path;
};

}  // namespace fieldstore

#endif
