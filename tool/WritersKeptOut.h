// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_WRITERS_KEPT_OUT_H
#define FIELDSTORE_TOOL_WRITERS_KEPT_OUT_H

#include <list>
#include <map>
#include <optional>
#include <string>

#include "tool/LockMarker.h"
#include "tool/System.h"

namespace fieldstore::tool {

/// Keeps the writers of a data file out while it is replaced: holds the locks that they take, those
/// of the name given and, for a link, of the file that it leads to. Until Release(), or the end of
/// the object, which gives the locks back and leaves the marks.
class WritersKeptOut {
public:
    /// Raises when a writer holds a lock; or when the mark of an append stands and nobody has said
    /// where its writer's lock would be, since it may then be at work.
    WritersKeptOut(const std::string& dataPath, const std::string& lockDirectory);
    /// Whether an append has begun or ended all the same.
    bool AppendBegan() const;
    /// Raises when one has.
    void RequireNoAppend() const;
    /// Removes the marks that stood at first and gives the locks back. Requires: what the marks
    /// stand for has been put right; called once.
    void Release();

private:
    void AddName(const std::string& dataPath, const std::string& lockDirectory);

    std::string path;
    std::list<HeldLock> locks;
    /// By the path to which a mark's ending is added, that of the data or of a lock: the mark that
    /// stood at first.
    std::map<std::string, std::optional<system::FileState>> marks;
};

}  // namespace fieldstore::tool

#endif
