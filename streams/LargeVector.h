// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_LARGE_VECTOR_H
#define FIELDSTORE_LARGE_VECTOR_H

#include <cstddef>
#include <limits>
#include <new>
#include <vector>

#include "streams/Platform.h"

namespace fieldstore {

/// Gives large arrays memory that the system is asked to put on large pages. To get a small page,
/// and to give it back, takes the system longer than a load takes to fill it. Numbers that a resize
/// adds have no value yet.
template <typename T>
class LargePages {
public:
    using value_type = T;

    LargePages() = default;
    template <typename U>
    LargePages(const LargePages<U>&) {}  // NOLINT: a container converts it

    T* allocate(std::size_t count) {
        if (count > std::numeric_limits<std::size_t>::max() / sizeof(T)) throw std::bad_alloc();
        const std::size_t size = count * sizeof(T);
        if (size < kLeast) return static_cast<T*>(::operator new(size));
        void* const memory = ::operator new(size, kPage);
        platform::AdviseLargePages(memory, size);
        return static_cast<T*>(memory);
    }
    void deallocate(T* memory, std::size_t count) noexcept {
        if (count * sizeof(T) < kLeast) return ::operator delete(memory);
        ::operator delete(memory, kPage);
    }

    template <typename U>
    void construct(U* place) {
        ::new (static_cast<void*>(place)) U;
    }

    friend bool operator==(const LargePages&, const LargePages&) { return true; }
    friend bool operator!=(const LargePages&, const LargePages&) { return false; }

private:
    static constexpr std::align_val_t kPage{std::size_t{2} << 20};
    static constexpr std::size_t kLeast = std::size_t{4} << 20;  // bytes
};

template <typename T>
using LargeVector = std::vector<T, LargePages<T>>;

}  // namespace fieldstore

#endif
