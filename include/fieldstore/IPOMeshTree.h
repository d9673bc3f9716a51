// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_IPOMESHTREE_H
#define FIELDSTORE_IPOMESHTREE_H

#include <set>
#include <utility>

#include "fieldstore/export.h"

/// A set of mesh ids and a set of id pairs with membership tests (class "POMeshTree", file
/// "evtree.dat", binary by default, a commit replaces the file).
class FIELDSTORE_INTERFACE IPOMeshTree {
public:
    IPOMeshTree(const IPOMeshTree&) = delete;
    IPOMeshTree& operator=(const IPOMeshTree&) = delete;
    virtual ~IPOMeshTree() = default;

    /// The ids, ascending. The reference stays valid as long as the object.
    virtual const std::set<int>& GetIds() = 0;

    /// The id pairs in ascending order. The reference stays valid as long as the object.
    virtual const std::set<std::pair<int, int>>& GetIdPairs() = 0;

    /// Whether `id` is in the set of ids.
    virtual bool ContainsId(int id) = 0;

    /// Whether the pair (smaller, larger) of `a` and `b` is stored. Stored pairs are not turned
    /// round: one stored as (5, 3) is never found.
    virtual bool ContainsIdPair(int a, int b) = 0;

    /// Replaces the ids. Returns true.
    virtual bool SetIds(const std::set<int>& ids) = 0;

    /// Replaces the id pairs, which should be given as (smaller, larger). Returns true.
    virtual bool SetIdPairs(const std::set<std::pair<int, int>>& idPairs) = 0;

protected:
    IPOMeshTree() = default;
};

#endif
