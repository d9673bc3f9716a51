// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_POASSEMBLYINFO_H
#define FIELDSTORE_POASSEMBLYINFO_H

#include <array>
#include <vector>

#include "core/POBase.h"
#include "core/StorageTypeOverride.h"
#include "fieldstore/IPOAssemblyInfo.h"
#include "streams/ColumnMap.h"

/// Body: the element values, then the three maps from element id to node list. A load keeps the
/// first list of an element and refuses an element that comes twice.
class POAssemblyInfo final : public POBase, public IPOAssemblyInfo {
public:
    static constexpr fieldstore::ClassTraits kTraits{
        "POAssemblyInfo",
        "assemblyinfo.dat",
        fieldstore::kAppending,
        eReadBinary,
        eWriteBinary,
        false,
        "Unknown error committing POAssemblyInfo object."};

    POAssemblyInfo() : POBase(kTraits) {}
    ~POAssemblyInfo() override { CommitBeforeDestruction(); }

    int GetElementCount() override { return static_cast<int>(elements.size()); }
    int GetElementId(int index) override;
    bool GetElementFlag(int index) override { return ElementAt(index) > 0; }
    int GetElementNodeCount1(int index) override { return NodeCount(0, index); }
    int GetElementNodeCount2(int index) override { return NodeCount(1, index); }
    int GetElementNodeCount3(int index) override { return NodeCount(2, index); }
    std::vector<int> GetElementNodes1(int index) override { return Nodes(0, index).ToVector(); }
    std::vector<int> GetElementNodes2(int index) override { return Nodes(1, index).ToVector(); }
    std::vector<int> GetElementNodes3(int index) override { return Nodes(2, index).ToVector(); }
    BasisCounts GetNodeBasisCounts1() override { return NodeBasisCounts(0); }
    BasisCounts GetNodeBasisCounts2() override { return NodeBasisCounts(1); }
    BasisCounts GetNodeBasisCounts3() override { return NodeBasisCounts(2); }
    bool AddElements(const std::vector<std::uint64_t>& handles, ElementQuery query) override;
    void SetStorageTypeOverride(int which, unsigned int storageType) override;

    int CopyFrom(std::shared_ptr<IPOBase> source) override;
    int GetStorageType(int direction) override;
    void ClearData() override;
    bool ValidateData() override { return true; }

protected:
    void SerializeData(IStreamer::EDirection direction) override;
    void SkipBody() override { ReadBody(); }

private:
    using NodeLists = fieldstore::ColumnMap<int, int>;  // by element id
    struct Body {
        std::vector<int> elements;
        std::array<NodeLists, 3> elementNodes;
    };

    int ElementAt(int index) const;
    NodeLists::Values Nodes(std::size_t list, int index) const;
    int NodeCount(std::size_t list, int index) const;
    BasisCounts NodeBasisCounts(std::size_t list) const;
    Body ReadBody();
    void SortElements(std::size_t from);

    std::vector<int> elements;  // signed values
    std::array<NodeLists, 3> elementNodes;
    fieldstore::StorageTypeOverride storageTypeOverride;
};

#endif
