// SPDX-License-Identifier: Apache-2.0
#include "objects/POPortCircuitDOFs.h"

#include <limits>
#include <stdexcept>

#include "core/Messages.h"

using namespace fieldstore;

int POPortCircuitDOFs::GetData(int& portCount, int& offsetCount, int& circuitCount1,
                               int& circuitCount2, std::map<int, int>& table) {
    portCount = portDOFCount;
    offsetCount = offsetDOFCount;
    circuitCount1 = circuitDOFCount1;
    circuitCount2 = circuitDOFCount2;
    table = dofTable;
    return kSuccess;
}

int POPortCircuitDOFs::SetData(int portCount, int offsetCount, int circuitCount1, int circuitCount2,
                               const std::map<int, int>& table) {
    dofTable = table;
    portDOFCount = portCount;
    offsetDOFCount = offsetCount;
    circuitDOFCount1 = circuitCount1;
    circuitDOFCount2 = circuitCount2;
    modified = true;
    return kSuccess;
}

IPOPortCircuitDOFs::DOFLists POPortCircuitDOFs::List(std::int64_t start, std::int64_t count,
                                                     const char* missing) const {
    DOFLists lists;
    for (std::int64_t i = 0; i < count; ++i) {
        // Positions are 32-bit; one beyond them cannot be in the table.
        const std::int64_t position = start + i;
        const auto found = position == static_cast<int>(position)
                               ? dofTable.find(static_cast<int>(position))
                               : dofTable.end();
        if (found == dofTable.end()) throw std::runtime_error(missing);
        lists.push_back({{static_cast<int>(i + 1), found->second}});
    }
    return lists;
}

IPOPortCircuitDOFs::DOFLists POPortCircuitDOFs::GetPortDOFs() {
    return List(0, portDOFCount, messages::kInvalidPortIndex);
}

IPOPortCircuitDOFs::DOFLists POPortCircuitDOFs::GetCircuitDOFs() {
    const auto start = std::int64_t{portDOFCount} + offsetDOFCount;
    const auto count = std::int64_t{circuitDOFCount1} + circuitDOFCount2;
    return List(start, count, messages::kInvalidCircuitIndex);
}

int POPortCircuitDOFs::CopyFrom(std::shared_ptr<IPOBase> source) {
    return CopyFromSameClass<POPortCircuitDOFs>(source, [this](const POPortCircuitDOFs& other) {
        SetData(other.portDOFCount, other.offsetDOFCount, other.circuitDOFCount1,
                other.circuitDOFCount2, other.dofTable);
    });
}

void POPortCircuitDOFs::ClearData() {
    dofTable.clear();
    portDOFCount = offsetDOFCount = circuitDOFCount1 = circuitDOFCount2 = 0;
}

bool POPortCircuitDOFs::ValidateData() {
    const bool anyCount = portDOFCount > 0 || circuitDOFCount1 > 0 || circuitDOFCount2 > 0;
    return anyCount != dofTable.empty();
}

void POPortCircuitDOFs::SerializeData(IStreamer::EDirection direction) {
    SerializeBody<PortCircuitDOFsLayout>(direction, *this);
}
