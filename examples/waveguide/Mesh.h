// SPDX-License-Identifier: Apache-2.0
#ifndef WAVEGUIDE_MESH_H
#define WAVEGUIDE_MESH_H

#include <array>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace waveguide {

/// x and y in metres.
using Point = std::array<double, 2>;

/// Three corners, counter-clockwise.
using Triangle = std::array<std::size_t, 3>;

/// Two corners, the smaller number first.
using Edge = std::array<std::size_t, 2>;

/// A conforming triangulation of the cross-section.
struct Mesh {
    std::vector<Point> points;
    std::vector<Triangle> triangles;
    /// Positive: the wall is a circle of this radius about the origin, and new points on wall edges
    /// are moved onto it. 0: the wall is as straight as its edges.
    double wallRadius = 0;
};

/// The edges of a mesh. Edge k of a triangle joins its corners k and k+1 (mod 3).
struct EdgeTable {
    std::vector<Edge> edges;
    std::vector<std::array<std::size_t, 3>> ofTriangle;
    std::vector<int> triangleCount;  ///< per edge: 1 on the wall, 2 inside

    bool OnWall(std::size_t edge) const { return triangleCount[edge] == 1; }
};

EdgeTable FindEdges(const Mesh& mesh);

/// Twice the signed area; positive for counter-clockwise corners.
double DoubleArea(const Point& a, const Point& b, const Point& c);

double Distance(const Point& a, const Point& b);

double TotalArea(const Mesh& mesh);

/// The middle of an edge; for an edge on a curved wall the point of the wall above it.
Point EdgeMiddle(const Mesh& mesh, const Edge& edge, bool onWall);

/// Turns triangles that run clockwise, drops points that no triangle uses, and makes sure that the
/// triangles form one section. Raises Failure (Status::Mesh) naming `source` when they do not.
Mesh CheckedMesh(Mesh mesh, const std::string& source);

}  // namespace waveguide

#endif
