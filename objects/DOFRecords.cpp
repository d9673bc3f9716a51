// SPDX-License-Identifier: Apache-2.0
#include "objects/DOFRecords.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace fieldstore {

std::int64_t DOFRecords::Record::RangeLength() const {
    if (First() < 0) return 0;
    return Last() < 0 ? 1 : std::int64_t{Last()} - First() + 1;
}

int DOFRecords::Count() const {
    return width > 0 ? static_cast<int>(entries.size() / static_cast<std::size_t>(width)) : 0;
}

DOFRecords::Record DOFRecords::At(int index) const {
    const auto size = static_cast<std::size_t>(width);
    return {entries.data() + static_cast<std::size_t>(index) * size, size};
}

bool DOFRecords::Append(const std::vector<int>& record, int reserveRecords) {
    constexpr std::size_t mostReserved = std::size_t{1} << 24;  // a wrong number costs no more
    if (width < 0) {
        width = static_cast<int>(record.size());
        if (reserveRecords >= 1)
            entries.reserve(
                std::min(mostReserved, static_cast<std::size_t>(reserveRecords) * record.size()));
    }
    if (record.size() != static_cast<std::size_t>(width)) return false;
    entries.insert(entries.end(), record.begin(), record.end());
    return true;
}

std::vector<int> DOFRecords::Reordered(const std::vector<int>& flat, std::size_t recordWidth,
                                       const std::vector<int>& order) {
    std::vector<int> ordered;
    ordered.reserve(flat.size());
    for (const int index : order) {
        const auto begin = flat.begin() + static_cast<std::ptrdiff_t>(
                                              static_cast<std::size_t>(index) * recordWidth);
        ordered.insert(ordered.end(), begin, begin + static_cast<std::ptrdiff_t>(recordWidth));
    }
    return ordered;
}

DOFRecords DOFRecords::GroupedByBlock(int blockCount, std::vector<int>& order) const {
    constexpr int ownersPerBlock = 2;
    const auto section = [&](int index) {
        return std::clamp(At(index).Owner() / ownersPerBlock, 0, blockCount - 1);
    };
    order.resize(static_cast<std::size_t>(Count()));
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin(), order.end(),
                     [&](int a, int b) { return section(a) < section(b); });
    DOFRecords grouped;
    grouped.width = width;
    grouped.entries = Reordered(entries, static_cast<std::size_t>(std::max(width, 0)), order);
    grouped.counts.assign(static_cast<std::size_t>(blockCount), 0);
    for (const int index : order) ++grouped.counts[static_cast<std::size_t>(section(index))];
    return grouped;
}

// The union of the ranges, by sorting them: a range may span billions of degrees of freedom.
std::int64_t DOFRecords::DistinctDOFs(int lastBlock) const {
    std::vector<std::pair<std::int64_t, std::int64_t>> ranges;  // first, one past the last
    ForEach([&](const Record& record) {
        const std::int64_t length = record.RangeLength();
        if (record.Owner() < lastBlock && length > 0)
            ranges.emplace_back(record.First(), record.First() + length);
    });
    std::sort(ranges.begin(), ranges.end());
    std::int64_t total = 0;
    std::int64_t covered = 0;  // everything below is counted
    for (const auto& [first, end] : ranges) {
        const std::int64_t begin = std::max(first, covered);
        total += std::max<std::int64_t>(end - begin, 0);
        covered = std::max(covered, end);
    }
    return total;
}

}  // namespace fieldstore
