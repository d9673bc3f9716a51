// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_IPOBINARYTREE_H
#define FIELDSTORE_IPOBINARYTREE_H

#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <vector>

#include "fieldstore/export.h"

/// A complete binary tree, level by level, with items per node and counters per leaf (class
/// "POBinaryTree", file "file1.dat", binary by default, a commit replaces the file).
///
/// Internal nodes are numbered breadth first from 0, the leaves follow on. A tree of levelCount
/// has levelCount - 1 internal levels. Item list -1 is a list of the whole tree.
class FIELDSTORE_INTERFACE IPOBinaryTree {
public:
    /// One counter per leaf.
    using Counters = std::vector<std::uint64_t>;
    /// Receives the items of an internal node.
    using NodeVisitor =
        std::function<void(int level, int indexInLevel, const std::vector<int>& items)>;
    /// Receives the total of the counters and the items of a leaf.
    using LeafVisitor =
        std::function<void(int leafIndex, int leafTotal, const std::vector<int>& items)>;
    /// Receives a mapped list.
    using MappedVisitor = std::function<void(int key, const std::vector<int>& items)>;

    IPOBinaryTree(const IPOBinaryTree&) = delete;
    IPOBinaryTree& operator=(const IPOBinaryTree&) = delete;
    virtual ~IPOBinaryTree() = default;

    /// Replaces the whole tree: five counters per leaf, the items of each node, the mapped lists,
    /// two scalars, a list that the library only stores, and the size of the tree. Returns 0.
    virtual int SetTree(const Counters& leafCounts1, const Counters& leafCounts2,
                        const Counters& leafCounts3, const Counters& leafCounts4,
                        const Counters& leafCounts5, const std::map<int, std::set<int>>& nodeSets,
                        const std::map<int, std::vector<int>>& mappedItems, int tag, int idCount,
                        const std::vector<int>& auxiliaryList, int levelCount, int leafCount) = 0;

    /// Walks the tree. First `ids`: without mapped lists it becomes the item list -1, if there is
    /// one; with mapped lists it becomes 0..idCount-1 and `onMapped` gets each list in ascending
    /// key order. Then `onNode` for every internal node, level by level, and `onLeaf` for every
    /// leaf with the sum of the low 32 bits of its five counters (missing counters count 0).
    ///
    /// The walk goes over the tree as it was at the call; a callback may change the object.
    /// Returns 0. Raises std::bad_function_call for an empty callable that would be called,
    /// std::runtime_error "Invalid level count in POBinaryTree object." when node numbers would not
    /// fit 32 bits, and whatever a callback raises.
    virtual int VisitTree(std::vector<int>& ids, NodeVisitor onNode, LeafVisitor onLeaf,
                          MappedVisitor onMapped) = 0;

protected:
    IPOBinaryTree() = default;
};

#endif
