// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_PYTHON_ARRAYS_H
#define FIELDSTORE_PYTHON_ARRAYS_H

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "fieldstore/IPOBase.h"

/// The data of objects as arrays.
namespace fieldstore::python {
namespace py = pybind11;

using Shape = std::vector<py::ssize_t>;

/// A read-only array over elements that `owner` holds, and keeps alive.
template <typename T>
py::array View(const T* elements, Shape shape, const py::handle& owner) {
    py::array array(py::dtype::of<T>(), std::move(shape), elements, owner);
    array.attr("setflags")(py::arg("write") = false);
    return array;
}

/// A new array to be filled from the front, and read-only once it is taken. Its memory is NumPy's,
/// which asks the system for large pages.
template <typename T>
class Filled {
public:
    explicit Filled(std::size_t size)
        : array(static_cast<py::ssize_t>(size)), next(array.mutable_data()) {}

    void Add(T element) { *next++ = element; }
    void Add(const T* elements, std::size_t count) { next = std::copy_n(elements, count, next); }
    py::array Take(Shape shape = {}) {
        py::array taken = shape.empty() ? py::array(array) : array.reshape(std::move(shape));
        taken.attr("setflags")(py::arg("write") = false);
        return taken;
    }

private:
    py::array_t<T> array;
    T* next;
};

/// A field of what the object holds, by its name in the layout of the class: a number, an array, or
/// a tuple of arrays. Raises KeyError for an unknown name.
///
/// Flat data are views, which `owner`, the holder of the object, keeps alive; requires an object
/// that does not change any more. The tuples are
/// - entries of keys and lists: keys [entry] or [entry, part], ends [entry] of the lists, values;
/// - matrices: frequencies, types, ends of the values, values;
/// - modes: frequencies, ports, ends of the modes [entry]; groups, gammas, ends of the data [mode];
///   data;
/// - rows of a DOF map: where each begins and the end of the last, columns, weights;
/// - a map of numbers: an array [entry, part].
py::object FieldOf(IPOBase& object, const std::string& name, const py::handle& owner);

/// The common length of the entries `begin` to `end` whose values end at `ends`; -1 when they
/// differ. Requires: begin < end, within the array.
std::int64_t EvenLength(const py::array_t<std::uint64_t>& ends, std::size_t begin, std::size_t end);

/// Whether an index or an entity of metrics is negative, in the rows `begin` to `end` of keys
/// (type, index, entity) that ascend and have one type. So the first row of each index tells.
bool AnyNegativeId(const py::array_t<int>& keys, std::size_t begin, std::size_t end);

}  // namespace fieldstore::python

#endif
