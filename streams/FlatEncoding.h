// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_FLAT_ENCODING_H
#define FIELDSTORE_FLAT_ENCODING_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <type_traits>
#include <utility>
#include <vector>

#include "streams/RawType.h"
#include "streams/Span.h"

/// The binary encoding of small values straight into and out of memory, for runs of them that lie
/// within a stream buffer as a whole. The bytes are those of the rules in ContainerEncoding.h.
namespace fieldstore {

/// The encoded size of a type whose values all have the same: primitives and pairs of them. 0 for
/// every other type.
template <typename T>
struct FixedSize {
    static constexpr std::size_t value = kIsRawType<T> ? sizeof(T) : 0;
};
template <typename First, typename Second>
struct FixedSize<std::pair<First, Second>> {
    static constexpr std::size_t kFirst = FixedSize<std::remove_const_t<First>>::value;
    static constexpr std::size_t kSecond = FixedSize<Second>::value;
    static constexpr std::size_t value = kFirst != 0 && kSecond != 0 ? kFirst + kSecond : 0;
};
template <typename T>
inline constexpr std::size_t kFixedSize = FixedSize<T>::value;

/// Whether the encoded size of a value is known without a walk through it.
template <typename T>
struct IsFlatType : std::bool_constant<kFixedSize<T> != 0> {};
template <typename T>
struct IsFlatType<std::vector<T>> : std::bool_constant<kFixedSize<T> != 0> {};
template <typename T>
struct IsFlatType<Span<T>> : std::bool_constant<kFixedSize<std::remove_const_t<T>> != 0> {};
template <typename First, typename Second>
struct IsFlatType<std::pair<First, Second>>
    : std::bool_constant<IsFlatType<std::remove_const_t<First>>::value &&
                         IsFlatType<Second>::value> {};
template <typename T>
inline constexpr bool kIsFlat = IsFlatType<T>::value;

template <typename T>
std::size_t FlatSize(const T&) {
    return kFixedSize<T>;
}
template <typename T>
std::size_t FlatSize(const Span<const T>& value) {
    return sizeof(std::uint64_t) + value.size() * kFixedSize<T>;
}
template <typename T>
std::size_t FlatSize(const std::vector<T>& value) {
    return FlatSize(Span<const T>(value));
}
template <typename First, typename Second>
std::size_t FlatSize(const std::pair<First, Second>& value) {
    return FlatSize(value.first) + FlatSize(value.second);
}

/// Store a value at `to` and return the end.
template <typename T>
char* StoreFlat(char* to, const T& value) {
    std::memcpy(to, &value, sizeof value);
    return to + sizeof value;
}
template <typename First, typename Second>
char* StoreFlat(char* to, const std::pair<First, Second>& value);
template <typename T>
char* StoreFlat(char* to, const Span<const T>& value) {
    to = StoreFlat(to, static_cast<std::uint64_t>(value.size()));
    if constexpr (kIsRawType<T>) {
        if (!value.empty()) std::memcpy(to, value.data(), value.size() * sizeof(T));
        return to + value.size() * sizeof(T);
    } else {
        for (const T& element : value) to = StoreFlat(to, element);
        return to;
    }
}
template <typename T>
char* StoreFlat(char* to, const std::vector<T>& value) {
    return StoreFlat(to, Span<const T>(value));
}
template <typename First, typename Second>
char* StoreFlat(char* to, const std::pair<First, Second>& value) {
    return StoreFlat(StoreFlat(to, value.first), value.second);
}

/// Fetch a value of fixed size from `from` and return the end.
template <typename T>
const char* FetchFixed(const char* from, T& value) {
    std::memcpy(static_cast<void*>(&value), from, sizeof value);
    return from + sizeof value;
}
template <typename First, typename Second>
const char* FetchFixed(const char* from, std::pair<First, Second>& value) {
    return FetchFixed(FetchFixed(from, value.first), value.second);
}

/// Walks raw values that lie in memory at any address.
template <typename T>
class RawIterator {
public:
    using iterator_category = std::forward_iterator_tag;
    using value_type = T;
    using difference_type = std::ptrdiff_t;
    using pointer = const T*;
    using reference = T;

    explicit RawIterator(const char* address) : at(address) {}
    T operator*() const {
        T value;
        std::memcpy(static_cast<void*>(&value), at, sizeof value);
        return value;
    }
    RawIterator& operator++() {
        at += sizeof(T);
        return *this;
    }
    RawIterator operator++(int) {
        RawIterator before = *this;
        ++*this;
        return before;
    }
    bool operator==(const RawIterator& other) const { return at == other.at; }
    bool operator!=(const RawIterator& other) const { return at != other.at; }

private:
    const char* at;
};

}  // namespace fieldstore

#endif
