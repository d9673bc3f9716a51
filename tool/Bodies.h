// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_BODIES_H
#define FIELDSTORE_TOOL_BODIES_H

#include <array>
#include <complex>
#include <cstdint>
#include <map>
#include <set>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "objects/POAssemblyInfo.h"
#include "objects/POBinaryTree.h"
#include "objects/POCircuitMatrices.h"
#include "objects/PODOFList.h"
#include "objects/PODOFMap.h"
#include "objects/POMeshTree.h"
#include "objects/POModeInfo.h"
#include "objects/POPortCircuitDOFs.h"
#include "objects/POSolutionMetrics.h"

/// What one commit of each class writes, described once: Visit() names the fields of a body in
/// their order in the file. Reading, writing, JSON, comparing and summaries are all visitors of it.
namespace fieldstore::tool {

using Complex = std::complex<double>;
using Ints = std::vector<int>;
using Doubles = std::vector<double>;

/// The name of a part of a field's entries. An id is an unsigned number stored as the signed one of
/// the same bits.
struct Label {
    std::string_view name;
    bool isId = false;
};
constexpr Label Id(std::string_view name) {
    return {name, true};
}

/// A field of a body: its name, the names of the parts of its entries (key, then value, then the
/// parts of the value's own elements), and how many values stand on a line of text.
struct Field {
    std::string_view name;
    std::array<Label, 7> parts{};
    int perLine = 1;
};

// A new body is empty. Once read it holds what the file says, of which nothing is checked but that
// it could be read: whether it makes sense is for Rules.h, and for the load of the class itself.

struct ModeInfoBody {
    using Object = POModeInfo;
    static constexpr bool kLoadsAsStored = true;  // one body is what a load gives
    using Record = std::pair<std::pair<int, Complex>, std::vector<Complex>>;
    std::map<std::pair<std::int64_t, int>, std::vector<Record>> modes;

    template <typename Self, typename V>
    static void Visit(Self& self, V& visit) {
        visit(
            Field{"modes", {{{"frequency"}, {"port"}, {"modes"}, {"group"}, {"value"}, {"data"}}}},
            self.modes);
    }
    std::size_t Entries() const { return modes.size(); }
};

struct DOFMapBody {
    using Object = PODOFMap;
    static constexpr bool kLoadsAsStored = true;
    std::vector<std::vector<std::pair<int, double>>> rows;
    Ints types;

    template <typename Self, typename V>
    static void Visit(Self& self, V& visit) {
        visit(Field{"rows", {{{"column"}, {"weight"}}}}, self.rows);
        visit(Field{"types"}, self.types);
    }
    std::size_t Entries() const { return rows.size(); }
};

struct CircuitMatricesBody {
    using Object = POCircuitMatrices;
    static constexpr bool kLoadsAsStored = true;
    std::map<std::pair<std::int64_t, int>, Doubles> matrices;

    template <typename Self, typename V>
    static void Visit(Self& self, V& visit) {
        visit(Field{"matrices", {{{"frequency"}, {"type"}, {"values"}}}}, self.matrices);
    }
    std::size_t Entries() const { return matrices.size(); }
};

struct MeshTreeBody {
    using Object = POMeshTree;
    static constexpr bool kLoadsAsStored = true;
    std::set<std::pair<int, int>> idPairs;
    std::set<int> ids;

    template <typename Self, typename V>
    static void Visit(Self& self, V& visit) {
        visit(Field{"idPairs", {{{"first"}, {"second"}}}}, self.idPairs);
        visit(Field{"ids"}, self.ids);
    }
    std::size_t Entries() const { return idPairs.size() + ids.size(); }
};

/// Number of records in entries of that width.
inline std::size_t Records(const Ints& entries, int width) {
    return width > 0 ? entries.size() / static_cast<std::size_t>(width) : 0;
}

struct DOFListBody {
    using Object = PODOFList;
    static constexpr bool kLoadsAsStored = true;
    int distinctCount = 0, header1 = 0, total4 = 0, total2 = 0, total3 = 0, total1 = 0;
    int width4 = 0, width2 = 0, width3 = 0, width1 = 0;
    Ints records4, records2, records3, records1;

