// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_SPAN_H
#define FIELDSTORE_SPAN_H

#include <cstddef>
#include <type_traits>
#include <vector>

namespace fieldstore {

/// Values that lie in a row and belong to someone else.
template <typename T>
class Span {
public:
    using value_type = std::remove_const_t<T>;

    Span() = default;
    Span(T* start, std::size_t length) : first(start), count(length) {}
    /// Of the values of a vector, as long as they stay where they are.
    template <typename Allocator>
    Span(const std::vector<value_type, Allocator>& values)
        : first(values.data()), count(values.size()) {}

    T* begin() const { return first; }
    T* end() const { return first + count; }
    T* data() const { return first; }
    std::size_t size() const { return count; }
    bool empty() const { return count == 0; }
    T& operator[](std::size_t index) const { return first[index]; }
    std::vector<value_type> ToVector() const { return {begin(), end()}; }

private:
    T* first = nullptr;
    std::size_t count = 0;
};

}  // namespace fieldstore

#endif
