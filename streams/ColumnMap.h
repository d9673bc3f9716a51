// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_COLUMN_MAP_H
#define FIELDSTORE_COLUMN_MAP_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "streams/FlatEncoding.h"
#include "streams/LargeVector.h"
#include "streams/Span.h"

namespace fieldstore {

/// What the values of an entry are: as they were given, or ascending and each once.
enum class EntryValues { Sequence, Set };

/// A map from keys to vectors or sets of numbers that holds its keys in one sorted array and the
/// values end to end in another, as a file does. A load then copies arrays instead of making a node
/// for every entry, and needs no more memory than the file.
///
/// Entries that come in the order of their keys go to the end of the arrays. Others wait in a map
/// of their own until they are many, or until somebody goes through the entries; then they are
/// merged into the arrays. So an addition costs O(log n), averaged over many.
template <typename Key, typename T, EntryValues kValues = EntryValues::Sequence>
class ColumnMap {
public:
    using Values = Span<const T>;
    using value_type = std::pair<Key, Values>;

    /// Goes through the entries in the order of their keys.
    class const_iterator {
    public:
        using iterator_category = std::bidirectional_iterator_tag;
        using value_type = ColumnMap::value_type;
        using difference_type = std::ptrdiff_t;
        using pointer = const value_type*;
        using reference = value_type;

        const_iterator(const ColumnMap& ofMap, std::size_t atIndex) : map(&ofMap), index(atIndex) {}
        value_type operator*() const { return {map->keys[index], map->ValuesAt(index)}; }
        const_iterator& operator++() {
            ++index;
            return *this;
        }
        const_iterator& operator--() {
            --index;
            return *this;
        }
        bool operator==(const const_iterator& other) const { return index == other.index; }
        bool operator!=(const const_iterator& other) const { return index != other.index; }

    private:
        const ColumnMap* map;
        std::size_t index;
    };

    bool empty() const { return keys.empty() && waiting.empty(); }
    std::size_t size() const { return Settled().keys.size(); }
    const_iterator begin() const { return {Settled(), 0}; }
    const_iterator end() const { return {Settled(), keys.size()}; }
    /// The first entry whose key is `key` or follows it.
    const_iterator lower_bound(const Key& key) const {
        const auto& sorted = Settled().keys;
        const auto found = std::lower_bound(sorted.begin(), sorted.end(), key);
        return {*this, static_cast<std::size_t>(found - sorted.begin())};
    }

    /// The first entry whose key follows `key`.
    const_iterator upper_bound(const Key& key) const {
        const auto& sorted = Settled().keys;
        const auto found = std::upper_bound(sorted.begin(), sorted.end(), key);
        return {*this, static_cast<std::size_t>(found - sorted.begin())};
    }

    /// @{
    /// The arrays themselves, until the map is changed: the keys in their order, where the values
    /// of each end, and all values.
    const LargeVector<Key>& Keys() const { return Settled().keys; }
    const LargeVector<std::uint64_t>& Ends() const { return Settled().ends; }
    const LargeVector<T>& AllValues() const { return Settled().values; }
    /// @}

    /// The values of a key, until the map is changed or gone through.
    std::optional<Values> Find(const Key& key) const;
    /// Adds an entry, unless its key is there. Returns whether it was added.
    bool Add(const Key& key, Values added);
    /// Adds entries that follow all others and each other, all with as many values; `keyAt` gives
    /// the key of each, from 0 to `count`. Returns whether they do, and adds none otherwise.
    /// Requires: values for every key.
    template <typename KeyAt>
    bool AddFollowing(std::size_t count, const KeyAt& keyAt, Values itsValues);
    /// Adds an entry, or changes what is there.
    void Set(const Key& key, std::vector<T> changed);
    /// The values of a key that is there, as a vector to be changed before anything else is done
    /// to the map.
    std::vector<T>& Loosened(const Key& key);

    /// Adds encoded entries from memory, as long as they lie there as a whole and come in order.
    /// `left` is the number of entries still to come, and is counted down; `inputLeft` the bytes
    /// from `from` to the end of the input. Returns where it stopped.
    const char* AddEncoded(const char* from, const char* end, std::uint64_t& left,
                           std::uint64_t inputLeft);

private:
    static constexpr std::size_t kHeadSize = kFixedSize<Key> + sizeof(std::uint64_t);
    static constexpr std::size_t kMostWaiting = 1024;  // or half of what is in the arrays

