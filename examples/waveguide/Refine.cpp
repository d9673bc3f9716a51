// SPDX-License-Identifier: Apache-2.0
#include "Refine.h"

#include <limits>

namespace waveguide {
namespace {

constexpr std::size_t notSplit = std::numeric_limits<std::size_t>::max();

/// The edge, 0 to 2, that a triangle is bisected across. Bisecting the longest edge keeps the
/// angles of all descendants away from zero.
std::size_t LongestEdge(const Mesh& mesh, const EdgeTable& table, std::size_t triangle) {
    std::size_t longest = 0;
    double length = 0;
    for (std::size_t k = 0; k < 3; ++k) {
        const Edge& edge = table.edges[table.ofTriangle[triangle][k]];
        const double candidate = Distance(mesh.points[edge[0]], mesh.points[edge[1]]);
        // The margin makes equally long edges compare the same whatever their rounding.
        if (candidate <= length * (1 + 1e-12)) continue;
        longest = k;
        length = candidate;
    }
    return longest;
}

/// Adds the middle of every edge that is to be split; gives its number per edge, or notSplit.
std::vector<std::size_t> AddMiddles(Mesh& mesh, const EdgeTable& table,
                                    const std::vector<bool>& split) {
    std::vector<std::size_t> middle(table.edges.size(), notSplit);
    for (std::size_t e = 0; e < table.edges.size(); ++e) {
        if (!split[e]) continue;
        const Point point = EdgeMiddle(mesh, table.edges[e], table.OnWall(e));
        middle[e] = mesh.points.size();
        mesh.points.push_back(point);
    }
    return middle;
}

/// Marks edges until every triangle with a marked edge has its longest edge marked too; then
/// bisecting each triangle first across the longest edge leaves no hanging node.
std::vector<bool> EdgesToSplit(const Mesh& mesh, const EdgeTable& table,
                               const std::vector<bool>& marked) {
    std::vector<bool> split(table.edges.size(), false);
    std::vector<std::size_t> longest(mesh.triangles.size());
    for (std::size_t t = 0; t < mesh.triangles.size(); ++t) {
        longest[t] = table.ofTriangle[t][LongestEdge(mesh, table, t)];
        if (marked[t]) split[longest[t]] = true;
    }
    for (bool changed = true; changed;) {
        changed = false;
        for (std::size_t t = 0; t < mesh.triangles.size(); ++t) {
            const auto& [e0, e1, e2] = table.ofTriangle[t];
            if (split[longest[t]] || !(split[e0] || split[e1] || split[e2])) continue;
            split[longest[t]] = true;
            changed = true;
        }
    }
    return split;
}

/// Adds the triangle of the corners a, b and c to the mesh, bisected across its edge c-a when
/// that has the middle m.
void AddHalf(Mesh& mesh, std::size_t a, std::size_t b, std::size_t c, std::size_t m) {
    if (m == notSplit) {
        mesh.triangles.push_back({a, b, c});
        return;
    }
    mesh.triangles.insert(mesh.triangles.end(), {{a, b, m}, {b, c, m}});
}

}  // namespace

Mesh RefineUniformly(const Mesh& mesh) {
    const EdgeTable table = FindEdges(mesh);
    Mesh fine = mesh;
    fine.triangles.clear();
    const auto middle = AddMiddles(fine, table, std::vector<bool>(table.edges.size(), true));
    for (std::size_t t = 0; t < mesh.triangles.size(); ++t) {
        const auto& [a, b, c] = mesh.triangles[t];
        const std::size_t ab = middle[table.ofTriangle[t][0]];
        const std::size_t bc = middle[table.ofTriangle[t][1]];
        const std::size_t ca = middle[table.ofTriangle[t][2]];
        fine.triangles.insert(fine.triangles.end(),
                              {{a, ab, ca}, {ab, b, bc}, {ca, bc, c}, {ab, bc, ca}});
    }
    return fine;
}

Mesh RefineMarked(const Mesh& mesh, const std::vector<bool>& marked) {
    const EdgeTable table = FindEdges(mesh);
    Mesh fine = mesh;
    fine.triangles.clear();
    const auto middle = AddMiddles(fine, table, EdgesToSplit(mesh, table, marked));
    for (std::size_t t = 0; t < mesh.triangles.size(); ++t) {
        const std::size_t k = LongestEdge(mesh, table, t);
        const auto& corner = mesh.triangles[t];
        const auto& edge = table.ofTriangle[t];
        const std::size_t half = middle[edge[k]];
        if (half == notSplit) {
            fine.triangles.push_back(corner);
            continue;
        }
        // a-b is the longest edge; its middle parts the triangle into (b, c, half), whose edge
        // b-c may be split again, and (c, a, half), whose edge c-a may be.
        const std::size_t a = corner[k];
        const std::size_t b = corner[(k + 1) % 3];
        const std::size_t c = corner[(k + 2) % 3];
        AddHalf(fine, c, half, b, middle[edge[(k + 1) % 3]]);
        AddHalf(fine, a, half, c, middle[edge[(k + 2) % 3]]);
    }
    return fine;
}

}  // namespace waveguide
