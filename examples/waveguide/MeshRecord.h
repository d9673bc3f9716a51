// SPDX-License-Identifier: Apache-2.0
#ifndef WAVEGUIDE_MESHRECORD_H
#define WAVEGUIDE_MESHRECORD_H

#include <map>
#include <set>
#include <utility>
#include <vector>

#include "SpatialTree.h"
#include "Store.h"

namespace waveguide {

/// Writes the elements with their nodes (assembly information), the element ids and edge pairs
/// (mesh tree) and the bisection tree of the elements (binary tree). Element and node ids count
/// from 1.
void WriteMesh(const Store& store, const Space& space, const SpatialTree& tree);

struct ElementRecord {
    int id = 0;
    bool touchesWall = false;
    std::vector<int> corners;
    std::vector<int> edgeNodes;
    std::vector<int> wallNodes;
};

struct TreeRecord {
    std::vector<int> whole;  ///< the list of the whole tree
    /// Elements by node of the tree, leaves behind the internal nodes.
    std::vector<std::vector<int>> items;
    int internalCount = 0;
    std::vector<int> leafTotals;  ///< sums of the leaf counters
};

struct MeshRecord {
    std::vector<ElementRecord> elements;
    std::size_t cornerCount = 0;  ///< nodes with a corner function, as the library counts them
    std::size_t edgeNodeCount = 0;
    std::size_t wallNodeCount = 0;
    std::set<int> ids;
    std::set<std::pair<int, int>> edges;
    TreeRecord tree;
};

MeshRecord ReadMesh(const Store& store);

}  // namespace waveguide

#endif
