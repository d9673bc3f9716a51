// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_STREAMED_H
#define FIELDSTORE_TOOL_STREAMED_H

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "streams/ContainerEncoding.h"
#include "streams/LargeVector.h"
#include "streams/MemorySize.h"
#include "streams/POStreamFileIO.h"
#include "tool/Error.h"
#include "tool/Walk.h"
#include "tool/WholeEntries.h"

/// Fields of which only the keys are in memory: the values stay in the file until someone walks
/// through them, one at a time.
namespace fieldstore::tool {

/// Reads entries of a file again, at offsets that were found before.
class EntrySource {
public:
    EntrySource(const std::string& path, bool text);

    /// Moves there and reads. Raises when the file does not give it any more.
    template <typename K, typename V>
    void Read(std::uint64_t offset, K& key, V& value) {
        if (TakeNext(offset, key, value)) return;
        MoveTo(offset);
        try {
            ReadEach<K>(stream, 1, [&key](const K& read) { key = read; });
            stream.Read(value);
        } catch (const std::runtime_error&) {
            RaiseChanged();
        }
        if (!stream.IsGood() && !stream.IsTextMode()) RaiseChanged();
        if (!stream.IsTextMode()) next = stream.Tell();
    }
    /// The same of a value without a key.
    template <typename V>
    void Read(std::uint64_t offset, V& value) {
        MoveTo(offset);
        ReadNext(value);
    }
    /// Reads what follows the last value.
    template <typename V>
    void ReadNext(V& value) {
        try {
            stream.Read(value);
        } catch (const std::runtime_error&) {
            RaiseChanged();
        }
    }
    /// The file gives something else than before.
    [[noreturn]] void RaiseChanged() const;

private:
    static constexpr std::uint64_t kNowhere = ~std::uint64_t{0};

    void MoveTo(std::uint64_t offset);
    /// Reads an entry that comes next and lies in the buffer.
    template <typename K, typename V>
    bool TakeNext(std::uint64_t offset, K& key, V& value) {
        bool taken = false;
        if constexpr (kIsRawVector<V>) {
            if (offset != next) return false;
            using T = typename V::value_type;
            const auto take = [&](const K& read, const char* values, std::uint64_t count,
                                  std::uint64_t bytes) {
                key = read;
                value.resize(static_cast<std::size_t>(count));
                if (count != 0) std::memcpy(value.data(), values, value.size() * sizeof(T));
                next += bytes;
                taken = true;
            };
            TakeWholeEntries<K, T>(stream, 1, take);
        }
        return taken;
    }

    std::string path;
    POStreamFileIO stream;
    bool opened = false;
    std::uint64_t next = kNowhere;  // what the stream reads next, where that is known
};

/// How many elements a value has, and those within it.
template <typename V>
struct Extent {
    std::uint64_t count = 0;
};
inline constexpr std::uint64_t kUneven = ~std::uint64_t{0};
template <typename Head, typename T>
struct Extent<std::vector<std::pair<Head, std::vector<T>>>> {
    std::uint64_t count = 0;
    std::uint64_t inner = 0;  // elements of each of them, kUneven when these differ
};

/// What a load does with keys of several bodies.
enum class SameKey { KeepFirst, KeepLast, Combine };

/// A map of a file, and of all bodies together when these are appended. Sets in it are vectors.
template <typename K, typename V>
class StreamedMap {
public:
    struct Entry {
        K key;
        std::uint64_t offset;
        Extent<V> extent;
    };
    /// How the values of one key become one.
    struct Combine {
        std::function<void(const K& key, V& held, const V& later)> add;
        /// Whether so many elements are several values in a row, which `finish` makes one of.
        std::function<bool(const K& key, std::uint64_t count)> isGathered;
        std::function<void(const K& key, V& held)> finish;
    };

    // ---- made by a reader ----

    /// One more entry that the file has, `isWanted` or not.
    void CountEntry() { ++inFile; }
    void Reserve(std::uint64_t count) { entries.reserve(MemorySize(count)); }
    void Add(const Entry& entry) { entries.push_back(entry); }
    /// To be called behind the last entry of a body: of equal keys in one the first counts.
    void EndBody() {
        if (IsAscending()) return;
        Sort();
        entries.erase(std::unique(entries.begin(), entries.end(), HaveSameKey), entries.end());
    }
    /// Puts the entries of the next body behind these.
    void Append(StreamedMap&& later) {
        inFile += later.inFile;
        if (entries.empty()) return entries.swap(later.entries);
        entries.insert(entries.end(), later.entries.begin(), later.entries.end());
    }
    /// To be called behind the last body.
    void EndBodies(SameKey rule, std::shared_ptr<EntrySource> file,
                   std::optional<Combine> combiner = {}) {
        source = std::move(file);
        combine = std::move(combiner);
        if (!IsAscending()) Sort();
        if (rule == SameKey::KeepFirst)
            entries.erase(std::unique(entries.begin(), entries.end(), HaveSameKey), entries.end());
        if (rule == SameKey::KeepLast)
            entries.erase(entries.begin(),
                          std::unique(entries.rbegin(), entries.rend(), HaveSameKey).base());
    }
    /// Data that no file has.
    void Hold(std::map<K, V> made) { held = std::move(made); }

