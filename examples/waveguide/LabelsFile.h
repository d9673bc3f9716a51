// SPDX-License-Identifier: Apache-2.0
#ifndef WAVEGUIDE_LABELSFILE_H
#define WAVEGUIDE_LABELSFILE_H

#include <vector>

#include "Modes.h"
#include "Store.h"

namespace waveguide {

/// Says in labels.json what the numbers of types in the store mean, for programs that show them;
/// docs/labels.md describes the file. The components of the field at a node are the modes.
void WriteLabels(const Store& store, const std::vector<Mode>& modes);

}  // namespace waveguide

#endif
