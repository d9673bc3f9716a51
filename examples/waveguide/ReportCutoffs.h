// SPDX-License-Identifier: Apache-2.0
#ifndef WAVEGUIDE_REPORTCUTOFFS_H
#define WAVEGUIDE_REPORTCUTOFFS_H

#include <ostream>
#include <string>
#include <vector>

#include "Analytic.h"
#include "Assembly.h"
#include "Checks.h"
#include "RunRecord.h"

namespace waveguide {

/// A kept mode with what is known of it without finite elements.
struct KnownMode {
    Mode mode;
    std::string label;     ///< as in TE10, or TE#1 where no indices are known
    double reference = 0;  ///< analytic or published cutoff wave number; 0 where none is known
    double limit = 0;      ///< the relative error that a run with this model may leave

    double Error() const;  ///< relative to the reference; 0 where none is known
};

std::vector<KnownMode> KnownModes(const Model& model, const FamilyCutoffs& cutoffs);

/// A table of the passes; whether the sums, maxima and means that the library merged are those of
/// the single values.
void ReportPasses(const RunRecord& run, Checks& checks, std::ostream& out);

/// A table of the cutoffs; whether assembling and solving again from the loaded data gives the
/// stored cutoffs, and how far they are from the reference values.
void ReportCutoffs(const RunRecord& run, const Space& space, const MapRows& dofMap, Checks& checks,
                   std::ostream& out);

}  // namespace waveguide

#endif
