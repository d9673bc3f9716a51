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

    template <typename T>
    py::object Convert(const std::vector<T>& value) const {
        using Number = std::conditional_t<std::is_enum_v<T>, int, T>;
        static_assert(sizeof(Number) == sizeof(T));
        return View(reinterpret_cast<const Number*>(value.data()),
                    {static_cast<py::ssize_t>(value.size())}, owner);
    }

    /// Numbers in rows of two or three.
    template <typename A, typename B>
    py::object Convert(const std::vector<std::pair<A, B>>& value) const {
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

    static py::object Convert(
        const std::map<std::pair<std::int64_t, int>, std::vector<double>>& value) {
        std::uint64_t total = 0;
        for (const auto& entry : value) total += entry.second.size();
        Filled<std::int64_t> frequencies(value.size());
        Filled<int> types(value.size());
        Filled<std::uint64_t> ends(value.size());
        Filled<double> values(total);
        {
            const py::gil_scoped_release released;
            std::uint64_t end = 0;
            for (const auto& [key, its] : value) {
                frequencies.Add(key.first);
                types.Add(key.second);
                values.Add(its.data(), its.size());
                ends.Add(end += its.size());
            }
        }
        return py::make_tuple(frequencies.Take(), types.Take(), ends.Take(), values.Take());
    }

    template <typename Record>
    static py::object Convert(
        const std::map<std::pair<std::int64_t, int>, std::vector<Record>>& value) {
        std::uint64_t modes = 0, total = 0;
        for (const auto& entry : value) {
            modes += entry.second.size();
            for (const auto& record : entry.second) total += record.second.size();
        }
        Filled<std::int64_t> frequencies(value.size());
        Filled<int> ports(value.size()), groups(modes);
        Filled<std::uint64_t> ends(value.size()), dataEnds(modes);
        Filled<Complex> gammas(modes), data(total);
        {
            const py::gil_scoped_release released;
            std::uint64_t end = 0, dataEnd = 0;
            for (const auto& [key, records] : value) {
                frequencies.Add(key.first);
                ports.Add(key.second);
                for (const auto& [head, its] : records) {
                    groups.Add(head.first);
                    gammas.Add(head.second);
                    data.Add(its.data(), its.size());
                    dataEnds.Add(dataEnd += its.size());
                }
                ends.Add(end += records.size());
            }
        }
        return py::make_tuple(frequencies.Take(), ports.Take(), ends.Take(), groups.Take(),
                              gammas.Take(), dataEnds.Take(), data.Take());
    }

    static py::object Convert(const IPODOFMap::Rows& rows) {
        std::uint64_t total = 0;
        for (const auto& row : rows) total += row.size();
        Filled<std::uint64_t> ends(rows.size());
        Filled<int> columns(total);
        Filled<double> weights(total);
        {
            const py::gil_scoped_release released;
            std::uint64_t end = 0;
            for (const auto& row : rows) {
                for (const auto& [column, weight] : row) {
                    columns.Add(column);
                    weights.Add(weight);
                }
                ends.Add(end += row.size());
            }
        }
        return py::make_tuple(ends.Take(), columns.Take(), weights.Take());
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

bool AnyNegative(const py::array_t<int>& numbers) {
    const int* const all = numbers.data();
    int bits = 0;
    for (py::ssize_t i = 0; i < numbers.size(); ++i) bits |= all[i];
    return bits < 0;
}

}  // namespace fieldstore::python
