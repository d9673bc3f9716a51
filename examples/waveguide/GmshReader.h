// SPDX-License-Identifier: Apache-2.0
#ifndef WAVEGUIDE_GMSHREADER_H
#define WAVEGUIDE_GMSHREADER_H

#include <string>

#include "Mesh.h"

namespace waveguide {

/// Reads the triangles of a Gmsh mesh file, ASCII format 2.2 or 4.1, in a plane z = constant.
///
/// Points and line elements are passed over, as are sections such as $PhysicalNames, $Entities or
/// $Periodic. Curved triangles, quadrangles and volumes are refused. `unit` is the length of the
/// file's unit in metres. Raises Failure (Status::Mesh) with the line of what it does not
/// understand.
Mesh ReadGmsh(const std::string& path, double unit);

}  // namespace waveguide

#endif
