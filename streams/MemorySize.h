// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_MEMORY_SIZE_H
#define FIELDSTORE_MEMORY_SIZE_H

#include <cstddef>
#include <cstdint>
#include <new>

namespace fieldstore {

/// A count from a file as the size of something in memory. Counts have 64 bits on every system;
/// raises std::bad_alloc for one that this system cannot address.
inline std::size_t MemorySize(std::uint64_t count) {
    const auto size = static_cast<std::size_t>(count);
    if (size != count) throw std::bad_alloc();
    return size;
}

}  // namespace fieldstore

#endif