    template <typename Self, typename V>
    static void Visit(Self& self, V& visit) {
        visit(Field{"distinctCount"}, self.distinctCount);
        visit(Field{"header1"}, self.header1);
        visit(Field{"total4"}, self.total4);
        visit(Field{"total2"}, self.total2);
        visit(Field{"total3"}, self.total3);
        visit(Field{"total1"}, self.total1);
        visit(Field{"width4"}, self.width4);
        visit(Field{"records4", {}, self.width4}, self.records4);
        visit(Field{"width2"}, self.width2);
        visit(Field{"records2", {}, self.width4}, self.records2);
        visit(Field{"width3"}, self.width3);
        visit(Field{"records3", {}, self.width4}, self.records3);
        visit(Field{"width1"}, self.width1);
        visit(Field{"records1", {}, self.width4}, self.records1);
    }
    std::size_t Entries() const {
        return Records(records1, width1) + Records(records2, width2) + Records(records3, width3) +
               Records(records4, width4);
    }
};

/// The other form of a DOF list: header values, bookmark index, blocks. Binary alone. Of a list
/// that was read from a damaged file, the blocks that are not whole are missing.
struct BlockedDOFListBody {
    using Object = PODOFList;
    static constexpr bool kLoadsAsStored = true;
    int distinctCount = 0, header1 = 0;
    int width1 = 0, width2 = 0, width3 = 0, width4 = 0;
    int total4 = 0, total2 = 0, total3 = 0, total1 = 0;
    int widthExtra = 0;
    /// Records of kinds 1 to 4 and the extra entries of kind 2.
    using Block = std::pair<Ints, std::pair<Ints, std::pair<Ints, std::pair<Ints, Ints>>>>;
    std::map<int, Block> blocks;
    int announced = 0;  // blocks that the index was made for; no field

    template <typename Self, typename V>
    static void VisitHeader(Self& self, V& visit) {
        visit(Field{"distinctCount"}, self.distinctCount);
        visit(Field{"header1"}, self.header1);
        visit(Field{"width1"}, self.width1);
        visit(Field{"width2"}, self.width2);
        visit(Field{"width3"}, self.width3);
        visit(Field{"width4"}, self.width4);
        visit(Field{"total4"}, self.total4);
        visit(Field{"total2"}, self.total2);
        visit(Field{"total3"}, self.total3);
        visit(Field{"total1"}, self.total1);
        visit(Field{"widthExtra"}, self.widthExtra);
    }
    template <typename Self, typename V>
    static void Visit(Self& self, V& visit) {
        VisitHeader(self, visit);
        visit(
            Field{
                "blocks",
                {{{"block"}, {"records1"}, {"records2"}, {"records3"}, {"records4"}, {"extra2"}}}},
            self.blocks);
    }
    /// The five arrays of a block in their order in the file.
    template <typename B>
    static auto Arrays(B& block) {
        auto& [first, rest] = block;
        auto& [second, last] = rest;
        return std::array{&first, &second, &last.first, &last.second.first, &last.second.second};
    }
    std::array<int, 5> Widths() const { return {width1, width2, width3, width4, widthExtra}; }
    std::size_t Entries() const {
        std::size_t count = 0;
        for (const auto& [number, block] : blocks)
            for (std::size_t k = 0; k < 4; ++k) count += Records(*Arrays(block)[k], Widths()[k]);
        return count;
    }
};

struct BinaryTreeBody {
    using Object = POBinaryTree;
    static constexpr bool kLoadsAsStored = true;
    int tag = 0, idCount = 0, levelCount = 0, leafCount = 0;
    std::vector<std::uint64_t> leafCounts1, leafCounts2, leafCounts3, leafCounts4, leafCounts5;
    std::map<int, Ints> nodeItems, mappedItems;
    Ints auxiliaryList;

