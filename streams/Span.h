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
    Span(T* first, std::size_t count) : begin_(first), size_(count) {}
    /// Of the values of a vector, as long as they stay where they are.
    template <typename Allocator>
    Span(const std::vector<value_type, Allocator>& values)
        : begin_(values.data()), size_(values.size()) {}

    T* begin() const { return begin_; }
    T* end() const { return begin_ + size_; }
    T* data() const { return begin_; }
    std::size_t size() const { return size_; }
    bool empty() const { return size_ == 0; }
    T& operator[](std::size_t index) const { return begin_[index]; }
    std::vector<value_type> ToVector() const { return {begin(), end()}; }

private:
    T* begin_ = nullptr;
    std::size_t size_ = 0;
};

}  // namespace fieldstore

#endif
