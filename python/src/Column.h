// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_PYTHON_COLUMN_H
#define FIELDSTORE_PYTHON_COLUMN_H

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <utility>

#include "streams/MemorySize.h"
#include "streams/POStreamFileIO.h"

namespace fieldstore::python {

/// Numbers that a load puts end to end into the memory of an array, which need not be copied then.
/// The memory is NumPy's, which asks the system for large pages: to get it costs a fraction of what
/// memory of the heap does. May be used without the interpreter's lock, which it takes to grow.
template <typename T>
class Column {
public:
    std::size_t Size() const { return size; }
    const T* Data() const { return data; }
    T operator[](std::size_t index) const { return data[index]; }

    void Clear() { size = 0; }
    /// Makes room for `more` numbers in all, at once.
    void Reserve(std::size_t more) {
        if (capacity - size < more) Grow(size + more);
    }
    /// Makes room for `more` numbers that follow in the stream, and returns where they begin. The
    /// whole column is expected to grow as it did on the way to here.
    T* Extend(POStreamFileIO& stream, std::size_t more) {
        if (capacity - size < more) Grow(std::max(size + more, Expected(stream)));
        return Extend(more);
    }
    /// Without growing. Requires: room for as many.
    T* Extend(std::size_t more) {
        T* const from = data + size;
        size += more;
        return from;
    }
    void Add(POStreamFileIO& stream, T number) { *Extend(stream, 1) = number; }

    /// The numbers as a read-only array. Requires the interpreter's lock, and that nothing is
    /// added any more.
    pybind11::array Array() const {
        const pybind11::array whole =
            memory ? pybind11::reinterpret_borrow<pybind11::array>(memory.get()) : Whole(0);
        whole.attr("setflags")(pybind11::arg("write") = false);
        return whole[pybind11::slice(0, static_cast<pybind11::ssize_t>(size), 1)];
    }

private:
    struct Release {
        void operator()(PyObject* array) const {
            const pybind11::gil_scoped_acquire acquired;
            Py_DECREF(array);
        }
    };
    static constexpr std::size_t kFirst = (std::size_t{64} << 10) / sizeof(T);

    static pybind11::array_t<T> Whole(std::size_t length) {
        return pybind11::array_t<T>(static_cast<pybind11::ssize_t>(length));
    }

    std::size_t Expected(POStreamFileIO& stream) const {
        if (size == 0) return kFirst;
        const auto left = static_cast<double>(stream.InputLeft());
        const auto read = static_cast<double>(stream.Tell());
        constexpr double margin = 1.01;
        const auto held = static_cast<double>(size);
        const double more = std::min(held * left / (read + 1) * margin, left / 2);
        return size + std::max(size / 2, static_cast<std::size_t>(more));
    }

    void Grow(std::size_t to) {
        const pybind11::gil_scoped_acquire acquired;
        try {
            auto grown = Whole(MemorySize(std::uint64_t{to}));
            T* const there = grown.mutable_data();
            std::copy_n(data, size, there);
            data = there;
            capacity = to;
            memory.reset(grown.release().ptr());
        } catch (const pybind11::error_already_set&) {
            throw std::bad_alloc();
        }
    }

    std::unique_ptr<PyObject, Release> memory;  // an array; none: no room
    T* data = nullptr;
    std::size_t size = 0;
    std::size_t capacity = 0;
};

}  // namespace fieldstore::python

#endif
