// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <limits>

#include "tool/Error.h"
#include "tool/Terminal.h"
#include "tool/formats/Tables.h"

namespace fieldstore::tool {
namespace {

using Key = std::pair<int, int>;               // type, index
using Column = std::map<int, const Doubles*>;  // by entity

/// The values by what would be one array: a type at an index.
std::map<Key, Column> Columns(const SolutionMetricsBody& body) {
    std::map<Key, Column> columns;
    for (const auto& [key, values] : body.values)
        columns[{key.first, key.second.first}][key.second.second] = &values;
    return columns;
}

/// Whether all entities of a column are among the keys of a map.
template <typename Map>
bool Belongs(const Column& column, const Map& entities) {
    return std::all_of(column.begin(), column.end(),
                       [&](const auto& entry) { return entities.count(entry.first) != 0; });
}

template <typename Map>
void PutData(std::ostream& out, const char* section, const char* idName, const Map& entities,
             const std::map<Key, Column>& columns) {
    out << section << ' ' << entities.size() << "\nFIELD FieldData " << columns.size() + 1 << '\n'
        << idName << " 1 " << entities.size() << " double\n";
    for (const auto& entity : entities) out << static_cast<std::uint32_t>(entity.first) << '\n';
    for (const auto& [key, column] : columns) {
        std::size_t components = 1;
        for (const auto& entry : column) components = std::max(components, entry.second->size());
        out << "type" << key.first << "_index" << static_cast<std::uint32_t>(key.second) << ' '
            << components << ' ' << entities.size() << " double\n";
        for (const auto& entity : entities) {
            const auto found = column.find(entity.first);
            for (std::size_t i = 0; i < components; ++i) {
                const bool known = found != column.end() && i < found->second->size();
                out << (known ? NumberText((*found->second)[i]) : "nan")
                    << (i + 1 < components ? ' ' : '\n');
            }
        }
    }
}

void PutGeometry(const SolutionMetricsBody& body, std::ostream& out) {
    constexpr std::size_t dimensions = 3;
    out << "# vtk DataFile Version 3.0\nfieldstore solution metrics\nASCII\nDATASET POLYDATA\n"
        << "POINTS " << body.positions.size() << " double\n";
    std::map<int, std::size_t> pointOf;
    for (const auto& [node, position] : body.positions) {
        if (position.size() < dimensions)
            throw Error("", "a position has fewer than three values", "Run fieldstore check.");
        out << NumberText(position[0]) << ' ' << NumberText(position[1]) << ' '
            << NumberText(position[2]) << '\n';
        pointOf.emplace(node, pointOf.size());
    }
    std::size_t numbers = 0;
    for (const auto& edge : body.edges) numbers += edge.second.size() + 1;
    out << "LINES " << body.edges.size() << ' ' << numbers << '\n';
    for (const auto& [edge, nodes] : body.edges) {
        out << nodes.size();
        for (const int node : nodes) {
            if (pointOf.count(node) == 0)
                throw Error("", "an edge's node has no position", "Run fieldstore check.");
            out << ' ' << pointOf[node];
        }
        out << '\n';
    }
}

void Put(const SolutionMetricsBody& body, std::ostream& out) {
    // The library knows no meaning of entities; their ids tell what they can be.
    std::map<Key, Column> ofNodes, ofEdges;
    for (auto& [key, column] : Columns(body)) {
        if (Belongs(column, body.positions))
            ofNodes.emplace(key, column);
        else if (Belongs(column, body.edges))
            ofEdges.emplace(key, column);
        else
            Say("left out: type " + std::to_string(key.first) +
                ", whose entities are neither nodes nor edges");
    }
    PutGeometry(body, out);
    PutData(out, "CELL_DATA", "edge", body.edges, ofEdges);
    PutData(out, "POINT_DATA", "node", body.positions, ofNodes);
}

template <typename Body>
void Put(const Body& /*body*/, std::ostream& /*out*/) {
    RefuseClass<Body>("vtk");
}

}  // namespace

void DumpVtk(const AnyBody& any, std::ostream& out) {
    std::visit([&out](const auto& body) { Put(body, out); }, any);
}

}  // namespace fieldstore::tool
