// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_WHOLE_ENTRIES_H
#define FIELDSTORE_TOOL_WHOLE_ENTRIES_H

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <vector>

#include "streams/FlatEncoding.h"
#include "streams/POStreamFileIO.h"

namespace fieldstore::tool {

/// Vectors whose elements stand in the file as they do in memory.
template <typename V>
inline constexpr bool kIsRawVector = false;
template <typename T>
inline constexpr bool kIsRawVector<std::vector<T>> = kIsRawType<T>;

/// The short way through millions of small entries of a map, from a key to a vector of numbers:
/// calls `visit(key, values, count, bytes)` for those that lie in the stream's buffer as a whole,
/// at most so many, and moves behind them. `values` are count elements at any address, `bytes` the
/// size of the entry. There may be none: the long way is to read.
template <typename K, typename T, typename Visit>
void TakeWholeEntries(POStreamFileIO& stream, std::uint64_t most, const Visit& visit) {
    constexpr std::size_t headSize = fieldstore::kFixedSize<K> + sizeof(std::uint64_t);
    stream.TakeOver([&](const char* from, const char* end) {
        for (std::uint64_t taken = 0; taken < most; ++taken) {
            if (static_cast<std::size_t>(end - from) < headSize) break;
            K key;
            std::uint64_t count;
            const char* const values = FetchFixed(FetchFixed(from, key), count);
            if (count > static_cast<std::size_t>(end - values) / sizeof(T)) break;
            const char* const next = values + count * sizeof(T);
            visit(key, values, count, static_cast<std::uint64_t>(next - from));
            from = next;
        }
        return from;
    });
}

}  // namespace fieldstore::tool

#endif
