// SPDX-License-Identifier: Apache-2.0
#include "EigenSolver.h"

#include <Spectra/MatOp/SparseSymMatProd.h>
#include <Spectra/MatOp/SymShiftInvert.h>
#include <Spectra/SymGEigsShiftSolver.h>
#include <Eigen/SparseCholesky>
#include <algorithm>
#include <exception>
#include <string>

#include "Failure.h"

namespace waveguide {
namespace {

using ShiftInvert = Spectra::SymShiftInvert<double, Eigen::Sparse, Eigen::Sparse>;
using MassProduct = Spectra::SparseSymMatProd<double>;
using Solver =
    Spectra::SymGEigsShiftSolver<ShiftInvert, MassProduct, Spectra::GEigsMode::ShiftInvert>;

[[noreturn]] void Fail(const std::string& cause) {
    throw Failure(Status::Solver, "eigenvalue solver", cause,
                  "use a finer first mesh (--divisions) or fewer modes (--modes)");
}

/// Whether the matrices can be those of a mesh; the iteration might never end with others.
bool IsSound(const Pencil& pencil) {
    return pencil.stiffness.coeffs().allFinite() && pencil.mass.coeffs().allFinite() &&
           Eigen::VectorXd(pencil.mass.diagonal()).minCoeff() > 0;
}

/// Runs the iteration with a search space of `searchSize` vectors.
EigenPairs Iterate(const Pencil& pencil, Eigen::Index count, Eigen::Index searchSize,
                   double scale) try {
    ShiftInvert shiftInvert(pencil.stiffness, pencil.mass);
    MassProduct massProduct(pencil.mass);
    // A negative shift keeps the shifted matrix positive definite although the constant solution
    // of the TE problem has the eigenvalue 0.
    Solver solver(shiftInvert, massProduct, count, searchSize, -scale);
    solver.init();
    const Eigen::Index converged = solver.compute(Spectra::SortRule::LargestMagn, 1000, 1e-12,
                                                  Spectra::SortRule::SmallestAlge);
    if (solver.info() != Spectra::CompInfo::Successful || converged < count)
        Fail("the iteration does not converge");
    const Eigen::VectorXd values = solver.eigenvalues();
    return {{values.data(), values.data() + values.size()}, solver.eigenvectors()};
} catch (const Failure&) {
    throw;
} catch (const std::exception& error) {
    Fail(error.what());
}

/// The number of eigenvalues below `shift`: by Sylvester's law of inertia, that of the negative
/// entries in D of the factorisation L D L^T of the shifted matrix.
std::size_t CountBelow(const Pencil& pencil, double shift) {
    const SparseMatrix shifted = pencil.stiffness - shift * pencil.mass;
    const Eigen::SimplicialLDLT<SparseMatrix> factors(shifted);
    if (factors.info() != Eigen::Success) Fail("a shifted matrix cannot be factorised");
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
    if (wanted >= unknowns) Fail("the mesh has too few unknowns for the modes asked for");
    if (!IsSound(pencil)) Fail("the matrices are not those of a mesh");
    for (Eigen::Index searchSize = 2 * wanted + 10;; searchSize *= 2) {
        EigenPairs pairs = Iterate(pencil, wanted, std::min(searchSize, unknowns), scale);
        if (IsComplete(pencil, pairs.values, count)) {
            pairs.values.resize(count);
            pairs.vectors.conservativeResize(Eigen::NoChange, static_cast<Eigen::Index>(count));
            return pairs;
        }
        if (searchSize >= unknowns) Fail("an eigenvalue was missed");
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