    template <typename Self, typename V>
    static void Visit(Self& self, V& visit) {
        constexpr int itemsPerLine = 10;
        visit(Field{"tag"}, self.tag);
        visit(Field{"idCount"}, self.idCount);
        visit(Field{"levelCount"}, self.levelCount);
        visit(Field{"leafCount"}, self.leafCount);
        visit(Field{"leafCounts1"}, self.leafCounts1);
        visit(Field{"leafCounts2"}, self.leafCounts2);
        visit(Field{"leafCounts3"}, self.leafCounts3);
        visit(Field{"leafCounts4"}, self.leafCounts4);
        visit(Field{"leafCounts5"}, self.leafCounts5);
        visit(Field{"nodeItems", {{{"node"}, {"items"}}}, itemsPerLine}, self.nodeItems);
        visit(Field{"mappedItems", {{{"key"}, {"items"}}}, itemsPerLine}, self.mappedItems);
        visit(Field{"auxiliaryList", {}, itemsPerLine}, self.auxiliaryList);
    }
    std::size_t Entries() const { return nodeItems.size() + mappedItems.size(); }
};

struct PortCircuitDOFsBody {
    using Object = POPortCircuitDOFs;
    static constexpr bool kLoadsAsStored = true;
    int portDOFCount = 0, offsetDOFCount = 0, circuitDOFCount1 = 0, circuitDOFCount2 = 0;
    std::map<int, int> dofTable;

    template <typename Self, typename V>
    static void Visit(Self& self, V& visit) {
        visit(Field{"portDOFCount"}, self.portDOFCount);
        visit(Field{"offsetDOFCount"}, self.offsetDOFCount);
        visit(Field{"circuitDOFCount1"}, self.circuitDOFCount1);
        visit(Field{"circuitDOFCount2"}, self.circuitDOFCount2);
        visit(Field{"dofTable", {{{"position"}, {"dof"}}}}, self.dofTable);
    }
    std::size_t Entries() const { return dofTable.size(); }
};

struct SolutionMetricsBody {
    using Object = POSolutionMetrics;
    static constexpr bool kLoadsAsStored = false;
    int headerId = 0, headerField1 = 0, headerField2 = 0, headerField3 = 0, headerField4 = 0;
    std::map<int, std::pair<int, int>> definitions;
    std::map<std::pair<int, std::pair<int, int>>, Doubles> values;
    std::map<int, std::set<int>> neighbors;
    std::map<int, Doubles> positions;
    std::map<int, Ints> edges;

    template <typename Self, typename V>
    static void Visit(Self& self, V& visit) {
        visit(Field{"headerId", {{Id("")}}}, self.headerId);
        visit(Field{"headerField1", {{Id("")}}}, self.headerField1);
        visit(Field{"headerField2", {{Id("")}}}, self.headerField2);
        visit(Field{"headerField3", {{Id("")}}}, self.headerField3);
        visit(Field{"headerField4", {{Id("")}}}, self.headerField4);
        visit(Field{"definitions", {{{"type"}, Id("count"), {"function"}}}}, self.definitions);
        visit(Field{"values", {{{"type"}, Id("index"), Id("entity"), {"values"}}}}, self.values);
        visit(Field{"neighbors", {{Id("node"), Id("neighbors")}}}, self.neighbors);
        visit(Field{"positions", {{Id("node"), {"position"}}}}, self.positions);
        visit(Field{"edges", {{Id("edge"), {"nodes"}}}}, self.edges);
    }
    std::size_t Entries() const { return values.size(); }
};

struct AssemblyInfoBody {
    using Object = POAssemblyInfo;
    static constexpr bool kLoadsAsStored = false;
    Ints elements;
    std::map<int, Ints> nodes1, nodes2, nodes3;

    template <typename Self, typename V>
    static void Visit(Self& self, V& visit) {
        visit(Field{"elements"}, self.elements);
        visit(Field{"nodes1", {{{"element"}, {"nodes"}}}}, self.nodes1);
        visit(Field{"nodes2", {{{"element"}, {"nodes"}}}}, self.nodes2);
        visit(Field{"nodes3", {{{"element"}, {"nodes"}}}}, self.nodes3);
    }
    std::size_t Entries() const { return elements.size(); }
};

/// A body of any class; the position in the list is its kind.
using AnyBody = std::variant<ModeInfoBody, DOFMapBody, CircuitMatricesBody, MeshTreeBody,
                             DOFListBody, BlockedDOFListBody, BinaryTreeBody, PortCircuitDOFsBody,
                             SolutionMetricsBody, AssemblyInfoBody>;

}  // namespace fieldstore::tool

#endif
