// SPDX-License-Identifier: Apache-2.0
#ifndef WAVEGUIDE_DOFRECORD_H
#define WAVEGUIDE_DOFRECORD_H

#include <array>
#include <vector>

#include "Assembly.h"
#include "SpatialTree.h"
#include "Store.h"

namespace waveguide {

/// What a node is in the TM problem; also the type stored with the DOF map.
enum class DofKind : int { Corner = 0, Fixed = 1, EdgeNode = 2 };

DofKind KindOf(const Space& space, std::size_t node);

/// Stores the map from all nodes to the free unknowns of the TM problem with the kind of each
/// node. A map that is stored already is left as it is and `space` not looked at.
void WriteDofMap(const Store& store, const Space& space);

/// Writes the list of the nodes by partition, blocked: leaf i of the tree is partition i.
///
/// Kinds 1 to 3 are the corners, edge nodes and fixed nodes, as ranges (partition, first, last,
/// identifier); kind 4 is a record (partition, -1, -1, elements, identifier) per partition.
void WriteDofList(const Store& store, const Space& space, const SpatialTree& tree);

struct DofMapRecord {
    MapRows rows;
    MapRows transposed;
    std::vector<int> types;
};

DofMapRecord ReadDofMap(const Store& store);

/// A range of nodes (from 0) that a partition owns.
struct DofRange {
    int partition = 0;
    int first = 0;
    int last = 0;
};

/// One block of the list, read without the others.
struct DofBlock {
    std::array<std::vector<DofRange>, 3> ranges;  ///< corners, edge nodes, fixed nodes
    std::vector<std::array<int, 2>> partitions;   ///< number, elements
    std::array<int, 2> dofCounts{};  ///< of the block's two partitions, as the library counts them
};

struct DofListRecord {
    int distinctCount = 0;        ///< of nodes, as the library counts them
    std::array<int, 4> totals{};  ///< corners, edge nodes, fixed nodes, all
    std::vector<DofBlock> blocks;
};

DofListRecord ReadDofList(const Store& store);

}  // namespace waveguide

#endif
