// SPDX-License-Identifier: Apache-2.0
#include "tool/formats/VtuMesh.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <map>
#include <string>
#include <utility>

#include "tool/Error.h"

namespace fieldstore::tool {
namespace {

constexpr std::size_t kDimensions = 3;
constexpr std::size_t kTriangleCorners = 3, kTetrahedronCorners = 4;

// The numbers that VTK has for shapes of cells.
constexpr std::uint8_t kLine = 3;
const std::map<std::size_t, std::uint8_t>& ShapesByNodeCount() {
    static const std::map<std::size_t, std::uint8_t> shapes{
        {kTriangleCorners, 5}, {kTetrahedronCorners, 10}, {6, 22}, {10, 24}};
    return shapes;
}

std::uint32_t Unsigned(int stored) {
    return static_cast<std::uint32_t>(stored);
}

/// Keys that are unsigned numbers stored as signed ones, in the order of the unsigned ones.
template <typename Map>
std::vector<typename Map::const_pointer> InOrder(const Map& map) {
    std::vector<typename Map::const_pointer> entries;
    entries.reserve(map.size());
    for (const auto& entry : map) entries.push_back(&entry);
    std::sort(entries.begin(), entries.end(),
              [](const auto* a, const auto* b) { return Unsigned(a->first) < Unsigned(b->first); });
    return entries;
}

std::vector<int> NodesIn(const std::map<int, Ints>& lists, int element) {
    const auto found = lists.find(element);
    return found == lists.end() ? Ints() : found->second;
}

/// A node stands in a list once for each of its basis functions.
void AppendDistinct(const std::vector<int>& nodes, std::vector<int>& distinct) {
    for (const int node : nodes)
        if (std::find(distinct.begin(), distinct.end(), node) == distinct.end())
            distinct.push_back(node);
}

}  // namespace

VtuMesh::VtuMesh(const SolutionMetricsBody& metrics) {
    for (const auto* entry : InOrder(metrics.positions)) {
        const auto& position = entry->second;
        if (position.size() < kDimensions)
            throw Error("", "a position has fewer than three values", "Run fieldstore check.");
        nodeIds.push_back(Unsigned(entry->first));
        coordinates.insert(coordinates.end(), position.begin(), position.begin() + kDimensions);
    }
    for (const auto* entry : InOrder(metrics.edges)) {
        const std::string name = "edge " + std::to_string(Unsigned(entry->first));
        if (entry->second.size() != 2 || !AllAreThere(entry->second))
            throw Error("", name + " has not two nodes with positions", "Run fieldstore check.");
        Add(cells, Unsigned(entry->first), kLine, entry->second);
    }
}

std::optional<std::int64_t> VtuMesh::PointOf(int node) const {
    const auto found = std::lower_bound(nodeIds.begin(), nodeIds.end(), Unsigned(node));
    if (found == nodeIds.end() || *found != Unsigned(node)) return {};
    return found - nodeIds.begin();
}

bool VtuMesh::AllAreThere(const std::vector<int>& nodes) const {
    return std::all_of(nodes.begin(), nodes.end(), [this](int node) { return PointOf(node); });
}

/// Requires: nodes with positions.
void VtuMesh::Add(Cells& to, std::uint32_t id, std::uint8_t type,
                  const std::vector<int>& nodes) const {
    to.ids.push_back(id);
    to.types.push_back(type);
    for (const int node : nodes) to.connectivity.push_back(*PointOf(node));
    to.offsets.push_back(static_cast<std::int64_t>(to.connectivity.size()));
}

/// The nodes of the first list, with those of the second one where together they make a quadratic
/// element.
std::vector<int> VtuMesh::ShapeOf(const AssemblyInfoBody& assembly, int element) const {
    constexpr std::size_t most = 64;  // of an element; a list in a file may have any length
    const auto first = NodesIn(assembly.nodes1, element);
    const auto second = NodesIn(assembly.nodes2, element);
    const std::string name = "element " + std::to_string(element);
    if (first.size() > most || second.size() > most)
        throw Error("", name + " has too many nodes", "");
    std::vector<int> nodes;
    AppendDistinct(first, nodes);
    if (nodes.size() == kTriangleCorners || nodes.size() == kTetrahedronCorners) {
        const std::size_t corners = nodes.size(), edges = corners * (corners - 1) / 2;
        std::vector<int> quadratic = nodes;
        AppendDistinct(second, quadratic);
        if (quadratic.size() == corners + edges && AllAreThere(quadratic)) nodes = quadratic;
    }
    if (ShapesByNodeCount().count(nodes.size()) == 0)
        throw Error("", name + " has " + std::to_string(nodes.size()) + " nodes",
                    "Triangles of 3 or 6 nodes and tetrahedra of 4 or 10 are known.");
    if (!AllAreThere(nodes)) throw Error("", "a node of " + name + " has no position", "");
    return nodes;
}

void VtuMesh::TakeElements(const AssemblyInfoBody& assembly) {
    Cells elements;
    for (const int value : assembly.elements) {
        // The sign is a flag; the smallest integer, which has no other sign, counts as the largest.
        const int id = value == std::numeric_limits<int>::min() ? std::numeric_limits<int>::max()
                                                                : std::abs(value);
        const auto nodes = ShapeOf(assembly, id);
        Add(elements, Unsigned(id), ShapesByNodeCount().at(nodes.size()), nodes);
    }
    cells = std::move(elements);
    hasElements = true;
}

}  // namespace fieldstore::tool
