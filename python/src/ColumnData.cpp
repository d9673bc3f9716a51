// SPDX-License-Identifier: Apache-2.0
#include "ColumnData.h"

#include <algorithm>
#include <numeric>
#include <tuple>

#include "streams/ContainerEncoding.h"
#include "streams/Limits.h"

namespace fieldstore::python {
namespace {

using Order = std::vector<std::size_t>;

/// Elements of a vector, as many as a count says that may be false: they get their room by and by.
template <typename T>
void ReadNumbers(POStreamFileIO& stream, Column<T>& column, std::uint64_t count) {
    if (stream.IsTextMode()) {
        for (; count != 0; --count) {
            T number{};
            stream.Read(number);
            column.Add(stream, number);
        }
        return;
    }
    if (count == 0 && !stream.EndsWithEmptyVector(count)) stream.CheckInput();
    while (count != 0) {
        const std::uint64_t step = std::min<std::uint64_t>(count, kResizedAtOnce / sizeof(T));
        T* const to = column.Extend(stream, static_cast<std::size_t>(step));
        stream.ReadRaw(to, step * sizeof(T));
        count -= step;
    }
}

std::size_t BeginOf(const Column<std::uint64_t>& ends, std::size_t list) {
    return list == 0 ? 0 : static_cast<std::size_t>(ends[list - 1]);
}

std::size_t LengthOf(const Column<std::uint64_t>& ends, std::size_t list) {
    return static_cast<std::size_t>(ends[list]) - BeginOf(ends, list);
}

template <typename T>
Column<T> Picked(const Column<T>& from, const Order& order) {
    Column<T> picked;
    picked.Reserve(order.size());
    for (const std::size_t i : order) *picked.Extend(1) = from[i];
    return picked;
}

Column<std::uint64_t> PickedEnds(const Column<std::uint64_t>& ends, const Order& order) {
    Column<std::uint64_t> picked;
    picked.Reserve(order.size());
    std::uint64_t end = 0;
    for (const std::size_t list : order) *picked.Extend(1) = end += LengthOf(ends, list);
    return picked;
}

/// The places of all elements of the lists.
Order ElementsOf(const Column<std::uint64_t>& ends, const Order& lists) {
    Order elements;
    for (const std::size_t list : lists)
        for (std::size_t i = BeginOf(ends, list); i < ends[list]; ++i) elements.push_back(i);
    return elements;
}

template <typename T>
Column<T> PickedLists(const Column<T>& elements, const Column<std::uint64_t>& ends,
                      const Order& lists) {
    std::size_t size = 0;
    for (const std::size_t list : lists) size += LengthOf(ends, list);
    Column<T> picked;
    picked.Reserve(size);
    for (const std::size_t list : lists) {
        const std::size_t length = LengthOf(ends, list);
        std::copy_n(elements.Data() + BeginOf(ends, list), length, picked.Extend(length));
    }
    return picked;
}

}  // namespace

void NumberColumn::Read(POStreamFileIO& stream) {
    ReadNumbers(stream, numbers, ReadLimitedCount(stream));
}

void RowColumns::Clear() {
    offsets.Clear();
    columns.Clear();
    weights.Clear();
}

void RowColumns::Read(POStreamFileIO& stream) {
    using Entry = std::pair<int, double>;
    constexpr std::uint64_t most = kResizedAtOnce / sizeof(Entry);
    offsets.Add(stream, 0);
    for (std::uint64_t left = ReadLimitedCount(stream); left != 0; --left) {
        for (std::uint64_t count = ReadLimitedCount(stream); count != 0;) {
            const std::uint64_t step = std::min(count, most);
            int* column = columns.Extend(stream, static_cast<std::size_t>(step));
            double* weight = weights.Extend(stream, static_cast<std::size_t>(step));
            ReadEach<Entry>(stream, step, [&](const Entry& entry) {
                *column++ = entry.first;
                *weight++ = entry.second;
            });
            count -= step;
        }
        offsets.Add(stream, static_cast<std::int64_t>(columns.Size()));
    }
}

void EntryColumns::Clear() {
    frequencies.Clear();
    seconds.Clear();
    ends.Clear();
    bodies.clear();
}

void EntryColumns::ReadKey(POStreamFileIO& stream) {
    std::pair<std::int64_t, int> key;
    stream.Read(key);
    frequencies.Add(stream, key.first);
    seconds.Add(stream, key.second);
}

Order EntryColumns::Order() const {
    const std::size_t count = frequencies.Size();
    std::size_t ordered = 1;
    while (ordered < count && Key(ordered - 1) < Key(ordered)) ++ordered;
    if (ordered >= count) return {};

    const auto body = [this](std::size_t entry) {
        return std::upper_bound(bodies.begin(), bodies.end(), entry) - bodies.begin();
    };
    const auto isBefore = [&](std::size_t a, std::size_t b) {
        if (Key(a) != Key(b)) return Key(a) < Key(b);
        return kept == Keep::Last ? body(a) > body(b) : a < b;
    };
    const auto isSame = [this](std::size_t a, std::size_t b) { return Key(a) == Key(b); };
    std::vector<std::size_t> order(count);
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::stable_sort(order.begin(), order.end(), isBefore);
    order.erase(std::unique(order.begin(), order.end(), isSame), order.end());
    return order;
}

void EntryColumns::Pick(const std::vector<std::size_t>& order) {
    frequencies = Picked(frequencies, order);
    seconds = Picked(seconds, order);
    ends = PickedEnds(ends, order);
}

void MatrixColumns::Clear() {
    entries.Clear();
    values.Clear();
}

void MatrixColumns::Read(POStreamFileIO& stream) {
    for (std::uint64_t left = ReadCount(stream); left != 0; --left) {
        entries.ReadKey(stream);
        ReadNumbers(stream, values, ReadLimitedCount(stream));
        entries.EndList(stream, values.Size());
    }
}

void MatrixColumns::Settle() {
    const auto order = entries.Order();
    if (order.empty()) return;
    values = PickedLists(values, entries.ends, order);
    entries.Pick(order);
}

void ModeColumns::Clear() {
    entries.Clear();
    groups.Clear();
    gammas.Clear();
    dataEnds.Clear();
    data.Clear();
}

void ModeColumns::Read(POStreamFileIO& stream) {
    for (std::uint64_t left = ReadCount(stream); left != 0; --left) {
        entries.ReadKey(stream);
        for (std::uint64_t modes = ReadLimitedCount(stream); modes != 0; --modes) {
            std::pair<int, std::complex<double>> head;
            stream.Read(head);
            groups.Add(stream, head.first);
            gammas.Add(stream, head.second);
            ReadNumbers(stream, data, ReadLimitedCount(stream));
            dataEnds.Add(stream, data.Size());
        }
        entries.EndList(stream, groups.Size());
    }
}

void ModeColumns::Settle() {
    const auto order = entries.Order();
    if (order.empty()) return;
    const auto modes = ElementsOf(entries.ends, order);
    groups = Picked(groups, modes);
    gammas = Picked(gammas, modes);
    data = PickedLists(data, dataEnds, modes);
    dataEnds = PickedEnds(dataEnds, modes);
    entries.Pick(order);
}

}  // namespace fieldstore::python