    // ---- for everybody else ----

    /// Entries in all bodies, whatever slice was asked for.
    std::size_t InFile() const { return inFile; }
    bool Empty() const { return entries.empty() && held.empty(); }

    /// Calls `visit(key, extent)` in the order of keys. Reads those whose values are combined.
    template <typename Visit>
    void ForKeys(const Visit& visit) const {
        Extent<V> extent;
        for (const auto& [key, value] : held) {
            extent.count = value.size();
            visit(key, extent);
        }
        V value{}, later{};
        for (auto entry = entries.begin(); entry != entries.end();) {
            const auto next = GroupEnd(entry);
            extent = entry->extent;
            if (combine && (next - entry > 1 || combine->isGathered(entry->key, extent.count))) {
                ReadGroup(entry, next, value, later);
                extent.count = value.size();
            }
            visit(entry->key, extent);
            entry = next;
        }
    }
    /// Calls `visit(key, value)` in that order.
    template <typename Visit>
    void ForEach(const Visit& visit) const {
        ForEachIf([](const K&) { return true; }, visit);
    }
    template <typename Wanted, typename Visit>
    void ForEachIf(const Wanted& wanted, const Visit& visit) const {
        for (const auto& [key, value] : held)
            if (wanted(key)) visit(key, value);
        V value{}, later{};
        for (auto entry = entries.begin(); entry != entries.end();) {
            const auto next = GroupEnd(entry);
            if (wanted(entry->key)) {
                ReadGroup(entry, next, value, later);
                visit(entry->key, static_cast<const V&>(value));
            }
            entry = next;
        }
    }

private:
    static bool HaveSameKey(const Entry& a, const Entry& b) { return a.key == b.key; }
    bool IsAscending() const {
        return std::adjacent_find(entries.begin(), entries.end(),
                                  [](const Entry& a, const Entry& b) {
                                      return !(a.key < b.key);
                                  }) == entries.end();
    }
    void Sort() {
        std::stable_sort(entries.begin(), entries.end(),
                         [](const Entry& a, const Entry& b) { return a.key < b.key; });
    }
    using Place = typename LargeVector<Entry>::const_iterator;
    Place GroupEnd(Place entry) const {
        Place next = entry + 1;
        while (combine && next != entries.end() && next->key == entry->key) ++next;
        return next;
    }
    void Read(const Entry& entry, V& value) const {
        K key{};
        source->Read(entry.offset, key, value);
        if (!(key == entry.key)) source->RaiseChanged();
    }
    void ReadGroup(Place entry, Place end, V& value, V& later) const {
        Read(*entry, value);
        if (!combine) return;
        for (Place next = entry + 1; next != end; ++next) {
            Read(*next, later);
            combine->add(entry->key, value, later);
        }
        combine->finish(entry->key, value);
    }

    LargeVector<Entry> entries;
    std::size_t inFile = 0;
    std::shared_ptr<EntrySource> source;
    std::optional<Combine> combine;
    std::map<K, V> held;
};

/// A vector of vectors of a file.
template <typename T>
class StreamedRows {
public:
    void Place(std::uint64_t at) { offset = at; }
    void Add(std::uint64_t count) {
        ++rows;
        total += count;
    }
    void EndBodies(std::shared_ptr<EntrySource> file) { source = std::move(file); }

    std::uint64_t Size() const { return rows; }
    /// Elements of all rows.
    std::uint64_t Total() const { return total; }

    template <typename Visit>
    void ForEach(const Visit& visit) const {
        std::vector<T> row;
        for (std::uint64_t i = 0; i < rows; ++i) {
            if (i == 0)
                source->Read(offset, row);
            else
                source->ReadNext(row);
            visit(static_cast<const std::vector<T>&>(row));
        }
    }

private:
    std::uint64_t offset = 0;  // of the first row
    std::uint64_t rows = 0;
    std::uint64_t total = 0;
    std::shared_ptr<EntrySource> source;
};

/// A set, as a vector: ascending, each once.
template <typename T>
struct SortedSet : std::vector<T> {
    using std::vector<T>::vector;
    void Normalise() {
        if (std::adjacent_find(this->begin(), this->end(),
                               [](const T& a, const T& b) { return !(a < b); }) == this->end())
            return;
        std::sort(this->begin(), this->end());
        this->erase(std::unique(this->begin(), this->end()), this->end());
    }
};

}  // namespace fieldstore::tool

#endif
