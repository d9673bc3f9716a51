// SPDX-License-Identifier: Apache-2.0
#ifndef WAVEGUIDE_ASSEMBLY_H
#define WAVEGUIDE_ASSEMBLY_H

#include <Eigen/SparseCore>
#include <utility>
#include <vector>

#include "Elements.h"

namespace waveguide {

using SparseMatrix = Eigen::SparseMatrix<double>;

/// stiffness x = k_c^2 mass x, with x the longitudinal field at the nodes.
struct Pencil {
    SparseMatrix stiffness;
    SparseMatrix mass;
};

/// Over all nodes, as TE modes need it: at the wall their normal derivative vanishes by itself.
Pencil Assemble(const Space& space);

/// Rows of (column, weight): which free unknowns make up the value at each node.
using MapRows = std::vector<std::vector<std::pair<int, double>>>;

/// The free unknowns of TM modes, whose field vanishes on the wall: the nodes off the wall,
/// numbered from 0 in node order. The row of a wall node is empty.
MapRows FreeNodes(const Space& space);

/// The rows as a matrix with a column for each of the `freeCount` unknowns.
SparseMatrix MapMatrix(const MapRows& rows, std::size_t freeCount);

std::size_t CountFree(const MapRows& rows);

/// The pencil seen by the free unknowns.
Pencil Reduce(const Pencil& pencil, const SparseMatrix& map);

}  // namespace waveguide

#endif
