// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_PYTHON_LOADING_H
#define FIELDSTORE_PYTHON_LOADING_H

#include <pybind11/pybind11.h>

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <variant>

#include "fieldstore/IPOBase.h"

namespace fieldstore::python {

/// An object that was loaded from a file, for reading. Its data never change, so arrays may be
/// views of them.
class LoadedObject {
public:
    /// Loads the file; of a DOF list in blocks, that block (-1: the header alone). See Result() for
    /// whether that succeeded. Raises std::invalid_argument for an unknown class, and what a
    /// handler of a signal raises.
    LoadedObject(const std::string& className, const std::string& path, bool inTextMode,
                 std::optional<int> block);

    /// The entries of a file whose keys are in these ranges, found by skipping the others; what has
    /// no such keys is there whole. Words are ranges as the tool takes them, 8GHz:12GHz.
    /// Requires: keys that the class has. Raises std::invalid_argument for words without a meaning,
    /// pybind11::key_error when there is no such entry, std::runtime_error for a file that is not
    /// whole, and what a handler of a signal raises.
    using Keys =
        std::map<std::string, std::variant<std::string, std::pair<std::int64_t, std::int64_t>>>;
    static LoadedObject Sliced(const std::string& className, const std::string& path,
                               const Keys& keys);

    /// The mode of the file, as far as it was found out here.
    bool IsText() const { return text; }
    /// As of IPOBase::Load: 0 loaded, 1 damaged or incomplete, 2 not to be opened.
    int Result() const { return result; }
    /// The library's reason; empty when the load succeeded.
    std::string Reason() const;
    IPOBase& Object() const { return *object; }

    /// -1 of what is no DOF list.
    int BlockCount() const;
    int ExtraWidth() const;
    /// The basis functions on the nodes of the first, second or third node lists: arrays of the
    /// node ids and of the counts. Requires assembly data.
    pybind11::tuple BasisCounts(int list) const;

private:
    LoadedObject(std::shared_ptr<IPOBase> made, bool inTextMode)
        : object(std::move(made)), text(inTextMode) {}

    std::shared_ptr<IPOBase> object;
    bool text;
    int result = 0;
};

/// What the bytes of a file are, as a dictionary: "state" (whole, torn, unreadable), "class",
/// "guessed", "text", "blocked", "size", "version" or None, "bodies" [(begin, end, entries)],
/// "fault" as (byte, cause) or None. "" for the class leaves it to the name, or to trying.
/// Raises std::runtime_error for what cannot be read at all, and what a handler of a signal raises.
pybind11::dict InspectFile(const std::string& path, const std::string& className);

}  // namespace fieldstore::python

#endif
