// SPDX-License-Identifier: Apache-2.0
#ifndef WAVEGUIDE_REFINE_H
#define WAVEGUIDE_REFINE_H

#include <vector>

#include "Mesh.h"

namespace waveguide {

/// Splits every triangle into four similar ones; all edges become half as long.
Mesh RefineUniformly(const Mesh& mesh);

/// Bisects at least the triangles with `marked` set, across their longest edges, and as many
/// neighbours as it takes to leave no hanging nodes. The points of `mesh` keep their numbers.
Mesh RefineMarked(const Mesh& mesh, const std::vector<bool>& marked);

}  // namespace waveguide

#endif
