// SPDX-License-Identifier: Apache-2.0
#ifndef WAVEGUIDE_EIGENSOLVER_H
#define WAVEGUIDE_EIGENSOLVER_H

#include <Eigen/Core>
#include <vector>

#include "Assembly.h"
#include "Settings.h"

namespace waveguide {

/// Eigenvalues in ascending order with their vectors, one column each, of unit mass.
struct EigenPairs {
    std::vector<double> values;
    Eigen::MatrixXd vectors;
};

/// The lowest `count` eigenpairs; `scale` is a number of the size of the first positive ones.
///
/// A Krylov method may miss one of several equal eigenvalues, which a circle has by symmetry. The
/// number of eigenvalues below a shift, read from a factorisation, therefore checks the result, and
/// a larger search space is tried when it differs. Raises Failure (Status::Solver) when the
/// iteration does not converge, or the pencil is too small.
EigenPairs LowestEigenPairs(const Pencil& pencil, std::size_t count, double scale);

/// How many unknowns a pencil should have for `count` eigenpairs to be found well.
std::size_t UnknownsFor(std::size_t count);

/// The modes of one family on a space: TE over all nodes without the constant solution, TM over
/// the free ones. The vectors have an entry per node.
EigenPairs SolveFamily(const Pencil& pencil, Family family, const MapRows& freeNodes,
                       std::size_t count, double area);

}  // namespace waveguide

#endif
