// SPDX-License-Identifier: Apache-2.0
#include "Mesh.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>

#include "Failure.h"

namespace waveguide {
namespace {

constexpr std::size_t unused = std::numeric_limits<std::size_t>::max();

[[noreturn]] void FailMesh(const std::string& source, const std::string& cause,
                           const std::string& remedy) {
    throw Failure(Status::Mesh, source, cause, remedy);
}

void OrientTriangles(Mesh& mesh, const std::string& source) {
    for (std::size_t t = 0; t < mesh.triangles.size(); ++t) {
        auto& [a, b, c] = mesh.triangles[t];
        const Point& pa = mesh.points[a];
        const Point& pb = mesh.points[b];
        const Point& pc = mesh.points[c];
        const double longest = std::max({Distance(pa, pb), Distance(pb, pc), Distance(pc, pa)});
        const double area = DoubleArea(pa, pb, pc);
        // A height below a billionth of the longest side would ruin the element matrices.
        if (!(std::abs(area) > 1e-9 * longest * longest))
            FailMesh(source, "triangle " + std::to_string(t + 1) + " has no area",
                     "remove degenerate triangles from the mesh");
        if (area < 0) std::swap(b, c);
    }
}

void DropUnusedPoints(Mesh& mesh) {
    std::vector<std::size_t> newNumber(mesh.points.size(), unused);
    std::vector<Point> used;
    for (auto& triangle : mesh.triangles) {
        for (auto& corner : triangle) {
            if (newNumber[corner] == unused) {
                newNumber[corner] = used.size();
                used.push_back(mesh.points[corner]);
            }
            corner = newNumber[corner];
        }
    }
    mesh.points = std::move(used);
}

/// The number of parts that hang together through edges.
std::size_t CountParts(const Mesh& mesh, const EdgeTable& table) {
    std::vector<std::size_t> parent(mesh.triangles.size());
    for (std::size_t t = 0; t < parent.size(); ++t) parent[t] = t;
    const auto root = [&parent](std::size_t t) {
        while (parent[t] != t) t = parent[t] = parent[parent[t]];
        return t;
    };
    std::vector<std::size_t> firstTriangle(table.edges.size(), unused);
    for (std::size_t t = 0; t < parent.size(); ++t) {
        for (const std::size_t edge : table.ofTriangle[t]) {
            if (firstTriangle[edge] == unused) firstTriangle[edge] = t;
            parent[root(t)] = root(firstTriangle[edge]);
        }
    }
    std::size_t parts = 0;
    for (std::size_t t = 0; t < parent.size(); ++t) parts += parent[t] == t ? 1 : 0;
    return parts;
}

}  // namespace

EdgeTable FindEdges(const Mesh& mesh) {
    EdgeTable table;
    std::map<Edge, std::size_t> known;
    for (const Triangle& triangle : mesh.triangles) {
        std::array<std::size_t, 3> numbers{};
        for (std::size_t k = 0; k < 3; ++k) {
            const auto [low, high] = std::minmax(triangle[k], triangle[(k + 1) % 3]);
            const auto [entry, isNew] = known.try_emplace(Edge{low, high}, table.edges.size());
            if (isNew) {
                table.edges.push_back(entry->first);
                table.triangleCount.push_back(0);
            }
            numbers[k] = entry->second;
            ++table.triangleCount[entry->second];
        }
        table.ofTriangle.push_back(numbers);
    }
    return table;
}

double DoubleArea(const Point& a, const Point& b, const Point& c) {
    return (b[0] - a[0]) * (c[1] - a[1]) - (b[1] - a[1]) * (c[0] - a[0]);
}

double Distance(const Point& a, const Point& b) {
    return std::hypot(b[0] - a[0], b[1] - a[1]);
}

double TotalArea(const Mesh& mesh) {
    double area = 0;
    for (const auto& [a, b, c] : mesh.triangles)
        area += 0.5 * DoubleArea(mesh.points[a], mesh.points[b], mesh.points[c]);
    return area;
}

Point EdgeMiddle(const Mesh& mesh, const Edge& edge, bool onWall) {
    const Point& a = mesh.points[edge[0]];
    const Point& b = mesh.points[edge[1]];
    const Point middle = {0.5 * (a[0] + b[0]), 0.5 * (a[1] + b[1])};
    if (!onWall || mesh.wallRadius <= 0) return middle;
    const double stretch = mesh.wallRadius / std::hypot(middle[0], middle[1]);
    return {stretch * middle[0], stretch * middle[1]};
}

Mesh CheckedMesh(Mesh mesh, const std::string& source) {
    if (mesh.triangles.empty())
        FailMesh(source, "there are no triangles", "mesh the surface of the cross-section");
    OrientTriangles(mesh, source);
    DropUnusedPoints(mesh);
    const EdgeTable table = FindEdges(mesh);
    for (const int count : table.triangleCount) {
        if (count > 2)
            FailMesh(source, "an edge belongs to " + std::to_string(count) + " triangles",
                     "remove overlapping surfaces and duplicate triangles");
    }
    const std::size_t parts = CountParts(mesh, table);
    if (parts != 1)
        FailMesh(source, "the section falls into " + std::to_string(parts) + " parts",
                 "merge coincident points, or mesh one guide at a time");
    return mesh;
}

}  // namespace waveguide
