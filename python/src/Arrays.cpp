// SPDX-License-Identifier: Apache-2.0
#include "Arrays.h"

#include <pybind11/complex.h>

#include <complex>
#include <cstdint>
#include <map>

#include "Classes.h"

namespace fieldstore::python {
namespace {

using Complex = std::complex<double>;

/// The numbers that a key consists of lie in a row.
template <typename T>
inline constexpr std::size_t kParts = 1;
template <typename A, typename B>
inline constexpr std::size_t kParts<std::pair<A, B>> = kParts<A> + kParts<B>;

/// Converts the field of one name.
class Converter {
public:
    Converter(const std::string& name, const py::handle& ofObject)
        : wanted(name), owner(ofObject) {}

    template <typename T>
    void operator()(const Field& field, const T& value) {
        if (field.name == wanted) result = Convert(value);
    }
    py::object Result() const {
        if (!result) throw py::key_error(wanted);
        return result;
    }

private:
    static py::object Convert(int value) { return py::int_(value); }

    template <typename T, typename Allocator>
    py::object Convert(const std::vector<T, Allocator>& value) const {
        using Number = std::conditional_t<std::is_enum_v<T>, int, T>;
        static_assert(sizeof(Number) == sizeof(T));
        return View(reinterpret_cast<const Number*>(value.data()),
                    {static_cast<py::ssize_t>(value.size())}, owner);
    }

    /// Numbers in rows of two or three.
    template <typename A, typename B, typename Allocator>
    py::object Convert(const std::vector<std::pair<A, B>, Allocator>& value) const {
        constexpr std::size_t parts = kParts<std::pair<A, B>>;
        static_assert(sizeof(std::pair<A, B>) == parts * sizeof(int));
        return View(reinterpret_cast<const int*>(value.data()),
                    {static_cast<py::ssize_t>(value.size()), py::ssize_t{parts}}, owner);
    }

    template <typename T>
    py::object Convert(const ColumnSet<T>& value) const {
        return Convert(value.Elements());
    }

    template <typename Key, typename T, EntryValues kValues>
    py::object Convert(const ColumnMap<Key, T, kValues>& value) const {
        return py::make_tuple(Convert(value.Keys()), Convert(value.Ends()),
                              Convert(value.AllValues()));
    }

    static py::object Convert(const std::map<int, int>& value) {
        Filled<int> flat(2 * value.size());
        for (const auto& [key, mapped] : value) {
            flat.Add(key);
            flat.Add(mapped);
        }
        return flat.Take({-1, 2});
    }

    static py::object Convert(const std::map<int, std::pair<int, int>>& value) {
        Filled<int> flat(3 * value.size());
        for (const auto& [key, mapped] : value) {
            flat.Add(key);
            flat.Add(mapped.first);
            flat.Add(mapped.second);
        }
        return flat.Take({-1, 3});
    }

    template <typename T>
    static py::object Convert(const std::map<int, std::vector<T>>& value) {
        std::uint64_t total = 0;
        for (const auto& entry : value) total += entry.second.size();
        Filled<int> keys(value.size());
        Filled<std::uint64_t> ends(value.size());
        Filled<T> values(total);
        std::uint64_t end = 0;
        for (const auto& [key, its] : value) {
            keys.Add(key);
            values.Add(its.data(), its.size());
            ends.Add(end += its.size());
        }
        return py::make_tuple(keys.Take(), ends.Take(), values.Take());
    }

    static py::object Convert(const NumberColumn& value) { return value.numbers.Array(); }

    static py::object Convert(const MatrixColumns& value) {
        return py::make_tuple(value.entries.frequencies.Array(), value.entries.seconds.Array(),
                              value.entries.ends.Array(), value.values.Array());
    }

    static py::object Convert(const ModeColumns& value) {
        return py::make_tuple(value.entries.frequencies.Array(), value.entries.seconds.Array(),
                              value.entries.ends.Array(), value.groups.Array(),
                              value.gammas.Array(), value.dataEnds.Array(), value.data.Array());
    }

    static py::object Convert(const RowColumns& value) {
        return py::make_tuple(value.offsets.Array(), value.columns.Array(), value.weights.Array());
    }

    const std::string& wanted;
    const py::handle& owner;
    py::object result;
};

}  // namespace

py::object FieldOf(IPOBase& object, const std::string& name, const py::handle& owner) {
    Converter converter(name, owner);
    WithClass(object, [&converter](const auto& typed) { typed.VisitData(converter); });
    return converter.Result();
}

std::int64_t EvenLength(const py::array_t<std::uint64_t>& ends, std::size_t begin,
                        std::size_t end) {
    const std::uint64_t* const all = ends.data();
    std::uint64_t last = begin == 0 ? 0 : all[begin - 1];
    const std::uint64_t length = all[begin] - last;
    for (std::size_t i = begin; i < end; ++i) {
        if (all[i] - last != length) return -1;
        last = all[i];
    }
    return static_cast<std::int64_t>(length);
}

bool AnyNegativeId(const py::array_t<int>& keys, std::size_t begin, std::size_t end) {
    const auto* const rows = keys.data();
    const auto part = [rows](std::size_t row, std::size_t which) { return rows[3 * row + which]; };
    while (begin < end) {
        const int index = part(begin, 1);
        if (index < 0 || part(begin, 2) < 0) return true;
        std::size_t step = 1;  // doubled past the end of the index, and halved to meet it
        while (begin + step < end && part(begin + step, 1) == index) step *= 2;
        for (; step != 0; step /= 2)
            if (begin + step < end && part(begin + step, 1) == index) begin += step;
        ++begin;
    }
    return false;
}

}  // namespace fieldstore::python
