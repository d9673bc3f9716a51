// SPDX-License-Identifier: Apache-2.0
#include "Assembly.h"

#include <algorithm>

namespace waveguide {
namespace {

using Triplets = std::vector<Eigen::Triplet<double>>;
using ElementMatrix = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, 0, 6, 6>;

void AddElement(const ElementMatrix& local, const std::vector<std::size_t>& nodes,
                Triplets& triplets) {
    for (Eigen::Index i = 0; i < local.rows(); ++i) {
        for (Eigen::Index j = 0; j < local.cols(); ++j)
            triplets.emplace_back(static_cast<int>(nodes[static_cast<std::size_t>(i)]),
                                  static_cast<int>(nodes[static_cast<std::size_t>(j)]),
                                  local(i, j));
    }
}

SparseMatrix FromTriplets(std::size_t rows, std::size_t columns, const Triplets& triplets) {
    SparseMatrix matrix(static_cast<Eigen::Index>(rows), static_cast<Eigen::Index>(columns));
    matrix.setFromTriplets(triplets.begin(), triplets.end());
    return matrix;
}

}  // namespace

Pencil Assemble(const Space& space) {
    std::vector<ShapeValues> shapes;
    for (const auto& point : Quadrature())
        shapes.push_back(ShapeAt(space.order, point.xi, point.eta));

    const auto size = static_cast<Eigen::Index>(NodesPerElement(space.order));
    Triplets stiffness;
    Triplets mass;
    for (std::size_t e = 0; e < space.elements.size(); ++e) {
        const NodeMatrix nodes = NodesOf(space, e);
        ElementMatrix localStiffness = ElementMatrix::Zero(size, size);
        ElementMatrix localMass = ElementMatrix::Zero(size, size);
        for (std::size_t q = 0; q < shapes.size(); ++q) {
            const MappedShape shape = MapShape(shapes[q], nodes);
            const double weight = Quadrature()[q].weight * shape.scale;
            localStiffness += weight * shape.gradients * shape.gradients.transpose();
            localMass += weight * shape.values * shape.values.transpose();
        }
        AddElement(localStiffness, space.elements[e], stiffness);
        AddElement(localMass, space.elements[e], mass);
    }
    const std::size_t nodes = space.positions.size();
    return {FromTriplets(nodes, nodes, stiffness), FromTriplets(nodes, nodes, mass)};
}

MapRows FreeNodes(const Space& space) {
    MapRows rows(space.positions.size());
    int next = 0;
    for (std::size_t node = 0; node < rows.size(); ++node) {
        if (!space.onWall[node]) rows[node].emplace_back(next++, 1.0);
    }
    return rows;
}

std::size_t CountFree(const MapRows& rows) {
    std::size_t count = 0;
    for (const auto& row : rows) {
        for (const auto& entry : row)
            count = std::max(count, static_cast<std::size_t>(entry.first) + 1);
    }
    return count;
}

SparseMatrix MapMatrix(const MapRows& rows, std::size_t freeCount) {
    Triplets triplets;
    for (std::size_t row = 0; row < rows.size(); ++row) {
        for (const auto& [column, weight] : rows[row])
            triplets.emplace_back(static_cast<int>(row), column, weight);
    }
    return FromTriplets(rows.size(), freeCount, triplets);
}

Pencil Reduce(const Pencil& pencil, const SparseMatrix& map) {
    const SparseMatrix transposed = map.transpose();
    return {transposed * pencil.stiffness * map, transposed * pencil.mass * map};
}

}  // namespace waveguide
