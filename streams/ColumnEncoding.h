// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_COLUMN_ENCODING_H
#define FIELDSTORE_COLUMN_ENCODING_H

#include <string>
#include <type_traits>
#include <utility>

#include "streams/ColumnMap.h"
#include "streams/ColumnSet.h"
#include "streams/POStreamFileIO.h"

/// How containers of columns stand in a file: as maps and sets of the standard library do.
namespace fieldstore {

template <typename T>
struct IsColumns : std::false_type {};
template <typename Key, typename T, EntryValues kValues>
struct IsColumns<ColumnMap<Key, T, kValues>> : std::true_type {};
template <typename T>
struct IsColumns<ColumnSet<T>> : std::true_type {};

// The containers that objects are made of.
// clang-format off
#define FIELDSTORE_COLUMN_TYPES(TYPE) \
    TYPE(ColumnMap<std::pair<int, std::pair<int, int>>, double>) \
    TYPE(ColumnMap<int, double>) \
    TYPE(ColumnMap<int, int>) \
    TYPE(ColumnMap<int, int, EntryValues::Set>) \
    TYPE(ColumnSet<int>) \
    TYPE(ColumnSet<std::pair<int, int>>)
// clang-format on

#define FIELDSTORE_DECLARE_COLUMNS(...)                                              \
    /** Reads one, adding to what is there; an entry that is there stays. */         \
    void ReadColumns(POStreamFileIO& stream, __VA_ARGS__& value);                    \
    void WriteColumns(POStreamFileIO& stream, const __VA_ARGS__& value, int perLine, \
                      const std::string& separator, const std::string& lineEnd);

FIELDSTORE_COLUMN_TYPES(FIELDSTORE_DECLARE_COLUMNS)

}  // namespace fieldstore

#endif
