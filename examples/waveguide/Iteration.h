// SPDX-License-Identifier: Apache-2.0
#ifndef WAVEGUIDE_ITERATION_H
#define WAVEGUIDE_ITERATION_H

#include <string>

#include "EigenSolver.h"

namespace waveguide {

/// Raises a Failure of the solver.
[[noreturn]] void FailToSolve(const std::string& cause);

/// Runs the iteration with a search space of `searchSize` vectors. A source of its own, as the
/// templates of its library take long to compile.
EigenPairs Iterate(const Pencil& pencil, Eigen::Index count, Eigen::Index searchSize, double scale);

}  // namespace waveguide

#endif
