// SPDX-License-Identifier: Apache-2.0
#include "objects/DOFBlock.h"

#include "streams/MemorySize.h"

namespace fieldstore {

void DOFBlock::Write(POStreamIO& stream, const KindCounts& counts,
                     const std::array<Span<const int>, kArrays>& arrays) {
    for (const std::int64_t count : counts) stream.Write(count, "\n");
    for (const auto& array : arrays)
        stream.Write(reinterpret_cast<const char*>(array.data()), array.size() * sizeof(int));
}

DOFBlock::Counts DOFBlock::ReadCounts(POStreamIO& stream) {
    constexpr std::size_t kind2 = 1;
    Counts counts{};
    for (std::size_t kind = 0; kind < kKinds; ++kind) stream.Read(counts[kind]);
    counts[kKinds] = counts[kind2];
    return counts;
}

std::optional<std::size_t> DOFBlock::FirstUnfit(const Counts& counts, const Widths& widths,
                                                std::uint64_t left) {
    constexpr std::uint64_t front = sizeof(std::uint64_t);  // of an array, its length
    for (std::size_t k = 0; k < kArrays; ++k) {
        if (counts[k] < 0 || widths[k] < 0 || left < front) return k;
        const auto count = static_cast<std::uint64_t>(counts[k]);
        const std::uint64_t recordSize = static_cast<std::uint64_t>(widths[k]) * sizeof(int);
        left -= front;
        if (recordSize != 0 && count > left / recordSize) return k;
        left -= count * recordSize;
    }
    return std::nullopt;
}

std::array<std::vector<int>, DOFBlock::kArrays> DOFBlock::ReadArrays(POStreamIO& stream,
                                                                     const Counts& counts,
                                                                     const Widths& widths) {
    std::array<std::vector<int>, kArrays> arrays;
    for (std::size_t k = 0; k < kArrays; ++k) {
        arrays[k].resize(MemorySize(static_cast<std::uint64_t>(counts[k] * widths[k])));
        stream.Read(reinterpret_cast<char*>(arrays[k].data()),
                    static_cast<std::int64_t>(arrays[k].size() * sizeof(int)));
    }
    return arrays;
}

}  // namespace fieldstore
