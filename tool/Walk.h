// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_WALK_H
#define FIELDSTORE_TOOL_WALK_H

#include <complex>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <map>
#include <set>
#include <type_traits>
#include <utility>
#include <vector>

#include "streams/ContainerEncoding.h"

/// What visitors of bodies ask of the types of fields.
namespace fieldstore::tool {

template <typename T>
struct IsMap : std::false_type {};
template <typename K, typename V>
struct IsMap<std::map<K, V>> : std::true_type {};
template <typename T>
struct IsSet : std::false_type {};
template <typename T>
struct IsSet<std::set<T>> : std::true_type {};
template <typename T>
struct IsVector : std::false_type {};
template <typename T>
struct IsVector<std::vector<T>> : std::true_type {};

template <typename T>
inline constexpr bool kIsContainer = IsMap<T>::value || IsSet<T>::value || IsVector<T>::value;
/// Containers of numbers and of nothing else.
template <typename T, typename = void>
inline constexpr bool kIsNumbers = false;
template <typename T>
inline constexpr bool kIsNumbers<T, std::enable_if_t<kIsContainer<T>>> =
    std::is_arithmetic_v<typename T::value_type>;
template <typename T>
inline constexpr bool kIsComplex = std::is_same_v<T, std::complex<double>>;

/// The parts of nested pairs: a key of a map and its value are the first and the last ones.
template <typename T>
inline constexpr std::size_t kLeaves = 1;
template <typename A, typename B>
inline constexpr std::size_t kLeaves<std::pair<A, B>> =
    kLeaves<std::remove_const_t<A>> + kLeaves<B>;

/// Calls `visit(part, number)` for the parts of nested pairs, or once for anything else.
template <typename T, typename Visit>
void ForLeaves(T& value, const Visit& visit, std::size_t number = 0) {
    using Value = std::remove_const_t<T>;
    if constexpr (IsPair<Value>::value) {
        ForLeaves(value.first, visit, number);
        using First = std::remove_const_t<typename Value::first_type>;
        ForLeaves(value.second, visit, number + kLeaves<First>);
    } else {
        visit(value, number);
    }
}

/// Bytes of a value in a binary stream, 0 for one without a fixed size.
template <typename T>
inline constexpr std::size_t kFixedSize = kIsContainer<T> ? 0 : sizeof(T);
template <typename A, typename B>
inline constexpr std::size_t kFixedSize<std::pair<A, B>> =
    kFixedSize<A>* kFixedSize<B> == 0 ? 0 : kFixedSize<A> + kFixedSize<B>;

/// The fewest bytes of a value in a binary stream, and in text, a digit and a separator a number.
template <typename T>
inline constexpr std::size_t kLeastSize = kIsContainer<T> ? sizeof(std::uint64_t) : sizeof(T);
template <typename A, typename B>
inline constexpr std::size_t kLeastSize<std::pair<A, B>> = kLeastSize<A> + kLeastSize<B>;
template <typename T>
inline constexpr std::size_t kLeastText = kIsComplex<T> ? 4 : 2;
template <typename A, typename B>
inline constexpr std::size_t kLeastText<std::pair<A, B>> = kLeastText<A> + kLeastText<B>;

/// Numbers that a value of fixed size consists of, as they stand in text.
template <typename T>
inline constexpr std::uint64_t kNumbers = kIsComplex<T> ? 2 : 1;
template <typename A, typename B>
inline constexpr std::uint64_t kNumbers<std::pair<A, B>> = kNumbers<A> + kNumbers<B>;

/// Calls `visit` for every number in a value, however deep.
template <typename T, typename Visit>
void ForNumbers(const T& value, const Visit& visit) {
    if constexpr (IsPair<T>::value) {
        ForNumbers(value.first, visit);
        ForNumbers(value.second, visit);
    } else if constexpr (kIsContainer<T>) {
        for (const auto& element : value) ForNumbers(element, visit);
    } else {
        visit(value);
    }
}

}  // namespace fieldstore::tool

#endif
