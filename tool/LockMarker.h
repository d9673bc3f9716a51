// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_LOCK_MARKER_H
#define FIELDSTORE_TOOL_LOCK_MARKER_H

#include <chrono>
#include <optional>
#include <string>

#include "tool/RemovedOnSignal.h"

namespace fieldstore::tool {

/// The marker file that a writer's lock consists of, as it was found; its writer may remove it at
/// any time.
struct LockMarker {
    std::string path;
    std::chrono::seconds age;
    bool isEmptyFile;  // as markers are; what else has such a name belongs to someone
};

/// The marker of a data file, for writers with a lock directory or, where that is "", without. A
/// marker's name gives itself.
std::string MarkerPathFor(const std::string& dataPath, const std::string& lockDirectory);

/// The marker of that name, if there is one.
std::optional<LockMarker> FindMarker(const std::string& markerPath);
/// The marker next to a data file, or a marker itself.
std::optional<LockMarker> FindLock(const std::string& path);

/// Holds the lock of a data file, from its making, which raises at once when another has it, to
/// Release() or its end.
class HeldLock {
public:
    HeldLock(const std::string& dataPath, const std::string& lockDirectory);
    ~HeldLock();
    HeldLock(const HeldLock&) = delete;
    HeldLock& operator=(const HeldLock&) = delete;

    /// Gives the lock back; raises when that fails, as nobody could write any more. Requires: a
    /// lock that was not given back yet.
    void Release();

private:
    std::string marker;  // empty once it was given back
    std::optional<RemovedOnSignal> removal;
};

}  // namespace fieldstore::tool

#endif
