// SPDX-License-Identifier: Apache-2.0
#ifndef WAVEGUIDE_ADAPTIVE_H
#define WAVEGUIDE_ADAPTIVE_H

#include <functional>
#include <vector>

#include "Elements.h"
#include "Modes.h"
#include "Settings.h"

namespace waveguide {

/// What one pass found on its mesh.
struct Pass {
    int number = 0;  ///< from 1
    Space space;
    std::size_t freeCount = 0;  ///< unknowns of the TM problem
    FamilyCutoffs cutoffs;      ///< modeCount of each family
    std::vector<Mode> modes;    ///< the modeCount lowest of both
    /// Per mode, then per element: estimated relative error of k_c^2.
    std::vector<std::vector<double>> indicators;
    /// Per mode, then per node: longitudinal field, largest magnitude 1.
    std::vector<std::vector<double>> fields;
    double change = 0;       ///< relative, of the first cutoff since the last pass; 1 in the first
    bool converged = false;  ///< the change is below the tolerance
    bool isLast = false;
};

/// Whether the TM problem, the smaller one, has enough unknowns for the modes asked for.
bool IsFineEnough(const Mesh& mesh, const Model& model);

/// Solves on `mesh` and on finer meshes until the first cutoff changes by less than the tolerance,
/// the passes are used up, or the next mesh would be too large; hands every pass to `onPass`.
void RunPasses(const SolveSettings& settings, Mesh mesh,
               const std::function<void(const Pass&)>& onPass);

}  // namespace waveguide

#endif
