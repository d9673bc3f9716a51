// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_MERGE_MAPS_H
#define FIELDSTORE_MERGE_MAPS_H

#include <utility>

#include "streams/ColumnMap.h"

namespace fieldstore {

/// Adds the entries of a body just read; a key that is held keeps its value. The first body of a
/// storage is taken as a whole, without a search per key.
template <typename Map>
void KeepFirst(Map& held, Map& body) {
    if (held.empty())
        held.swap(body);
    else
        held.merge(body);
}
template <typename Key, typename T, EntryValues kValues>
void KeepFirst(ColumnMap<Key, T, kValues>& held, ColumnMap<Key, T, kValues>& body) {
    if (held.empty()) return std::swap(held, body);
    for (const auto& [key, values] : body) held.Add(key, values);
}

}  // namespace fieldstore

#endif
