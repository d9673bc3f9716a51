// SPDX-License-Identifier: Apache-2.0
#include "Elements.h"

#include <Eigen/LU>

namespace waveguide {

Space BuildSpace(const Mesh& mesh, int order) {
    const EdgeTable table = FindEdges(mesh);
    Space space;
    space.order = order;
    space.cornerCount = mesh.points.size();
    space.positions = mesh.points;
    space.onWall.assign(mesh.points.size(), false);
    for (std::size_t e = 0; e < table.edges.size(); ++e) {
        const bool onWall = table.OnWall(e);
        if (onWall) space.onWall[table.edges[e][0]] = space.onWall[table.edges[e][1]] = true;
        if (order == 1) continue;
        space.positions.push_back(EdgeMiddle(mesh, table.edges[e], onWall));
        space.onWall.push_back(onWall);
    }
    for (std::size_t t = 0; t < mesh.triangles.size(); ++t) {
        const Triangle& corners = mesh.triangles[t];
        std::vector<std::size_t> nodes(corners.begin(), corners.end());
        if (order == 2) {
            for (const std::size_t edge : table.ofTriangle[t])
                nodes.push_back(space.cornerCount + edge);
        }
        space.elements.push_back(std::move(nodes));
    }
    return space;
}

NodeMatrix NodesOf(const Space& space, std::size_t element) {
    const auto& numbers = space.elements[element];
    NodeMatrix nodes(static_cast<Eigen::Index>(numbers.size()), 2);
    Eigen::Index row = 0;
    for (const std::size_t number : numbers) {
        const Point& position = space.positions[number];
        nodes.row(row++) << position[0], position[1];
    }
    return nodes;
}

ShapeValues ShapeAt(int order, double xi, double eta) {
    // Area coordinates and their gradients.
    const Eigen::Vector3d area(1 - xi - eta, xi, eta);
    Eigen::Matrix<double, 3, 2> slope;
    slope << -1, -1, 1, 0, 0, 1;
    if (order == 1) return {area, slope};

    ShapeValues shape;
    shape.values.resize(6);
    shape.gradients.resize(6, 2);
    for (Eigen::Index k = 0; k < 3; ++k) {
        const Eigen::Index next = (k + 1) % 3;
        shape.values[k] = area[k] * (2 * area[k] - 1);
        shape.gradients.row(k) = (4 * area[k] - 1) * slope.row(k);
        shape.values[3 + k] = 4 * area[k] * area[next];
        shape.gradients.row(3 + k) = 4 * (area[k] * slope.row(next) + area[next] * slope.row(k));
    }
    return shape;
}

MappedShape MapShape(const ShapeValues& shape, const NodeMatrix& nodes) {
    const Eigen::Matrix2d jacobian = shape.gradients.transpose() * nodes;
    return {shape.values, shape.gradients * jacobian.inverse().transpose(), jacobian.determinant()};
}

const std::array<QuadraturePoint, 6>& Quadrature() {
    constexpr double a = 0.44594849091596489;
    constexpr double b = 0.09157621350977074;
    constexpr double weightA = 0.22338158967801147 / 2;
    constexpr double weightB = 0.10995174365532187 / 2;
    static constexpr std::array<QuadraturePoint, 6> points = {{{a, a, weightA},
                                                               {a, 1 - 2 * a, weightA},
                                                               {1 - 2 * a, a, weightA},
                                                               {b, b, weightB},
                                                               {b, 1 - 2 * b, weightB},
                                                               {1 - 2 * b, b, weightB}}};
    return points;
}

const std::array<Point, 6>& ReferenceNodes() {
    static constexpr std::array<Point, 6> nodes = {
        {{0, 0}, {1, 0}, {0, 1}, {0.5, 0}, {0.5, 0.5}, {0, 0.5}}};
    return nodes;
}

}  // namespace waveguide
