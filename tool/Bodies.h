// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_BODIES_H
#define FIELDSTORE_TOOL_BODIES_H

#include <array>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "objects/Classes.h"
#include "objects/DOFBlock.h"

/// The data of one body of each class, by its layout. Those of a class that is not here, ThingBody
/// of POThing, are what the class itself holds.
namespace fieldstore::tool {

using Complex = std::complex<double>;
using Ints = std::vector<int>;
using Doubles = std::vector<double>;

// A new body is empty. Once read it holds what the file says, of which nothing is checked but that
// it could be read: whether it makes sense is for Rules.h, and for the load of the class itself.

struct ModeInfoBody : ModeInfoLayout {
    using Record = std::pair<std::pair<int, Complex>, std::vector<Complex>>;
    std::map<std::pair<std::int64_t, int>, std::vector<Record>> modes;

    std::size_t Entries() const { return modes.size(); }
};

struct DOFMapBody : DOFMapLayout {
    std::vector<std::vector<std::pair<int, double>>> rows;
    Ints types;

    std::size_t Entries() const { return rows.size(); }
};

struct CircuitMatricesBody : CircuitMatricesLayout {
    std::map<std::pair<std::int64_t, int>, Doubles> matrices;

    std::size_t Entries() const { return matrices.size(); }
};

struct MeshTreeBody : MeshTreeLayout {
    std::set<std::pair<int, int>> idPairs;
    std::set<int> ids;

    std::size_t Entries() const { return idPairs.size() + ids.size(); }
};

/// Number of records in entries of that width.
inline std::size_t Records(const Ints& entries, int width) {
    return width > 0 ? entries.size() / static_cast<std::size_t>(width) : 0;
}

struct DOFListBody : DOFListLayout {
    int distinctCount = 0, header1 = 0, total4 = 0, total2 = 0, total3 = 0, total1 = 0;
    int width4 = 0, width2 = 0, width3 = 0, width1 = 0;
    Ints records4, records2, records3, records1;

    std::size_t Entries() const {
        return Records(records1, width1) + Records(records2, width2) + Records(records3, width3) +
               Records(records4, width4);
    }
};

/// Of a list that was read from a damaged file, the blocks that are not whole are missing.
struct BlockedDOFListBody : BlockedDOFListLayout {
    int distinctCount = 0, header1 = 0;
    int width1 = 0, width2 = 0, width3 = 0, width4 = 0;
    int total4 = 0, total2 = 0, total3 = 0, total1 = 0;
    int widthExtra = 0;
    /// Records of kinds 1 to 4 and the extra entries of kind 2.
    using Block = std::pair<Ints, std::pair<Ints, std::pair<Ints, std::pair<Ints, Ints>>>>;
    std::map<int, Block> blocks;
    int announced = 0;  // blocks that the index was made for; no field

    /// The five arrays of a block in their order in the file.
    template <typename B>
    static auto Arrays(B& block) {
        auto& [first, rest] = block;
        auto& [second, last] = rest;
        return std::array{&first, &second, &last.first, &last.second.first, &last.second.second};
    }
    DOFBlock::Widths Widths() const { return {width1, width2, width3, width4, widthExtra}; }
    std::size_t Entries() const {
        std::size_t count = 0;
        for (const auto& [number, block] : blocks)
            for (std::size_t k = 0; k < 4; ++k) count += Records(*Arrays(block)[k], Widths()[k]);
        return count;
    }
};

struct BinaryTreeBody : BinaryTreeLayout {
    int tag = 0, idCount = 0, levelCount = 0, leafCount = 0;
    std::vector<std::uint64_t> leafCounts1, leafCounts2, leafCounts3, leafCounts4, leafCounts5;
    std::map<int, Ints> nodeItems, mappedItems;
    Ints auxiliaryList;

    std::size_t Entries() const { return nodeItems.size() + mappedItems.size(); }
};

struct PortCircuitDOFsBody : PortCircuitDOFsLayout {
    int portDOFCount = 0, offsetDOFCount = 0, circuitDOFCount1 = 0, circuitDOFCount2 = 0;
    std::map<int, int> dofTable;

    std::size_t Entries() const { return dofTable.size(); }
};

struct SolutionMetricsBody : SolutionMetricsLayout {
    int headerId = 0, headerField1 = 0, headerField2 = 0, headerField3 = 0, headerField4 = 0;
    std::map<int, std::pair<int, int>> definitions;
    std::map<std::pair<int, std::pair<int, int>>, Doubles> values;
    std::map<int, std::set<int>> neighbors;
    std::map<int, Doubles> positions;
    std::map<int, Ints> edges;

    std::size_t Entries() const { return values.size(); }
};

struct AssemblyInfoBody : AssemblyInfoLayout {
    Ints elements;
    std::map<int, Ints> nodes1, nodes2, nodes3;

    std::size_t Entries() const { return elements.size(); }
};

/// The kinds of bodies that a class has.
template <typename Body>
struct KindsOf {
    using Types = std::tuple<Body>;
};
template <>
struct KindsOf<DOFListBody> {
    using Types = std::tuple<DOFListBody, BlockedDOFListBody>;
};

/// Such a list of types, each as Form<T>::Type, as a variant.
template <template <typename> class Form, typename... Types>
std::variant<typename Form<Types>::Type...> VariantOf(const std::tuple<Types...>& /*types*/);

#define FIELDSTORE_KINDS(Name) , KindsOf<Name##Body>::Types()
using AllBodies = decltype(std::tuple_cat(std::tuple<>() FIELDSTORE_CLASSES(FIELDSTORE_KINDS)));
#undef FIELDSTORE_KINDS

template <typename Body>
struct WholeForm {
    using Type = Body;
};
/// A body of any class; the position in the list is its kind.
using AnyBody = decltype(VariantOf<WholeForm>(std::declval<AllBodies>()));

}  // namespace fieldstore::tool

#endif
