// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_POPORTCIRCUITDOFS_H
#define FIELDSTORE_POPORTCIRCUITDOFS_H

#include "core/POBase.h"
#include "fieldstore/IPOPortCircuitDOFs.h"
#include "objects/BodyLayouts.h"

/// Body: the four counts, then the table.
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

    int CopyFrom(std::shared_ptr<IPOBase> source) override;
    void ClearData() override;
    bool ValidateData() override;

protected:
    void SerializeData(IStreamer::EDirection direction) override;

private:
    friend fieldstore::PortCircuitDOFsLayout;

    DOFLists List(std::int64_t start, std::int64_t count, const char* missing) const;

    int portDOFCount = 0;
    int offsetDOFCount = 0;
    int circuitDOFCount1 = 0;
    int circuitDOFCount2 = 0;
    std::map<int, int> dofTable;  // position to degree of freedom
};

#endif
