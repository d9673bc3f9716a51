// SPDX-License-Identifier: Apache-2.0
#include "Report.h"

#include "Checks.h"
#include "DofRecord.h"
#include "GuideRecord.h"
#include "MeshRecord.h"
#include "ReportCutoffs.h"
#include "ReportGuide.h"
#include "ReportMesh.h"
#include "RunRecord.h"
#include "Shapes.h"

namespace waveguide {

Status Report(const std::string& directory, std::ostream& out) {
    // 1. Load all nine objects before anything is judged.
    const Store store = Store::Open(directory);
    const RunRecord run = store.Reading(ReadRun);
    const MeshRecord mesh = store.Reading(ReadMesh);
    const DofMapRecord dofMap = store.Reading(ReadDofMap);
    const DofListRecord dofList = store.Reading(ReadDofList);
    const GuideRecord guide = store.Reading([&run](const Store& from) {
        return ReadGuide(from, static_cast<std::size_t>(run.model.modeCount));
    });
    out << "Section: " << Describe(run.model.section) << "; length " << run.model.length * 1e3
        << " mm between the ports, loss tangent " << run.model.lossTangent << "\n";

    // 2. Compare.
    Checks checks(out);
    ReportMesh(run, mesh, checks, out);
    const Space space = store.Reading([&](const Store&) { return SpaceOf(run, mesh); });
    ReportDofs(space, mesh, dofMap, dofList, checks, out);
    ReportPasses(run, checks, out);
    ReportCutoffs(run, space, dofMap.rows, checks, out);
    ReportGuide(run, space, guide, checks, out);

    // 3. The verdict.
    const std::string all = std::to_string(checks.Count());
    if (checks.Failed() == 0) {
        out << "\nVerdict: all " << all << " checks hold.\n";
        return Status::Success;
    }
    out << "\nVerdict: MISMATCH, " << checks.Failed() << " of " << all << " checks fail.\n";
    return Status::Mismatch;
}

}  // namespace waveguide
