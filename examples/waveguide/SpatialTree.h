// SPDX-License-Identifier: Apache-2.0
#ifndef WAVEGUIDE_SPATIALTREE_H
#define WAVEGUIDE_SPATIALTREE_H

#include <map>
#include <set>
#include <vector>

#include "Elements.h"

namespace waveguide {

/// Halves the section again and again, across its longer extent at the median element.
///
/// Nodes are numbered breadth first from 0: the children of k are 2k + 1 and 2k + 2. An element
/// that a cut crosses stays at the node of the cut; the others move down to one of the leaves.
class SpatialTree {
public:
    /// A tree with `cutLevels` levels of cuts, thus 2^cutLevels leaves.
    SpatialTree(const Space& space, int cutLevels);

    int CutLevels() const { return cutLevels_; }
    int LeafCount() const { return 1 << cutLevels_; }

    /// Elements (from 0) by node of the tree; nodes without elements have no entry.
    const std::map<int, std::set<int>>& Items() const { return items_; }

    /// The leaf, 0 to LeafCount() - 1, whose part of the plane holds a point.
    int LeafOf(const Point& point) const;

private:
    struct Cut {
        std::size_t axis = 0;
        double position = 0;
    };

    void Divide(const Space& space, int node, const std::vector<int>& elements);

    int cutLevels_;
    std::vector<Cut> cuts_;  ///< per internal node
    std::map<int, std::set<int>> items_;
};

}  // namespace waveguide

#endif
