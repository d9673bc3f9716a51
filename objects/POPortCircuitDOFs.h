// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_POPORTCIRCUITDOFS_H
#define FIELDSTORE_POPORTCIRCUITDOFS_H

#include "core/POBase.h"
#include "fieldstore/IPOPortCircuitDOFs.h"
#include "objects/Field.h"

namespace fieldstore {

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

}  // namespace fieldstore

/// Body: the four counts, then the table.
///
/// Valid with a positive count of ports or circuits and a table, or with neither; whether the table
/// has every position that the counts ask for shows only when a list is made.
class POPortCircuitDOFs final : public POBase, public IPOPortCircuitDOFs {
public:
    POPortCircuitDOFs() : POBase(fieldstore::PortCircuitDOFsLayout::kTraits) {}
    ~POPortCircuitDOFs() override { CommitBeforeDestruction(); }

    int GetData(int& portCount, int& offsetCount, int& circuitCount1, int& circuitCount2,
                std::map<int, int>& table) override;
    int GetOffsetDOFCount() override { return offsetDOFCount; }
    int GetCircuitDOFCount2() override { return circuitDOFCount2; }
    int GetCircuitDOFCount1() override { return circuitDOFCount1; }
    int GetPortDOFCount() override { return portDOFCount; }
    DOFLists GetCircuitDOFs() override;
    DOFLists GetPortDOFs() override;
    int SetData(int portCount, int offsetCount, int circuitCount1, int circuitCount2,
                const std::map<int, int>& table) override;

    /// Shows the data held to a visitor, field by field as a commit would write them.
    template <typename V>
    void VisitData(V& visit) const {
        fieldstore::PortCircuitDOFsLayout::Visit(*this, visit);
    }

    int CopyFrom(std::shared_ptr<IPOBase> source) override;
    void ClearData() override;
    bool ValidateData() override;

protected:
    void SerializeData(IStreamer::EDirection direction) override;

private:
    friend fieldstore::PortCircuitDOFsLayout;

    /// Raises `missing` when a position is not in the table.
    DOFLists List(std::int64_t start, std::int64_t count, const char* missing) const;

    int portDOFCount = 0;
    int offsetDOFCount = 0;
    int circuitDOFCount1 = 0;
    int circuitDOFCount2 = 0;
    std::map<int, int> dofTable;  // position to degree of freedom
};

#endif
