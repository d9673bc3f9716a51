// SPDX-License-Identifier: Apache-2.0
#ifndef WAVEGUIDE_SHAPES_H
#define WAVEGUIDE_SHAPES_H

#include <string>

#include "Mesh.h"
#include "Settings.h"

namespace waveguide {

/// A coarse structured mesh with about `divisions` cells along the longer side.
Mesh StructuredMesh(const Section& section, int divisions);

/// One line about the section, lengths in millimetres.
std::string Describe(const Section& section);

}  // namespace waveguide

#endif
