// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_COLUMN_SET_H
#define FIELDSTORE_COLUMN_SET_H

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <set>
#include <utility>

#include "streams/LargeVector.h"

namespace fieldstore {

/// A set in one sorted array.
template <typename T>
class ColumnSet {
public:
    using value_type = T;

    ColumnSet() = default;
    explicit ColumnSet(const std::set<T>& set) : elements(set.begin(), set.end()) {}
    /// Of elements in any order.
    explicit ColumnSet(LargeVector<T> unordered) : elements(std::move(unordered)) {
        const auto isDisordered = [](const T& a, const T& b) { return !(a < b); };
        if (std::adjacent_find(elements.begin(), elements.end(), isDisordered) == elements.end())
            return;
        std::sort(elements.begin(), elements.end());
        elements.erase(std::unique(elements.begin(), elements.end()), elements.end());
    }

    auto begin() const { return elements.begin(); }
    auto end() const { return elements.end(); }
    bool empty() const { return elements.empty(); }
    std::size_t size() const { return elements.size(); }
    void clear() { elements = {}; }
    /// The array itself, until the set is changed.
    const LargeVector<T>& Elements() const { return elements; }
    bool Contains(const T& element) const {
        return std::binary_search(elements.begin(), elements.end(), element);
    }
    void Unite(ColumnSet others) {
        if (others.empty()) return;
        if (elements.empty()) return elements.swap(others.elements);
        LargeVector<T> united;
        united.reserve(elements.size() + others.size());
        std::set_union(elements.begin(), elements.end(), others.begin(), others.end(),
                       std::back_inserter(united));
        elements = std::move(united);
    }
    std::set<T> ToSet() const { return {elements.begin(), elements.end()}; }

private:
    LargeVector<T> elements;
};

}  // namespace fieldstore

#endif
