// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_STREAMED_BODIES_H
#define FIELDSTORE_TOOL_STREAMED_BODIES_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "objects/Classes.h"
#include "tool/Bodies.h"
#include "tool/Streamed.h"

/// What a load of a file gives, class by class, with the bulk of the data left in the file. By the
/// same layouts as the bodies of Bodies.h, and in the same order.
namespace fieldstore::tool {

struct StreamedModeInfo : ModeInfoLayout {
    StreamedMap<std::pair<std::int64_t, int>, std::vector<ModeInfoBody::Record>> modes;

    std::size_t Entries() const { return modes.InFile(); }
};

struct StreamedDOFMap : DOFMapLayout {
    StreamedRows<std::pair<int, double>> rows;
    Ints types;

    std::size_t Entries() const { return static_cast<std::size_t>(rows.Size()); }
};

struct StreamedMatrices : CircuitMatricesLayout {
    StreamedMap<std::pair<std::int64_t, int>, Doubles> matrices;

    std::size_t Entries() const { return matrices.InFile(); }
};

struct StreamedMeshTree : MeshTreeLayout {
    SortedSet<std::pair<int, int>> idPairs;
    SortedSet<int> ids;

    std::size_t Entries() const { return idPairs.size() + ids.size(); }
};

struct StreamedBinaryTree : BinaryTreeLayout {
    int tag = 0, idCount = 0, levelCount = 0, leafCount = 0;
    std::vector<std::uint64_t> leafCounts1, leafCounts2, leafCounts3, leafCounts4, leafCounts5;
    StreamedMap<int, Ints> nodeItems, mappedItems;
    Ints auxiliaryList;

    std::size_t Entries() const { return nodeItems.InFile() + mappedItems.InFile(); }
};

struct StreamedMetrics : SolutionMetricsLayout {
    int headerId = 0, headerField1 = 0, headerField2 = 0, headerField3 = 0, headerField4 = 0;
    std::map<int, std::pair<int, int>> definitions;
    StreamedMap<std::pair<int, std::pair<int, int>>, Doubles> values;
    StreamedMap<int, Ints> neighbors;
    StreamedMap<int, Doubles> positions;
    StreamedMap<int, Ints> edges;

    std::size_t Entries() const { return values.InFile(); }
};

struct StreamedAssembly : AssemblyInfoLayout {
    Ints elements;
    StreamedMap<int, Ints> nodes1, nodes2, nodes3;

    std::size_t Entries() const { return elements.size(); }
};

/// The streamed form of a body; what is flat or small anyway is as it is in memory.
template <typename Body>
struct StreamedForm {
    using Type = Body;
};
template <>
struct StreamedForm<ModeInfoBody> {
    using Type = StreamedModeInfo;
};
template <>
struct StreamedForm<DOFMapBody> {
    using Type = StreamedDOFMap;
};
template <>
struct StreamedForm<CircuitMatricesBody> {
    using Type = StreamedMatrices;
};
template <>
struct StreamedForm<MeshTreeBody> {
    using Type = StreamedMeshTree;
};
template <>
struct StreamedForm<BinaryTreeBody> {
    using Type = StreamedBinaryTree;
};
template <>
struct StreamedForm<SolutionMetricsBody> {
    using Type = StreamedMetrics;
};
template <>
struct StreamedForm<AssemblyInfoBody> {
    using Type = StreamedAssembly;
};

/// A streamed body of any class; the position in the list is its kind.
using AnyStreamed = decltype(VariantOf<StreamedForm>(std::declval<AllBodies>()));

}  // namespace fieldstore::tool

#endif
