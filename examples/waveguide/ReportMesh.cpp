// SPDX-License-Identifier: Apache-2.0
#include "ReportMesh.h"

#include <algorithm>
#include <cstdint>
#include <numeric>
#include <stdexcept>

namespace waveguide {
namespace {

using IdPairs = std::set<std::pair<int, int>>;

/// The edges of the elements with the number of elements at each.
std::map<std::pair<int, int>, int> CountEdges(const MeshRecord& mesh) {
    std::map<std::pair<int, int>, int> counts;
    for (const ElementRecord& element : mesh.elements) {
        const auto& corners = element.corners;
        for (std::size_t k = 0; k < corners.size(); ++k)
            ++counts[std::minmax(corners[k], corners[(k + 1) % corners.size()])];
    }
    return counts;
}

bool EdgesAgree(const RunRecord& run, const MeshRecord& mesh) {
    IdPairs ofElements;
    for (const auto& entry : CountEdges(mesh)) ofElements.insert(entry.first);
    IdPairs ofMetrics;
    for (const Edge& edge : run.edges)
        ofMetrics.insert({static_cast<int>(edge[0]), static_cast<int>(edge[1])});
    return ofElements == mesh.edges && ofMetrics == mesh.edges;
}

/// Whether the nodes that elements list as lying on the wall are those of the edges that only one
/// element has.
bool WallAgrees(const MeshRecord& mesh) {
    std::set<int> corners;
    std::size_t wallEdges = 0;
    for (const auto& [edge, count] : CountEdges(mesh)) {
        if (count != 1) continue;
        ++wallEdges;
        corners.insert({edge.first, edge.second});
    }
    std::set<int> listed;
    bool flagsFit = true;
    for (const ElementRecord& element : mesh.elements) {
        listed.insert(element.wallNodes.begin(), element.wallNodes.end());
        flagsFit = flagsFit && element.touchesWall == !element.wallNodes.empty();
    }
    const std::size_t edgeNodes = mesh.edgeNodeCount > 0 ? wallEdges : 0;
    return flagsFit && mesh.wallNodeCount == corners.size() + edgeNodes &&
           std::includes(listed.begin(), listed.end(), corners.begin(), corners.end());
}

bool NeighborsAgree(const RunRecord& run, const MeshRecord& mesh) {
    std::map<int, std::size_t> counts;
    for (const auto& [low, high] : mesh.edges) {
        ++counts[low];
        ++counts[high];
    }
    return counts == run.neighborCount;
}

bool TreeAgrees(const MeshRecord& mesh) {
    const TreeRecord& tree = mesh.tree;
    std::vector<int> all;
    for (std::size_t node = 0; node < tree.items.size(); ++node) {
        const auto& items = tree.items[node];
        all.insert(all.end(), items.begin(), items.end());
        const auto internal = static_cast<std::size_t>(tree.internalCount);
        if (node < internal) continue;
        if (tree.leafTotals[node - internal] != static_cast<int>(items.size())) return false;
    }
    std::sort(all.begin(), all.end());
    const std::vector<int> ids(mesh.ids.begin(), mesh.ids.end());
    return all == ids && tree.whole == ids;
}

void PrintStatistics(const RunRecord& run, const MeshRecord& mesh, std::ostream& out) {
    double smallest = 0;
    double largest = 0;
    for (const ElementRecord& element : mesh.elements) {
        std::array<Point, 3> corner{};
        for (std::size_t k = 0; k < 3 && k < element.corners.size(); ++k) {
            const auto found = run.positions.find(element.corners[k]);
            if (found != run.positions.end()) corner[k] = found->second;
        }
        const double area = 0.5 * DoubleArea(corner[0], corner[1], corner[2]);
        smallest = smallest == 0 ? area : std::min(smallest, area);
        largest = std::max(largest, area);
    }
    const auto& leaves = mesh.tree.leafTotals;
    const auto inLeaves = std::accumulate(leaves.begin(), leaves.end(), std::int64_t{0});
    out << "\nMesh: " << mesh.elements.size() << " elements of order " << run.model.order << ", "
        << Column(smallest * 1e6, 0, 3) << " to " << Column(largest * 1e6, 0, 3) << " mm2 each\n"
        << "  " << mesh.edges.size() << " edges, " << mesh.cornerCount << " corners, "
        << mesh.edgeNodeCount << " edge nodes, " << mesh.wallNodeCount << " nodes on the wall\n"
        << "  bisection tree: " << inLeaves << " elements in " << leaves.size() << " leaves, "
        << static_cast<std::int64_t>(mesh.elements.size()) - inLeaves << " on cuts\n";
}

bool MapAgrees(const Space& space, const DofMapRecord& map) {
    for (std::size_t node = 0; node < space.positions.size(); ++node) {
        if (node >= map.types.size() || map.types[node] != static_cast<int>(KindOf(space, node)))
            return false;
    }
    return map.rows == FreeNodes(space);
}

/// Whether the unknowns, seen from the transposed map, belong to one node each.
bool TransposedAgrees(const DofMapRecord& map) {
    const std::size_t freeCount = CountFree(map.rows);
    for (std::size_t unknown = 0; unknown < map.transposed.size(); ++unknown) {
        if (map.transposed[unknown].size() != (unknown < freeCount ? 1 : 0)) return false;
    }
    return map.transposed.size() == map.rows.size();
}

/// Whether the ranges of all blocks together hold every node once, under its kind, and the library
/// counts as many as the ranges hold.
bool ListAgrees(const Space& space, const DofListRecord& list) {
    constexpr DofKind kinds[] = {DofKind::Corner, DofKind::EdgeNode, DofKind::Fixed};
    std::vector<int> seen(space.positions.size(), 0);
    std::array<int, 4> totals{};
    for (std::size_t b = 0; b < list.blocks.size(); ++b) {
        std::array<int, 2> counts{};
        for (std::size_t kind = 0; kind < 3; ++kind) {
            for (const DofRange& range : list.blocks[b].ranges[kind]) {
                const auto slot = range.partition - 2 * static_cast<std::int64_t>(b);
                if (slot < 0 || slot > 1 || range.first < 0 || range.last < range.first ||
                    range.last >= static_cast<int>(seen.size()))
                    return false;
                for (int node = range.first; node <= range.last; ++node) {
                    const auto n = static_cast<std::size_t>(node);
                    if (++seen[n] > 1 || KindOf(space, n) != kinds[kind]) return false;
                    ++totals[kind];
                    ++totals[3];
                    ++counts[static_cast<std::size_t>(slot)];
                }
            }
        }
        if (counts != list.blocks[b].dofCounts) return false;
    }
    return totals == list.totals && totals[3] == static_cast<int>(seen.size()) &&
           totals[3] == list.distinctCount;
}

bool PartitionsAgree(const MeshRecord& mesh, const DofListRecord& list) {
    std::vector<int> elements;
    for (const DofBlock& block : list.blocks) {
        for (const auto& [partition, count] : block.partitions) {
            if (partition != static_cast<int>(elements.size())) return false;
            elements.push_back(count);
        }
    }
    return elements == mesh.tree.leafTotals;
}

}  // namespace

void ReportMesh(const RunRecord& run, const MeshRecord& mesh, Checks& checks, std::ostream& out) {
    PrintStatistics(run, mesh, out);
    const PassRecord& last = run.passes.back();
    const auto elementCount = static_cast<double>(mesh.elements.size());
    const auto nodeCount = static_cast<double>(mesh.cornerCount + mesh.edgeNodeCount);
    checks.Expect(elementCount == last.elementCount && nodeCount == last.nodeCount &&
                      mesh.ids.size() == mesh.elements.size() &&
                      run.positions.size() == mesh.cornerCount + mesh.edgeNodeCount,
                  "elements and nodes are as many as the last pass had");
    checks.Expect(EdgesAgree(run, mesh), "edges agree in elements, mesh tree and metrics");
    checks.Expect(WallAgrees(mesh), "the wall nodes are those of the outer edges");
    checks.Expect(NeighborsAgree(run, mesh), "the neighbours of each node are those of its edges");
    checks.Expect(TreeAgrees(mesh), "the bisection tree holds every element once");
}

Space SpaceOf(const RunRecord& run, const MeshRecord& mesh) {
    const auto require = [](bool holds) {
        if (!holds) throw std::runtime_error("the elements do not fit the nodes");
    };
    Space space;
    space.order = run.model.order;
    space.cornerCount = mesh.cornerCount;
    for (const auto& [id, position] : run.positions) {
        space.positions.push_back(position);
        require(id == static_cast<int>(space.positions.size()));
    }
    space.onWall.assign(space.positions.size(), false);
    const auto indexOf = [&](int id) {
        require(id >= 1 && id <= static_cast<int>(space.positions.size()));
        return static_cast<std::size_t>(id - 1);
    };
    for (const ElementRecord& element : mesh.elements) {
        std::vector<std::size_t> nodes;
        for (const int id : element.corners) nodes.push_back(indexOf(id));
        for (const int id : element.edgeNodes) nodes.push_back(indexOf(id));
        require(element.corners.size() == 3 && nodes.size() == NodesPerElement(space.order));
        for (const int id : element.wallNodes) space.onWall[indexOf(id)] = true;
        space.elements.push_back(std::move(nodes));
    }
    return space;
}

void ReportDofs(const Space& space, const MeshRecord& mesh, const DofMapRecord& map,
                const DofListRecord& list, Checks& checks, std::ostream& out) {
    const std::size_t lastBlock = list.blocks.size() - 1;
    const auto& counts = list.blocks[lastBlock].dofCounts;
    out << "\nDegrees of freedom: TE " << space.positions.size() << ", TM " << CountFree(map.rows)
        << "; listed in " << list.blocks.size() << " blocks (block " << lastBlock
        << ", read alone, has " << counts[0] + counts[1] << ")\n";
    checks.Expect(MapAgrees(space, map), "the DOF map frees the nodes off the wall");
    checks.Expect(TransposedAgrees(map), "the transposed DOF map has a node for every unknown");
    checks.Expect(ListAgrees(space, list), "the DOF list holds every node once, block by block");
    checks.Expect(PartitionsAgree(mesh, list), "the partitions are the leaves of the tree");
}

}  // namespace waveguide
