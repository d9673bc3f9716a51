// SPDX-License-Identifier: Apache-2.0
#ifndef WAVEGUIDE_REPORTGUIDE_H
#define WAVEGUIDE_REPORTGUIDE_H

#include <ostream>

#include "Checks.h"
#include "Elements.h"
#include "GuideRecord.h"
#include "RunRecord.h"

namespace waveguide {

/// The impedance over frequency; whether modal data, matrices and port degrees of freedom follow
/// from the stored cutoffs and agree with each other.
void ReportGuide(const RunRecord& run, const Space& space, const GuideRecord& guide, Checks& checks,
                 std::ostream& out);

}  // namespace waveguide

#endif
