// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_FORMATS_VTU_MESH_H
#define FIELDSTORE_TOOL_FORMATS_VTU_MESH_H

#include <cstdint>
#include <optional>
#include <vector>

#include "tool/Bodies.h"

namespace fieldstore::tool {

/// The points and cells of a picture: the nodes of metrics, and the elements of an assembly or else
/// the edges. Raises for what does not fit together.
class VtuMesh {
public:
    explicit VtuMesh(const SolutionMetricsBody& metrics);
    /// Makes the elements the cells. Changes nothing when it raises.
    void TakeElements(const AssemblyInfoBody& assembly);

    bool HasElements() const { return hasElements; }
    const std::vector<std::uint32_t>& NodeIds() const { return nodeIds; }    // ascending
    const std::vector<double>& Coordinates() const { return coordinates; }   // x, y, z of each
    const std::vector<std::uint32_t>& CellIds() const { return cells.ids; }  // ascending
    const std::vector<std::int64_t>& Connectivity() const { return cells.connectivity; }
    const std::vector<std::int64_t>& Offsets() const { return cells.offsets; }  // ends of cells
    const std::vector<std::uint8_t>& Types() const { return cells.types; }      // as VTK has them

private:
    struct Cells {
        std::vector<std::uint32_t> ids;
        std::vector<std::int64_t> connectivity, offsets;
        std::vector<std::uint8_t> types;
    };

    std::optional<std::int64_t> PointOf(int node) const;
    bool AllAreThere(const std::vector<int>& nodes) const;
    std::vector<int> ShapeOf(const AssemblyInfoBody& assembly, int element) const;
    void Add(Cells& to, std::uint32_t id, std::uint8_t type, const std::vector<int>& nodes) const;

    std::vector<std::uint32_t> nodeIds;
    std::vector<double> coordinates;
    Cells cells;
    bool hasElements = false;
};

}  // namespace fieldstore::tool

#endif
