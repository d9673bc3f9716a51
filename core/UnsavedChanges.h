// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_UNSAVED_CHANGES_H
#define FIELDSTORE_UNSAVED_CHANGES_H

#include <cstdint>

#include "streams/Platform.h"

namespace fieldstore {

/// Whether an object has changes that are not stored. They belong to the process that made them: a
/// forked child has a copy, and would store them a second time. Noted with every change, so asking
/// the system for the process would take longer than most changes do.
class UnsavedChanges {
public:
    UnsavedChanges& operator=(bool changed) {
        exist = changed;
        if (changed) forks = platform::ForksSoFar();
        return *this;
    }
    operator bool() const { return exist; }
    bool AreOfThisProcess() const { return exist && forks == platform::ForksSoFar(); }

private:
    bool exist = false;
    std::uint32_t forks = 0;  // of the process that made them
};

}  // namespace fieldstore

#endif
