// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_WAITING_H
#define FIELDSTORE_TOOL_WAITING_H

#include <chrono>
#include <memory>
#include <set>
#include <string>

namespace fieldstore::tool {

/// Ctrl-C, or whatever else tells a program to end, for as long as the object lives: it wakes the
/// waiting. The second one ends the program at once.
class Interrupt {
public:
    Interrupt();
    ~Interrupt();
    Interrupt(const Interrupt&) = delete;
    Interrupt& operator=(const Interrupt&) = delete;
    bool Came() const;

private:
    friend class Changes;
    struct System;
    std::unique_ptr<System> system;
};

/// Waits until something happens in directories, or a little while where the system does not tell.
class Changes {
public:
    explicit Changes(const std::set<std::string>& directories);
    ~Changes();
    Changes(const Changes&) = delete;
    Changes& operator=(const Changes&) = delete;
    /// Ends with an interrupt as well.
    void Wait(const Interrupt& interrupt, std::chrono::milliseconds most) const;

private:
    struct System;
    std::unique_ptr<System> system;
};

// Network file systems tell nothing of what other machines do.
constexpr std::chrono::milliseconds kLongestWait{1000}, kPolling{200};

}  // namespace fieldstore::tool

#endif
