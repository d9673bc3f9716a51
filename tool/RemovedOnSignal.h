// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_REMOVED_ON_SIGNAL_H
#define FIELDSTORE_TOOL_REMOVED_ON_SIGNAL_H

#include <cstddef>
#include <memory>
#include <string>

namespace fieldstore::tool {

/// Sees to it that the usual signals to end remove the files that the objects below name. Signals
/// that are ignored already, as under nohup, stay so. A full quota is no signal to end.
void RemoveFilesOnSignals();

/// A file that does not outlive the program: a signal that ends it removes the file first.
class RemovedOnSignal {
public:
    /// Requires: a path that stays where it is and as it is while the object lives. Raises
    /// std::logic_error for the ninth file at a time.
    explicit RemovedOnSignal(const std::string& path);
    ~RemovedOnSignal();
    RemovedOnSignal(const RemovedOnSignal&) = delete;
    RemovedOnSignal& operator=(const RemovedOnSignal&) = delete;

private:
    std::size_t slot;
};

/// Makes those signals wait while it lives, as between making a file and naming it above.
class HeldSignals {
public:
    HeldSignals();
    ~HeldSignals();
    HeldSignals(const HeldSignals&) = delete;
    HeldSignals& operator=(const HeldSignals&) = delete;

private:
    struct Before;
    std::unique_ptr<Before> before;
};

}  // namespace fieldstore::tool

#endif
