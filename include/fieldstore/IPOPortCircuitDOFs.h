// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_IPOPORTCIRCUITDOFS_H
#define FIELDSTORE_IPOPORTCIRCUITDOFS_H

#include <map>
#include <utility>
#include <vector>

#include "fieldstore/export.h"

/// Which degrees of freedom belong to ports and which to circuit elements (class
/// "POPortCircuitDOFs", file "file3.dat", text by default, a commit replaces the file).
///
/// A table gives the degree of freedom at each position. The port ones come first, then
/// offsetDOFCount positions that are skipped, then circuitDOFCount1 + circuitDOFCount2 circuit
/// ones.
class FIELDSTORE_INTERFACE IPOPortCircuitDOFs {
public:
    /// Each inner list holds one pair (local number from 1, degree of freedom).
    using DOFLists = std::vector<std::vector<std::pair<int, int>>>;

    IPOPortCircuitDOFs(const IPOPortCircuitDOFs&) = delete;
    IPOPortCircuitDOFs& operator=(const IPOPortCircuitDOFs&) = delete;
    virtual ~IPOPortCircuitDOFs() = default;

    /// Copies the four counts and the table out. Returns 0.
    virtual int GetData(int& portDOFCount, int& offsetDOFCount, int& circuitDOFCount1,
                        int& circuitDOFCount2, std::map<int, int>& dofTable) = 0;

    /// @{
    /// One of the four counts.
    virtual int GetOffsetDOFCount() = 0;
    virtual int GetCircuitDOFCount2() = 0;
    virtual int GetCircuitDOFCount1() = 0;
    virtual int GetPortDOFCount() = 0;
    /// @}

    /// The circuit degrees of freedom, numbered locally from 1.
    /// Raises std::runtime_error "Invalid index for circuit DOFs." when the table lacks one.
    virtual DOFLists GetCircuitDOFs() = 0;

    /// The port degrees of freedom, numbered locally from 1.
    /// Raises std::runtime_error "Invalid index for port DOFs." when the table lacks one.
    virtual DOFLists GetPortDOFs() = 0;

    /// Stores the four counts and replaces the table. Returns 0. Negative counts are kept and list
    /// nothing; a table without any positive count cannot be committed, nor counts without a table.
    virtual int SetData(int portDOFCount, int offsetDOFCount, int circuitDOFCount1,
                        int circuitDOFCount2, const std::map<int, int>& dofTable) = 0;

protected:
    IPOPortCircuitDOFs() = default;
};

#endif
