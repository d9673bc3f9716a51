// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_PYTHON_COLUMN_DATA_H
#define FIELDSTORE_PYTHON_COLUMN_DATA_H

#include <complex>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "Column.h"

/// What a load makes of the fields of bodies that the library holds in nodes: columns.
namespace fieldstore::python {

/// The numbers of a vector.
class NumberColumn {
public:
    void Clear() { numbers.Clear(); }
    void Read(POStreamFileIO& stream);
    void EndBody() {}
    void Settle() {}

    Column<int> numbers;
};

/// The rows of a DOF map.
class RowColumns {
public:
    void Clear();
    void Read(POStreamFileIO& stream);
    void EndBody() {}
    void Settle() {}

    Column<std::int64_t> offsets;  // where each row begins, and the end of the last
    Column<int> columns;
    Column<double> weights;
};

/// The entries of a map from a frequency key and another number to a list.
class EntryColumns {
public:
    /// Of entries with one key in several bodies; in the same body the first one is kept.
    enum class Keep { First, Last };

    explicit EntryColumns(Keep which) : kept(which) {}
    void Clear();
    void ReadKey(POStreamFileIO& stream);
    /// The list of the last key ends where its elements do.
    void EndList(POStreamFileIO& stream, std::size_t end) { ends.Add(stream, end); }
    void EndBody() { bodies.push_back(frequencies.Size()); }
    /// The entries that are kept, in the order of their keys; nothing when that is all of them as
    /// they are.
    std::vector<std::size_t> Order() const;
    /// Takes only these.
    void Pick(const std::vector<std::size_t>& order);

    Column<std::int64_t> frequencies;
    Column<int> seconds;
    Column<std::uint64_t> ends;

private:
    std::pair<std::int64_t, int> Key(std::size_t entry) const {
        return {frequencies[entry], seconds[entry]};
    }
    std::vector<std::size_t> bodies;  // where they end
    Keep kept;
};

/// Circuit matrices by frequency and type.
class MatrixColumns {
public:
    void Clear();
    void Read(POStreamFileIO& stream);
    void EndBody() { entries.EndBody(); }
    void Settle();

    EntryColumns entries{EntryColumns::Keep::Last};
    Column<double> values;
};

/// Modes by frequency and port.
class ModeColumns {
public:
    void Clear();
    void Read(POStreamFileIO& stream);
    void EndBody() { entries.EndBody(); }
    void Settle();

    EntryColumns entries{EntryColumns::Keep::First};
    Column<int> groups;
    Column<std::complex<double>> gammas;
    Column<std::uint64_t> dataEnds;
    Column<std::complex<double>> data;
};

}  // namespace fieldstore::python

#endif
