// SPDX-License-Identifier: Apache-2.0
// HDF5 used for what it is good at: a nested container becomes one flat data set per number in it,
// and one of offsets per list, each moved with a single call.
#include <map>
#include <set>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "Hdf5DataSets.h"
#include "Suite.h"

namespace bench {
namespace {

/// The data sets that hold any number of values of type T, one behind the other. Count() and
/// Reserve() come before Add(); after Read() the values come back in order.
template <typename T>
class Columns {
public:
    void Count(const T&) { ++count_; }
    void Reserve() { values_.reserve(count_); }
    void Add(const T& value) { values_.push_back(value); }
    void Take(T& value) { value = values_[next_++]; }

    // Lists of numbers move as a whole.
    void CountList(const std::vector<T>& values) { count_ += values.size(); }
    void AddList(const std::vector<T>& values) {
        values_.insert(values_.end(), values.begin(), values.end());
    }
    void TakeList(std::vector<T>& values, std::size_t count) {
        const auto from = values_.begin() + static_cast<std::ptrdiff_t>(next_);
        values.assign(from, from + static_cast<std::ptrdiff_t>(count));
        next_ += count;
    }

    void Write(hid_t file, const std::string& name) const { WriteDataSet(file, name, values_); }
    void Read(hid_t file, const std::string& name) { ReadDataSet(file, name, values_); }

private:
    std::size_t count_ = 0;
    std::size_t next_ = 0;
    std::vector<T> values_;
};

template <typename T>
constexpr bool kNumber = std::is_arithmetic_v<T> || std::is_same_v<T, Complex>;

template <typename A, typename B>
class Columns<std::pair<A, B>> {
public:
    // A pair, or the entry of a map.
    template <typename Pair>
    void Count(const Pair& pair) {
        first_.Count(pair.first);
        second_.Count(pair.second);
    }
    void Reserve() {
        first_.Reserve();
        second_.Reserve();
    }
    template <typename Pair>
    void Add(const Pair& pair) {
        first_.Add(pair.first);
        second_.Add(pair.second);
    }
    void Take(std::pair<A, B>& pair) {
        first_.Take(pair.first);
        second_.Take(pair.second);
    }
    Columns<A>& First() { return first_; }
    Columns<B>& Second() { return second_; }

    void Write(hid_t file, const std::string& name) const {
        first_.Write(file, name + "_first");
        second_.Write(file, name + "_second");
    }
    void Read(hid_t file, const std::string& name) {
        first_.Read(file, name + "_first");
        second_.Read(file, name + "_second");
    }

private:
    Columns<A> first_;
    Columns<B> second_;
};

/// What all lists share: where each of them ends.
template <typename Element>
class ListColumns {
public:
    void Reserve() {
        ends_.reserve(count_);
        elements_.Reserve();
    }
    template <typename List>
    void Count(const List& list) {
        ++count_;
        if constexpr (std::is_same_v<List, std::vector<Element>> && kNumber<Element>)
            elements_.CountList(list);
        else
            for (const auto& element : list) elements_.Count(element);
    }
    template <typename List>
    void Add(const List& list) {
        ends_.push_back(list.size() + (ends_.empty() ? 0 : ends_.back()));
        if constexpr (std::is_same_v<List, std::vector<Element>> && kNumber<Element>)
            elements_.AddList(list);
        else
            for (const auto& element : list) elements_.Add(element);
    }

    void Write(hid_t file, const std::string& name) const {
        WriteDataSet(file, name + "_ends", ends_);
        elements_.Write(file, name + "_item");
    }
    void Read(hid_t file, const std::string& name) {
        ReadDataSet(file, name + "_ends", ends_);
        elements_.Read(file, name + "_item");
    }

protected:
    std::size_t TakeCount() {
        const std::uint64_t begin = next_ == 0 ? 0 : ends_[next_ - 1];
        return ends_[next_++] - begin;
    }
    Columns<Element>& Elements() { return elements_; }

private:
    std::size_t count_ = 0;
    std::size_t next_ = 0;
    std::vector<std::uint64_t> ends_;
    Columns<Element> elements_;
};

template <typename T>
class Columns<std::vector<T>> : public ListColumns<T> {
public:
    void Take(std::vector<T>& values) {
        const std::size_t count = this->TakeCount();
        if constexpr (kNumber<T>) return this->Elements().TakeList(values, count);
        values.resize(count);
        for (T& value : values) this->Elements().Take(value);
    }
};

template <typename T>
class Columns<std::set<T>> : public ListColumns<T> {
public:
    void Take(std::set<T>& values) {
        for (std::size_t count = this->TakeCount(); count != 0; --count) {
            T value;
            this->Elements().Take(value);
            values.emplace_hint(values.end(), value);
        }
    }
};

template <typename K, typename V>
class Columns<std::map<K, V>> : public ListColumns<std::pair<K, V>> {
public:
    void Take(std::map<K, V>& map) {
        for (std::size_t count = this->TakeCount(); count != 0; --count) {
            K key;
            this->Elements().First().Take(key);
            const auto entry =
                map.emplace_hint(map.end(), std::piecewise_construct, std::forward_as_tuple(key),
                                 std::forward_as_tuple());
            this->Elements().Second().Take(entry->second);
        }
    }
};

struct Hdf5 {
    static constexpr const char* kName = "hdf5";
    static constexpr bool kSameBytes = false;

    template <typename T>
    static void Write(const std::string& path, const T& value) {
        const Handle file(H5Fcreate(path.c_str(), H5F_ACC_TRUNC, H5P_DEFAULT, H5P_DEFAULT),
                          H5Fclose);
        Columns<T> columns;
        columns.Count(value);
        columns.Reserve();
        columns.Add(value);
        columns.Write(file, "data");
    }

    template <typename T>
    static void Read(const std::string& path, T& value) {
        const Handle file(H5Fopen(path.c_str(), H5F_ACC_RDONLY, H5P_DEFAULT), H5Fclose);
        Columns<T> columns;
        columns.Read(file, "data");
        columns.Take(value);
    }

    // A flat list is a data set already; no detour through columns.
    static void Write(const std::string& path, const std::vector<double>& values) {
        const Handle file(H5Fcreate(path.c_str(), H5F_ACC_TRUNC, H5P_DEFAULT, H5P_DEFAULT),
                          H5Fclose);
        WriteDataSet(file, "data", values);
    }

    static void Read(const std::string& path, std::vector<double>& values) {
        const Handle file(H5Fopen(path.c_str(), H5F_ACC_RDONLY, H5P_DEFAULT), H5Fclose);
        ReadDataSet(file, "data", values);
    }
};

}  // namespace

void AddHdf5(std::vector<Case>& cases) {
    AddCases<Hdf5>(BinaryWorkloads(), cases);
}

}  // namespace bench
