// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_DOF_RECORDS_H
#define FIELDSTORE_DOF_RECORDS_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace fieldstore {

/// One kind of records of a DOF list: rows of integers of one width, one after another.
///
/// Entry 0 of a record is its owner, entries 1 and 2 are the first and last degree of freedom of
/// its range.
///
/// Without a width in a new object; the first record that is appended, or a file, gives it one.
class DOFRecords {
public:
    /// A record as it lies in the list; entries beyond its width read as -1. Requires: entries that
    /// stay where they are while it is used.
    class Record {
    public:
        Record(const int* begin, std::size_t size) : entries(begin), width(size) {}

        int Entry(std::size_t i) const { return i < width ? entries[i] : -1; }
        int Owner() const { return Entry(0); }
        int First() const { return Entry(1); }
        int Last() const { return Entry(2); }
        /// 0 without a first entry, 1 without a last one.
        std::int64_t RangeLength() const;
        const int* begin() const { return entries; }
        const int* end() const { return entries + width; }

    private:
        const int* entries;
        std::size_t width;
    };

    /// The number of whole records.
    int Count() const;
    /// Requires: 0 <= index < Count().
    Record At(int index) const;
    /// Requires: a `visit` that leaves the list alone.
    template <typename Visit>
    void ForEach(Visit visit) const {
        for (int i = 0; i < Count(); ++i) visit(At(i));
    }

    /// Appends a record; the first one fixes the width. False for a record of another width.
    bool Append(const std::vector<int>& record, int reserveRecords);

    /// Whether no entries are left behind the last record, as a damaged file may have them.
    bool IsWhole() const {
        return entries.size() ==
               static_cast<std::size_t>(Count()) * static_cast<std::size_t>(width);
    }

    /// The records sorted by block section, in their order within one, and counted. `order` gets
    /// where each of them was. Requires: IsWhole() and a positive number of blocks.
    DOFRecords GroupedByBlock(int blockCount, std::vector<int>& order) const;

    /// The entries of `flat`, `recordWidth` to a record, in the given order of records. Requires:
    /// `flat` has every record that `order` names.
    static std::vector<int> Reordered(const std::vector<int>& flat, std::size_t recordWidth,
                                      const std::vector<int>& order);

    /// The number of distinct degrees of freedom in the ranges of records with an owner below
    /// `lastBlock`.
    std::int64_t DistinctDOFs(int lastBlock) const;

    int width = -1;                    // -1 while unknown
    std::vector<int> entries;          // `width` per record
    std::vector<std::int64_t> counts;  // records per block; empty while unknown
};

}  // namespace fieldstore

#endif
