// SPDX-License-Identifier: Apache-2.0
#include "EigenSolver.h"

#include <Eigen/SparseCholesky>
#include <algorithm>

#include "Iteration.h"

namespace waveguide {
namespace {

/// Whether the matrices can be those of a mesh; the iteration might never end with others.
bool IsSound(const Pencil& pencil) {
    return pencil.stiffness.coeffs().allFinite() && pencil.mass.coeffs().allFinite() &&
           Eigen::VectorXd(pencil.mass.diagonal()).minCoeff() > 0;
}

/// The number of eigenvalues below `shift`: by Sylvester's law of inertia, that of the negative
/// entries in D of the factorisation L D L^T of the shifted matrix.
std::size_t CountBelow(const Pencil& pencil, double shift) {
    const SparseMatrix shifted = pencil.stiffness - shift * pencil.mass;
    const Eigen::SimplicialLDLT<SparseMatrix> factors(shifted);
    if (factors.info() != Eigen::Success) FailToSolve("a shifted matrix cannot be factorised");
    const Eigen::VectorXd diagonal = factors.vectorD();
    return static_cast<std::size_t>((diagonal.array() < 0).count());
}

/// Whether no eigenvalue below the widest gap at or behind number `count` was missed.
bool IsComplete(const Pencil& pencil, const std::vector<double>& values, std::size_t count) {
    std::size_t widest = count;
    for (std::size_t i = count; i < values.size(); ++i) {
        if (values[i] - values[i - 1] > values[widest] - values[widest - 1]) widest = i;
    }
    return CountBelow(pencil, 0.5 * (values[widest - 1] + values[widest])) == widest;
}

/// Spare eigenvalues beyond those asked for, so that a gap behind the last one is seen even when
/// that is one of several equal ones.
constexpr std::size_t spare = 3;

}  // namespace

std::size_t UnknownsFor(std::size_t count) {
    return 4 * (count + spare);
}

EigenPairs LowestEigenPairs(const Pencil& pencil, std::size_t count, double scale) {
    const Eigen::Index unknowns = pencil.mass.rows();
    const auto wanted = static_cast<Eigen::Index>(count + spare);
    if (wanted >= unknowns) FailToSolve("the mesh has too few unknowns for the modes asked for");
    if (!IsSound(pencil)) FailToSolve("the matrices are not those of a mesh");
    for (Eigen::Index searchSize = 2 * wanted + 10;; searchSize *= 2) {
        EigenPairs pairs = Iterate(pencil, wanted, std::min(searchSize, unknowns), scale);
        if (IsComplete(pencil, pairs.values, count)) {
            pairs.values.resize(count);
            pairs.vectors.conservativeResize(Eigen::NoChange, static_cast<Eigen::Index>(count));
            return pairs;
        }
        if (searchSize >= unknowns) FailToSolve("an eigenvalue was missed");
    }
}

EigenPairs SolveFamily(const Pencil& pencil, Family family, const MapRows& freeNodes,
                       std::size_t count, double area) {
    if (family == Family::TM) {
        const SparseMatrix map = MapMatrix(freeNodes, CountFree(freeNodes));
        EigenPairs pairs = LowestEigenPairs(Reduce(pencil, map), count, 1 / area);
        pairs.vectors = map * pairs.vectors;
        return pairs;
    }
    // The constant field solves the TE problem at k_c = 0 but is no mode.
    EigenPairs pairs = LowestEigenPairs(pencil, count + 1, 1 / area);
    pairs.values.erase(pairs.values.begin());
    pairs.vectors = pairs.vectors.rightCols(static_cast<Eigen::Index>(count)).eval();
    return pairs;
}

}  // namespace waveguide
