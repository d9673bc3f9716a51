// SPDX-License-Identifier: Apache-2.0
#include "streams/ColumnEncoding.h"

#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

#include "streams/ContainerEncoding.h"
#include "streams/MemorySize.h"

namespace fieldstore {
namespace {

template <typename T>
void MakeSet(std::vector<T>& values) {
    std::sort(values.begin(), values.end());
    values.erase(std::unique(values.begin(), values.end()), values.end());
}

/// Most entries lie in the buffer as a whole; the others go through the stream.
template <typename Key, typename T, EntryValues kValues>
void Read(POStreamFileIO& stream, ColumnMap<Key, T, kValues>& map) {
    std::uint64_t left = ReadCount(stream);
    std::vector<T> values;
    for (; left != 0; --left) {
        stream.TakeEntries(map, left);
        if (left == 0) return;
        Key key{};
        ReadEach<Key>(stream, 1, [&key](const Key& read) { key = read; });
        stream.Read(values);
        if constexpr (kValues == EntryValues::Set) MakeSet(values);
        map.Add(key, values);
    }
}

template <typename T>
void Read(POStreamFileIO& stream, ColumnSet<T>& set) {
    const std::uint64_t count = ReadLimitedCount(stream);
    const std::uint64_t least = stream.IsTextMode() ? 2 : kFixedSize<T>;
    LargeVector<T> elements;
    elements.reserve(MemorySize(std::min(count, stream.InputLeft() / least)));
    ReadEach<T>(stream, count, [&elements](const T& read) { elements.push_back(read); });
    set.Unite(ColumnSet<T>(std::move(elements)));
}

template <typename Key, typename T, EntryValues kValues>
void Write(POStreamFileIO& stream, const ColumnMap<Key, T, kValues>& map, int perLine,
           const std::string& separator, const std::string& lineEnd) {
    WriteEntries(stream, map, perLine, separator, lineEnd);
}

template <typename T>
void Write(POStreamFileIO& stream, const ColumnSet<T>& set, int perLine,
           const std::string& separator, const std::string& lineEnd) {
    WriteCount(stream, set, lineEnd);
    WriteElements(stream, set, perLine, separator, lineEnd);
}

}  // namespace

#define FIELDSTORE_DEFINE_COLUMNS(...)                                               \
    void ReadColumns(POStreamFileIO& stream, __VA_ARGS__& value) {                   \
        Read(stream, value);                                                         \
    }                                                                                \
    void WriteColumns(POStreamFileIO& stream, const __VA_ARGS__& value, int perLine, \
                      const std::string& separator, const std::string& lineEnd) {    \
        Write(stream, value, perLine, separator, lineEnd);                           \
    }

FIELDSTORE_COLUMN_TYPES(FIELDSTORE_DEFINE_COLUMNS)

}  // namespace fieldstore
