// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_POASSEMBLYINFO_H
#define FIELDSTORE_POASSEMBLYINFO_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "core/ClassTraits.h"
#include "core/POBase.h"
#include "core/StorageTypeOverride.h"
#include "fieldstore/IPOAssemblyInfo.h"
#include "fieldstore/IPOBase.h"
#include "fieldstore/IStreamer.h"
#include "objects/Field.h"
#include "streams/ColumnMap.h"

namespace fieldstore {

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

/// Body: the element values, then the three maps from element id to node list. A load keeps the
/// first list of an element and refuses an element that comes twice.
class POAssemblyInfo final : public POBase, public IPOAssemblyInfo {
public:
    POAssemblyInfo() : POBase(fieldstore::AssemblyInfoLayout::kTraits) {}
    ~POAssemblyInfo() override { CommitBeforeDestruction(); }

    int GetElementCount() override { return static_cast<int>(held.elements.size()); }
    int GetElementId(int index) override;
    bool GetElementFlag(int index) override { return ElementAt(index) > 0; }
    int GetElementNodeCount1(int index) override { return NodeCount(&Body::nodes1, index); }
    int GetElementNodeCount2(int index) override { return NodeCount(&Body::nodes2, index); }
    int GetElementNodeCount3(int index) override { return NodeCount(&Body::nodes3, index); }
    std::vector<int> GetElementNodes1(int index) override {
        return Nodes(&Body::nodes1, index).ToVector();
    }
    std::vector<int> GetElementNodes2(int index) override {
        return Nodes(&Body::nodes2, index).ToVector();
    }
    std::vector<int> GetElementNodes3(int index) override {
        return Nodes(&Body::nodes3, index).ToVector();
    }
    BasisCounts GetNodeBasisCounts1() override { return NodeBasisCounts(&Body::nodes1); }
    BasisCounts GetNodeBasisCounts2() override { return NodeBasisCounts(&Body::nodes2); }
    BasisCounts GetNodeBasisCounts3() override { return NodeBasisCounts(&Body::nodes3); }
    bool AddElements(const std::vector<std::uint64_t>& handles, ElementQuery query) override;
    void SetStorageTypeOverride(int which, unsigned int storageType) override;

    /// Shows the data held to a visitor, field by field as a commit would write them.
    template <typename V>
    void VisitData(V& visit) const {
        fieldstore::AssemblyInfoLayout::Visit(held, visit);
    }

    int CopyFrom(std::shared_ptr<IPOBase> source) override;
    int GetStorageType(int direction) override;
    void ClearData() override { held = Body(); }
    bool ValidateData() override { return true; }

protected:
    void SerializeData(IStreamer::EDirection direction) override;
    void SkipBody() override { ReadBody(); }

private:
    using NodeLists = fieldstore::ColumnMap<int, int>;  // by element id
    struct Body {
        std::vector<int> elements;  // signed values
        NodeLists nodes1, nodes2, nodes3;
    };
    using List = NodeLists Body::*;

    int ElementAt(int index) const;
    NodeLists::Values Nodes(List list, int index) const;
    int NodeCount(List list, int index) const;
    BasisCounts NodeBasisCounts(List list) const;
    Body ReadBody();
    void SortElements(std::size_t from);

    Body held;
    fieldstore::StorageTypeOverride storageTypeOverride;
};

#endif