    const ColumnMap& Settled() const {
        if (!waiting.empty()) Settle();
        return *this;
    }
    void Settle() const;
    std::size_t BeginAt(std::size_t index) const {
        return index == 0 ? 0 : static_cast<std::size_t>(ends[index - 1]);
    }
    Values ValuesAt(std::size_t index) const {
        return {values.data() + BeginAt(index),
                static_cast<std::size_t>(ends[index]) - BeginAt(index)};
    }
    /// The position in the arrays; their length for a key that is not in them.
    std::size_t PositionOf(const Key& key) const;
    bool FollowsAll(const Key& key) const {
        return (keys.empty() || keys.back() < key) &&
               (waiting.empty() || waiting.rbegin()->first < key);
    }
    void Append(const Key& key, Values added);
    void CutTo(std::size_t keyCount, std::size_t valueCount) {
        keys.resize(keyCount);
        ends.resize(keyCount);
        values.resize(valueCount);
    }
    void MakeRoom(std::size_t moreKeys, std::size_t moreValues, std::uint64_t left,
                  std::uint64_t inputLeft);

    // Changed when somebody asks for the entries in order: what waits is merged.
    mutable LargeVector<Key> keys;
    mutable LargeVector<std::uint64_t> ends;  // of each entry's values
    mutable LargeVector<T> values;
    mutable std::map<Key, std::vector<T>> waiting;  // counts where the arrays have the key as well
};

template <typename Key, typename T, EntryValues kValues>
std::size_t ColumnMap<Key, T, kValues>::PositionOf(const Key& key) const {
    const auto found = std::lower_bound(keys.begin(), keys.end(), key);
    const bool isThere = found != keys.end() && !(key < *found);
    return isThere ? static_cast<std::size_t>(found - keys.begin()) : keys.size();
}

template <typename Key, typename T, EntryValues kValues>
auto ColumnMap<Key, T, kValues>::Find(const Key& key) const -> std::optional<Values> {
    if (!waiting.empty()) {
        const auto found = waiting.find(key);
        if (found != waiting.end()) return Values(found->second);
    }
    const std::size_t position = PositionOf(key);
    if (position == keys.size()) return std::nullopt;
    return ValuesAt(position);
}

template <typename Key, typename T, EntryValues kValues>
void ColumnMap<Key, T, kValues>::Append(const Key& key, Values added) {
    const std::size_t held = values.size();
    try {
        values.insert(values.end(), added.begin(), added.end());
        ends.push_back(values.size());
        keys.push_back(key);
    } catch (...) {
        CutTo(keys.size(), held);
        throw;
    }
}

template <typename Key, typename T, EntryValues kValues>
bool ColumnMap<Key, T, kValues>::Add(const Key& key, Values added) {
    if (FollowsAll(key)) {
        Append(key, added);
        return true;
    }
    if (PositionOf(key) != keys.size()) return false;
    const bool isNew = waiting.emplace(key, added.ToVector()).second;
    if (waiting.size() > std::max(kMostWaiting, keys.size() / 2)) Settle();
    return isNew;
}

template <typename Key, typename T, EntryValues kValues>
template <typename KeyAt>
bool ColumnMap<Key, T, kValues>::AddFollowing(std::size_t count, const KeyAt& keyAt,
                                              Values itsValues) {
    if (count == 0) return true;
    if (!waiting.empty()) return false;
    const std::size_t heldKeys = keys.size(), heldValues = values.size();
    const std::size_t each = itsValues.size() / count;
    const auto makeRoom = [count](auto& array) {
        if (array.capacity() - array.size() < count)
            array.reserve(array.size() + std::max(count, array.size()));
    };
    try {
        makeRoom(keys);
        makeRoom(ends);
        for (std::size_t i = 0; i < count; ++i) {
            const Key key = keyAt(i);
            if (!keys.empty() && !(keys.back() < key)) {
                CutTo(heldKeys, heldValues);
                return false;
            }
            keys.push_back(key);
            ends.push_back(heldValues + (i + 1) * each);
        }
        values.insert(values.end(), itsValues.begin(), itsValues.end());
    } catch (...) {
        CutTo(heldKeys, heldValues);
        throw;
    }
    return true;
}

template <typename Key, typename T, EntryValues kValues>
void ColumnMap<Key, T, kValues>::Set(const Key& key, std::vector<T> changed) {
    const auto held = Find(key);
    if (!held) {
        Add(key, changed);
    } else if (held->size() == changed.size()) {
        std::copy(changed.begin(), changed.end(), const_cast<T*>(held->data()));
    } else {
        waiting[key] = std::move(changed);
    }
}

template <typename Key, typename T, EntryValues kValues>
std::vector<T>& ColumnMap<Key, T, kValues>::Loosened(const Key& key) {
    const auto place = waiting.lower_bound(key);
    if (place != waiting.end() && place->first == key) return place->second;
    return waiting.emplace_hint(place, key, ValuesAt(PositionOf(key)).ToVector())->second;
}

template <typename Key, typename T, EntryValues kValues>
void ColumnMap<Key, T, kValues>::Settle() const {
    ColumnMap merged;
    std::size_t count = values.size();
    for (const auto& entry : waiting) count += entry.second.size();
    merged.keys.reserve(keys.size() + waiting.size());
    merged.ends.reserve(keys.size() + waiting.size());
    merged.values.reserve(count);
    std::size_t next = 0;
    const auto takeUpTo = [&](std::size_t end) {
        for (; next < end; ++next) merged.Append(keys[next], ValuesAt(next));
    };
    for (const auto& [key, its] : waiting) {
        const auto from = keys.begin() + static_cast<std::ptrdiff_t>(next);
        takeUpTo(static_cast<std::size_t>(std::lower_bound(from, keys.end(), key) - keys.begin()));
        merged.Append(key, its);
        if (next < keys.size() && !(key < keys[next])) ++next;  // which it takes the place of
    }
    takeUpTo(keys.size());
    keys.swap(merged.keys);
    ends.swap(merged.ends);
    values.swap(merged.values);
    waiting.clear();
}

/// For entries as long on the average as those held; memory is used only as it is filled.
template <typename Key, typename T, EntryValues kValues>
void ColumnMap<Key, T, kValues>::MakeRoom(std::size_t moreKeys, std::size_t moreValues,
                                          std::uint64_t left, std::uint64_t inputLeft) {
    const auto bounded = [](double expected, std::uint64_t most) {
        return static_cast<std::size_t>(std::min(expected, static_cast<double>(most)));
    };
    const auto makeRoom = [&](auto& array, std::size_t more, double expected, std::size_t size) {
        if (array.capacity() - array.size() >= more) return;
        const std::size_t least = std::max(more, array.size() / 2);
        const auto most = std::min<std::uint64_t>(inputLeft / size, array.max_size());
        array.reserve(array.size() + std::max(least, bounded(expected, most)));
    };
    const auto entries = static_cast<double>(left);
    const double perEntry =
        keys.empty() ? 0 : static_cast<double>(values.size()) / static_cast<double>(keys.size());
    constexpr double margin = 1.01;
    makeRoom(keys, moreKeys, entries, kHeadSize);
    makeRoom(ends, moreKeys, entries, kHeadSize);
    makeRoom(values, moreValues, entries * perEntry * margin + static_cast<double>(moreValues),
             sizeof(T));
}

template <typename Key, typename T, EntryValues kValues>
const char* ColumnMap<Key, T, kValues>::AddEncoded(const char* from, const char* end,
                                                   std::uint64_t& left, std::uint64_t inputLeft) {
    if (!waiting.empty()) return from;
    const auto held = static_cast<std::size_t>(end - from);
    std::size_t position = keys.size();
    std::size_t valueEnd = values.size();
    const auto mostEntries =
        static_cast<std::size_t>(std::min<std::uint64_t>(held / kHeadSize, left));
    const std::size_t mostValues = held / sizeof(T);
    MakeRoom(mostEntries, mostValues, left, inputLeft);
    keys.resize(position + mostEntries);
    ends.resize(position + mostEntries);
    values.resize(valueEnd + mostValues);
    for (; left != 0 && static_cast<std::size_t>(end - from) >= kHeadSize; --left) {
        Key key;
        std::uint64_t count = 0;
        const char* at = FetchFixed(FetchFixed(from, key), count);
        if (count > static_cast<std::size_t>(end - at) / sizeof(T)) break;
        if (position != 0 && !(keys[position - 1] < key)) break;
        const std::size_t size = static_cast<std::size_t>(count) * sizeof(T);
        T* const to = values.data() + valueEnd;
        if (size != 0) std::memcpy(to, at, size);
        if constexpr (kValues == EntryValues::Set) {
            const auto isDisordered = [](const T& a, const T& b) { return !(a < b); };
            if (std::adjacent_find(to, to + count, isDisordered) != to + count) break;
        }
        valueEnd += static_cast<std::size_t>(count);
        keys[position] = key;
        ends[position] = valueEnd;
        ++position;
        from = at + size;
    }
    keys.resize(position);
    ends.resize(position);
    values.resize(valueEnd);
    return from;
}

}  // namespace fieldstore

#endif
