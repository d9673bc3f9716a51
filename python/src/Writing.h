// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_PYTHON_WRITING_H
#define FIELDSTORE_PYTHON_WRITING_H

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <array>
#include <complex>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "fieldstore/IPOBase.h"

namespace fieldstore::python {

/// Row after row, of exactly that type; the package sees to it that no conversion is needed.
template <typename T>
using Array = pybind11::array_t<T, pybind11::array::c_style>;
using Ints = Array<std::int32_t>;
using Longs = Array<std::int64_t>;
using Ids = Array<std::uint32_t>;
using Doubles = Array<double>;
using Complexes = Array<std::complex<double>>;

/// Lists end to end: where each begins, and the end of the last; the elements. Requires: offsets
/// from 0 that do not descend, the last one being the number of elements.
using Lists = std::pair<Longs, Ints>;

/// Where and how a commit stores.
struct Target {
    std::string path;
    std::optional<bool> text;  // nothing: as is the default of the class
    bool lock = false;
    std::string lockDirectory;  // with its separator at the end; empty: next to the data
    bool durable = true;
    std::string version;
};

/// The bytes that an object would append to a file: what comes before the first body, or nothing;
/// the body.
using Part = std::pair<std::string, std::string>;

/// An object that a host fills from arrays and commits once. One that is dropped before commits
/// nothing.
///
/// What fills it requires an object of the class that the operation is about, and shapes that fit
/// together, which the package has checked; raises what the class raises, and std::bad_cast for
/// another class.
class WritableObject {
public:
    explicit WritableObject(const std::string& className);
    ~WritableObject();
    WritableObject(const WritableObject&) = delete;
    WritableObject& operator=(const WritableObject&) = delete;

    /// Groups [mode], gammas [frequency, mode], data [frequency, mode, entry].
    void AddModes(const Doubles& frequencies, int port, const Ints& groups, const Complexes& gammas,
                  const Complexes& data) const;
    /// Values [frequency, row, column].
    void SetMatrices(int type, const Doubles& frequencies, const Doubles& values) const;
    void SetDOFMap(const Longs& offsets, const Ints& columns, const Doubles& weights,
                   const Ints& types) const;
    /// Pairs [pair, 2].
    void SetMesh(const Ints& ids, const Ints& pairs) const;
    /// Records [record, width] of kinds 1 to 4; totals in that order, too.
    void SetRecords(const std::array<Ints, 4>& records, const std::array<int, 4>& totals,
                    int header, int lastBlock, bool inBlocks, const Ints& extra) const;
    void SetTree(int tag, int idCount, int levelCount, int leafCount,
                 const std::array<Array<std::uint64_t>, 5>& leafCounts, const Ints& nodes,
                 const Lists& nodeItems, const Ints& keys, const Lists& mappedItems,
                 const Ints& auxiliary) const;
    void SetPorts(const std::array<int, 4>& counts, const Ints& positions, const Ints& dofs) const;
    void DefineValues(int entityType, int valueType, std::uint32_t size, int function) const;
    /// Values [vector, component]. In any order; those of the fewest searches go in first.
    void AddValues(int entityType, int valueType, const Ids& ids, const Ids& indices,
                   const Doubles& values) const;
    /// Positions [node, 3]; one list of neighbours per node.
    void AddNodes(const Ids& ids, const Doubles& positions, const Lists& neighbors) const;
    /// Nodes [edge, node].
    void AddEdges(const Ids& ids, const Ints& nodes) const;
    void SetHeader(std::uint32_t id, const std::array<std::uint32_t, 4>& fields) const;
    /// Signed values [element]; one list per element in each of the three.
    void AddElements(const Ints& elements, const std::array<Lists, 3>& nodes) const;

    /// Stores the object. Returns the result of IPOBase::Commit and, when it is not 0, the reason.
    /// Raises what a handler of a signal raises; nothing is stored then.
    std::pair<int, std::string> Commit(const Target& target);

    /// Whether a commit appends to the file; else it replaces the file.
    bool Appends() const;
    /// What a commit to the target would append. Raises std::runtime_error with the reason for data
    /// that a commit would refuse.
    Part Bytes(const Target& target);
    /// Appends the parts in one step, in their order; nothing of the object itself. Requires a
    /// target with a lock. Results as those of Commit.
    std::pair<int, std::string> AppendParts(const Target& target, const std::vector<Part>& parts);

private:
    template <typename Interface>
    Interface& As() const {
        return dynamic_cast<Interface&>(*object);
    }
    void PointTo(const Target& target) const;
    /// Stores in whatever way, once the object has storage. Returns the result and the reason.
    template <typename Store>
    std::pair<int, std::string> StoreAt(const Target& target, const Store& store) const;
    void Discard() noexcept;

    std::shared_ptr<IPOBase> object;
};

}  // namespace fieldstore::python

#endif
