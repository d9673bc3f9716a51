// SPDX-License-Identifier: Apache-2.0
#include "Iteration.h"

#include <Spectra/MatOp/SparseSymMatProd.h>
#include <Spectra/MatOp/SymShiftInvert.h>
#include <Spectra/SymGEigsShiftSolver.h>
#include <exception>

#include "Failure.h"

namespace waveguide {
namespace {

using ShiftInvert = Spectra::SymShiftInvert<double, Eigen::Sparse, Eigen::Sparse>;
using MassProduct = Spectra::SparseSymMatProd<double>;
using Solver =
    Spectra::SymGEigsShiftSolver<ShiftInvert, MassProduct, Spectra::GEigsMode::ShiftInvert>;

}  // namespace

void FailToSolve(const std::string& cause) {
    throw Failure(Status::Solver, "eigenvalue solver", cause,
                  "use a finer first mesh (--divisions) or fewer modes (--modes)");
}

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
        FailToSolve("the iteration does not converge");
    const Eigen::VectorXd values = solver.eigenvalues();
    return {{values.data(), values.data() + values.size()}, solver.eigenvectors()};
} catch (const Failure&) {
    throw;
} catch (const std::exception& error) {
    FailToSolve(error.what());
}

}  // namespace waveguide
