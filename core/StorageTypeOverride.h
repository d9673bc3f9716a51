// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_STORAGE_TYPE_OVERRIDE_H
#define FIELDSTORE_STORAGE_TYPE_OVERRIDE_H

#include <array>
#include <cstddef>

namespace fieldstore {

/// The storage types by which one object replaces its class's defaults; 0 means not replaced.
class StorageTypeOverride {
public:
    /// `which` is 0 for reading and 1 for writing; anything else is ignored.
    void Set(int which, unsigned int storageType) {
        if (which == 0 || which == 1) types[static_cast<std::size_t>(which)] = storageType;
    }
    /// The override for a direction, or `classDefault`.
    int Or(int which, int classDefault) const {
        const bool replaceable = which == 0 || which == 1;
        const unsigned int type = replaceable ? types[static_cast<std::size_t>(which)] : 0;
        return type != 0 ? static_cast<int>(type) : classDefault;
    }

private:
    std::array<unsigned int, 2> types{};
};

}  // namespace fieldstore

#endif
