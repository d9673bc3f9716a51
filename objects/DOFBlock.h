// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_DOF_BLOCK_H
#define FIELDSTORE_DOF_BLOCK_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "streams/POStreamIO.h"
#include "streams/Span.h"

namespace fieldstore {

/// A block of a DOF list in a file: the numbers of records of kinds 1 to 4, then five arrays, the
/// records of these kinds and the extra entries of kind 2.
struct DOFBlock {
    static constexpr std::size_t kKinds = 4;
    static constexpr std::size_t kArrays = 5;
    // Names of bookmarks are block numbers of up to five digits.
    static constexpr int kBookmarkWidth = 6;
    static constexpr int kMostBlocks = 100000;

    using KindCounts = std::array<std::int64_t, kKinds>;
    using Counts = std::array<std::int64_t, kArrays>;  // records of each array
    using Widths = std::array<int, kArrays>;           // entries of a record

    static void Write(POStreamIO& stream, const KindCounts& counts,
                      const std::array<Span<const int>, kArrays>& arrays);

    static Counts ReadCounts(POStreamIO& stream);
    /// The first array that cannot be there: of a negative count or width, or longer than the
    /// bytes that are left behind the counts. To be asked before ReadArrays().
    static std::optional<std::size_t> FirstUnfit(const Counts& counts, const Widths& widths,
                                                 std::uint64_t left);
    static std::array<std::vector<int>, kArrays> ReadArrays(POStreamIO& stream,
                                                            const Counts& counts,
                                                            const Widths& widths);
};

}  // namespace fieldstore

#endif
