// SPDX-License-Identifier: Apache-2.0
#ifndef WAVEGUIDE_ELEMENTS_H
#define WAVEGUIDE_ELEMENTS_H

#include <Eigen/Core>
#include <array>
#include <vector>

#include "Mesh.h"

namespace waveguide {

/// Nodes per element: 3 corners, for order 2 followed by the middles of edges 0-1, 1-2 and 2-0.
constexpr std::size_t NodesPerElement(int order) {
    return order == 1 ? 3 : 6;
}

/// The unknowns of one family of modes on a mesh: a node per corner and, for order 2, per edge.
struct Space {
    int order = 2;
    std::size_t cornerCount = 0;  ///< nodes 0 to cornerCount - 1 are corners, the rest edge nodes
    std::vector<Point> positions;
    std::vector<std::vector<std::size_t>> elements;  ///< node numbers, corners first
    std::vector<bool> onWall;                        ///< per node
};

Space BuildSpace(const Mesh& mesh, int order);

/// Coordinates of an element's nodes, one row each.
using NodeMatrix = Eigen::Matrix<double, Eigen::Dynamic, 2, 0, 6, 2>;
NodeMatrix NodesOf(const Space& space, std::size_t element);

/// Shape functions at a point of the reference triangle (0,0) (1,0) (0,1).
struct ShapeValues {
    Eigen::Matrix<double, Eigen::Dynamic, 1, 0, 6, 1> values;
    NodeMatrix gradients;  ///< with respect to the reference coordinates
};
ShapeValues ShapeAt(int order, double xi, double eta);

/// The element with its shape functions at one point: gradients with respect to x and y, and the
/// area that a unit of the reference triangle has there.
///
/// The edge nodes bend the element: on a curved wall the mapping is quadratic as the functions are,
/// so that the shape of the wall is met as closely as the field.
struct MappedShape {
    Eigen::Matrix<double, Eigen::Dynamic, 1, 0, 6, 1> values;
    NodeMatrix gradients;
    double scale = 0;
};
MappedShape MapShape(const ShapeValues& shape, const NodeMatrix& nodes);

/// A point of a quadrature rule on the reference triangle; the weights add up to its area, 1/2.
struct QuadraturePoint {
    double xi;
    double eta;
    double weight;
};

/// Six points, exact for polynomials up to degree 4, as products of two quadratic functions are.
const std::array<QuadraturePoint, 6>& Quadrature();

/// Reference coordinates of the nodes of an element.
const std::array<Point, 6>& ReferenceNodes();

}  // namespace waveguide

#endif
