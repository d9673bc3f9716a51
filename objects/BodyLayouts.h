// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_BODY_LAYOUTS_H
#define FIELDSTORE_BODY_LAYOUTS_H

#include <array>
#include <string_view>

#include "core/ClassTraits.h"
#include "fieldstore/IPOBase.h"

/// What one commit of each class writes, described once: Visit() names the fields of a body in
/// their order in the file. It takes anything that has members of these names; the objects store
/// and load themselves through it, and whoever else reads, writes, shows or compares bodies is
/// a visitor of it as well.
namespace fieldstore {

/// The name of a part of a field's entries. An id is an unsigned number stored as the signed one of
/// the same bits.
struct Label {
    std::string_view name;
    bool isId = false;
};
constexpr Label IdLabel(std::string_view name) {
    return {name, true};
}

/// A field of a body: its name, the names of the parts of its entries (key, then value, then the
/// parts of the value's own elements), and how many values stand on a line of text.
struct Field {
    std::string_view name;
    std::array<Label, 7> parts{};
    int perLine = 1;
};

struct ModeInfoLayout {
    static constexpr ClassTraits kTraits{"POModeInfo",
                                         "modeinfo.dat",
                                         kAppending,
                                         IPOBase::eReadText,
                                         IPOBase::eWriteText,
                                         false,
                                         "Unknown error committing POModeInfo object."};

    template <typename Self, typename V>
    static void Visit(Self& self, V& visit) {
        visit(
            Field{"modes", {{{"frequency"}, {"port"}, {"modes"}, {"group"}, {"value"}, {"data"}}}},
            self.modes);
    }
};

struct DOFMapLayout {
    static constexpr ClassTraits kTraits{"PODOFMap",
                                         "evdofmap.dat",
                                         kReplacing,
                                         IPOBase::eReadBinary,
                                         IPOBase::eWriteBinary,
                                         false,
                                         "Unknown error committing PODOFMap object."};

    template <typename Self, typename V>
    static void Visit(Self& self, V& visit) {
        visit(Field{"rows", {{{"column"}, {"weight"}}}}, self.rows);
        visit(Field{"types"}, self.types);
    }
};

struct CircuitMatricesLayout {
    static constexpr ClassTraits kTraits{"POCircuitMatrices",
                                         "circuitmatrices.dat",
                                         kAppending,
                                         IPOBase::eReadBinary,
                                         IPOBase::eWriteBinary,
                                         false,
                                         "Unknown error committing POCircuitMatrices object."};

    template <typename Self, typename V>
    static void Visit(Self& self, V& visit) {
        visit(Field{"matrices", {{{"frequency"}, {"type"}, {"values"}}}}, self.matrices);
    }
};

struct MeshTreeLayout {
    static constexpr ClassTraits kTraits{"POMeshTree",
                                         "evtree.dat",
                                         kReplacing,
                                         IPOBase::eReadBinary,
                                         IPOBase::eWriteBinary,
                                         false,
                                         "Unknown error committing POMeshTree object."};

    template <typename Self, typename V>
    static void Visit(Self& self, V& visit) {
        visit(Field{"idPairs", {{{"first"}, {"second"}}}}, self.idPairs);
        visit(Field{"ids"}, self.ids);
    }
};

struct DOFListLayout {
    static constexpr ClassTraits kTraits{"PODOFList",
                                         "file2.dat",
                                         kReplacing,
                                         IPOBase::eReadBinary,
                                         IPOBase::eWriteBinary,
                                         false,
                                         "Unknown error committing PODOFList object."};

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
};

/// The header values of the other form of a DOF list.
struct BlockedDOFListHeader {
    template <typename Self, typename V>
    static void Visit(Self& self, V& visit) {
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
};

/// The other form of a DOF list: header values, bookmark index, blocks. Only in binary files.
struct BlockedDOFListLayout {
    static constexpr const ClassTraits& kTraits = DOFListLayout::kTraits;

    template <typename Self, typename V>
    static void Visit(Self& self, V& visit) {
        BlockedDOFListHeader::Visit(self, visit);
        visit(
            Field{
                "blocks",
                {{{"block"}, {"records1"}, {"records2"}, {"records3"}, {"records4"}, {"extra2"}}}},
            self.blocks);
    }
};

struct BinaryTreeLayout {
    // The text of the unknown error names another class; whoever searches logs knows it so.
    static constexpr ClassTraits kTraits{"POBinaryTree",
                                         "file1.dat",
                                         kReplacing,
                                         IPOBase::eReadBinary,
                                         IPOBase::eWriteBinary,
                                         true,
                                         "Unknown error committing PODOFList object."};

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
};

struct PortCircuitDOFsLayout {
    static constexpr ClassTraits kTraits{"POPortCircuitDOFs",
                                         "file3.dat",
                                         kReplacing,
                                         IPOBase::eReadText,
                                         IPOBase::eWriteText,
                                         false,
                                         "Unknown error committing POPortCircuitDOFs object."};

    template <typename Self, typename V>
    static void Visit(Self& self, V& visit) {
        visit(Field{"portDOFCount"}, self.portDOFCount);
        visit(Field{"offsetDOFCount"}, self.offsetDOFCount);
        visit(Field{"circuitDOFCount1"}, self.circuitDOFCount1);
        visit(Field{"circuitDOFCount2"}, self.circuitDOFCount2);
        visit(Field{"dofTable", {{{"position"}, {"dof"}}}}, self.dofTable);
    }
};

struct SolutionMetricsLayout {
    static constexpr ClassTraits kTraits{"POSolutionMetrics",
                                         "solutiondata.dat",
                                         kAppending,
                                         IPOBase::eReadBinary,
                                         IPOBase::eWriteBinary,
                                         true,
                                         "Unknown error committing POSolutionMetrics object."};

    template <typename Self, typename V>
    static void Visit(Self& self, V& visit) {
        visit(Field{"headerId", {{IdLabel("")}}}, self.headerId);
        visit(Field{"headerField1", {{IdLabel("")}}}, self.headerField1);
        visit(Field{"headerField2", {{IdLabel("")}}}, self.headerField2);
        visit(Field{"headerField3", {{IdLabel("")}}}, self.headerField3);
        visit(Field{"headerField4", {{IdLabel("")}}}, self.headerField4);
        visit(Field{"definitions", {{{"type"}, IdLabel("count"), {"function"}}}}, self.definitions);
        visit(Field{"values", {{{"type"}, IdLabel("index"), IdLabel("entity"), {"values"}}}},
              self.values);
        visit(Field{"neighbors", {{IdLabel("node"), IdLabel("neighbors")}}}, self.neighbors);
        visit(Field{"positions", {{IdLabel("node"), {"position"}}}}, self.positions);
        visit(Field{"edges", {{IdLabel("edge"), {"nodes"}}}}, self.edges);
    }
};

struct AssemblyInfoLayout {
    static constexpr ClassTraits kTraits{"POAssemblyInfo",
                                         "assemblyinfo.dat",
                                         kAppending,
                                         IPOBase::eReadBinary,
                                         IPOBase::eWriteBinary,
                                         false,
                                         "Unknown error committing POAssemblyInfo object."};

    template <typename Self, typename V>
    static void Visit(Self& self, V& visit) {
        visit(Field{"elements"}, self.elements);
        visit(Field{"nodes1", {{{"element"}, {"nodes"}}}}, self.nodes1);
        visit(Field{"nodes2", {{{"element"}, {"nodes"}}}}, self.nodes2);
        visit(Field{"nodes3", {{{"element"}, {"nodes"}}}}, self.nodes3);
    }
};

}  // namespace fieldstore

#endif
