// SPDX-License-Identifier: Apache-2.0
#ifndef WAVEGUIDE_REPORT_H
#define WAVEGUIDE_REPORT_H

#include <ostream>
#include <string>

#include "Failure.h"

namespace waveguide {

/// Loads everything from the store, computes again what follows from the loaded data, compares it
/// with what is stored and with analytic values, and prints tables and a verdict. Returns
/// Status::Success or Status::Mismatch. Raises Failure (Status::Store) when something does not
/// load.
Status Report(const std::string& directory, std::ostream& out);

}  // namespace waveguide

#endif
