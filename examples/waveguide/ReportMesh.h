// SPDX-License-Identifier: Apache-2.0
#ifndef WAVEGUIDE_REPORTMESH_H
#define WAVEGUIDE_REPORTMESH_H

#include <ostream>

#include "Checks.h"
#include "DofRecord.h"
#include "MeshRecord.h"
#include "RunRecord.h"

namespace waveguide {

/// Statistics of the mesh; whether elements, edges, tree and metrics tell of the same mesh.
void ReportMesh(const RunRecord& run, const MeshRecord& mesh, Checks& checks, std::ostream& out);

/// The finite-element space put together from loaded data alone. Raises
/// std::runtime_error when the elements do not fit the nodes.
Space SpaceOf(const RunRecord& run, const MeshRecord& mesh);

/// Statistics of the degrees of freedom; whether the stored map and list are those of the space.
void ReportDofs(const Space& space, const MeshRecord& mesh, const DofMapRecord& map,
                const DofListRecord& list, Checks& checks, std::ostream& out);

}  // namespace waveguide

#endif
