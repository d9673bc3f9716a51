// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_UNSAVED_CHANGES_H
#define FIELDSTORE_UNSAVED_CHANGES_H

#include <cstdint>

#include "streams/Platform.h"

namespace fieldstore {

/// Whether an object has changes that are not stored. They belong to the process that made them: a
/// forked child has a copy, and would store them a second time.
class UnsavedChanges {
public:
    UnsavedChanges& operator=(bool changed) {
        exist = changed;
        if (changed) process = platform::ProcessId();
        return *this;
    }
    operator bool() const { return exist; }
    bool AreOfThisProcess() const { return exist && process == platform::ProcessId(); }

private:
    bool exist = false;
    std::int64_t process = 0;
};

}  // namespace fieldstore

#endif
