// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_IPOASSEMBLYINFO_H
#define FIELDSTORE_IPOASSEMBLYINFO_H

#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

#include "fieldstore/export.h"

/// The elements of an assembled system with a flag and three node lists each (class
/// "POAssemblyInfo", file "assemblyinfo.dat", binary by default, every commit appends).
///
/// An element value carries its flag as its sign and its id as its absolute value. A node occurs in
/// an element's list once per basis function on it. After a load the elements are sorted by id.
///
/// Operations that take an element index raise std::out_of_range when it is not in
/// 0..GetElementCount()-1.
class FIELDSTORE_INTERFACE IPOAssemblyInfo {
public:
    /// Fills the three node lists (given empty) of the element behind `handle` and returns its
    /// value: positive for a set flag, its absolute value the element id.
    using ElementQuery = std::function<int(std::uint64_t handle, std::vector<int>& nodes1,
                                           std::vector<int>& nodes2, std::vector<int>& nodes3)>;

    /// (node id, number of basis functions on it), by ascending node.
    using BasisCounts = std::vector<std::pair<int, int>>;

    IPOAssemblyInfo(const IPOAssemblyInfo&) = delete;
    IPOAssemblyInfo& operator=(const IPOAssemblyInfo&) = delete;
    virtual ~IPOAssemblyInfo() = default;

    /// The number of elements.
    virtual int GetElementCount() = 0;

    /// The absolute value of the element value (2^31 - 1 for the smallest integer).
    virtual int GetElementId(int index) = 0;

    /// Whether the element value is positive.
    virtual bool GetElementFlag(int index) = 0;

    /// @{
    /// The length of the element's node list; 0 when it has none.
    virtual int GetElementNodeCount1(int index) = 0;
    virtual int GetElementNodeCount2(int index) = 0;
    virtual int GetElementNodeCount3(int index) = 0;
    /// @}

    /// @{
    /// A copy of the element's node list; empty when it has none.
    virtual std::vector<int> GetElementNodes1(int index) = 0;
    virtual std::vector<int> GetElementNodes2(int index) = 0;
    virtual std::vector<int> GetElementNodes3(int index) = 0;
    /// @}

    /// @{
    /// The basis functions of the first, second or third node lists. Raises std::runtime_error
    /// "Inconsistent basis counts for node." when two elements disagree.
    virtual BasisCounts GetNodeBasisCounts1() = 0;
    virtual BasisCounts GetNodeBasisCounts2() = 0;
    virtual BasisCounts GetNodeBasisCounts3() = 0;
    /// @}

    /// Adds an element for every handle that is not 0, asking `query` for its value and lists. An
    /// id that is known keeps its lists, but is listed again; a file with an id twice does not
    /// load. Returns true. Raises std::bad_function_call for an empty query, and whatever the query
    /// raises; the object is then unchanged.
    virtual bool AddElements(const std::vector<std::uint64_t>& handles, ElementQuery query) = 0;

    /// Overrides the storage type (IPOBase::EStorageType) that the class defaults mean:
    /// `which` 0 for reading, 1 for writing; 0 as type removes the override. Other values of
    /// `which` are ignored.
    virtual void SetStorageTypeOverride(int which, unsigned int storageType) = 0;

protected:
    IPOAssemblyInfo() = default;
};

#endif
