// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_IPODOFLIST_H
#define FIELDSTORE_IPODOFLIST_H

#include <array>
#include <functional>
#include <map>
#include <utility>
#include <vector>

#include "fieldstore/export.h"

/// Degrees of freedom of a partitioned model in four record kinds (class "PODOFList", file
/// "file2.dat", binary by default, a commit replaces the file).
///
/// A record is a row of integers, as wide as its kind: the number of the partition that owns it,
/// the first degree of freedom of its range (negative: no range), the last one (negative: just the
/// first), and further entries as the host likes. The list is stored whole or, after
/// SetSelectedBlock(-1), as one section per block that can be read by itself; two owners share a
/// block, so block b holds the records of owners 2b and 2b+1.
class FIELDSTORE_INTERFACE IPODOFList {
public:
    /// Receives the (count, width) pairs of kinds 1 to 4 before records are handed out.
    using Sizes = std::function<void(std::pair<int, int>, std::pair<int, int>, std::pair<int, int>,
                                     std::pair<int, int>)>;
    /// Receives one record.
    using Visitor = std::function<void(const std::vector<int>& record)>;
    /// Fills `record` with the next record; returns false when there is none.
    using Source = std::function<bool(std::vector<int>& record)>;
    /// One vector per record.
    using Records = std::vector<std::vector<int>>;
    /// Records or extra entries, one after another.
    using Flat = std::vector<int>;
    /// Identifier to index of a record.
    using Ids = std::map<int, int>;

    IPODOFList(const IPODOFList&) = delete;
    IPODOFList& operator=(const IPODOFList&) = delete;
    virtual ~IPODOFList() = default;

    /// Hands every record to a visitor, kind by kind and in record order.
    ///
    /// Each count pointer that is not null receives the number of records of its kind; `sizes` is
    /// then called once with the four (count, width) pairs. Returns 0, or 1 when the list is not
    /// valid, a callable is empty or raises.
    virtual int VisitRecords(Sizes sizes, int* count1, Visitor visit1, int* count2, Visitor visit2,
                             int* count3, Visitor visit3, int* count4, Visitor visit4) = 0;

    /// Copies the records of kinds 1 to 3 into `rows`, entry i of a kind being its record i; rows
    /// that `sizes` left too short are grown. Kind 4 is counted only.
    ///
    /// `highestDOF` (may be null) receives the highest degree of freedom of the records that are
    /// not owned by the last block, at least 0. Returns 0, or 1 when the list is not valid or
    /// `sizes` is empty or raises.
    virtual int ExportRecords(Sizes sizes, int* highestDOF, int* count1, Records& rows1,
                              int* count2, Records& rows2, int* count3, Records& rows3,
                              int* count4) = 0;

    /// Copies the held records into flat vectors, replacing their content.
    ///
    /// Whole list: the records as they are. One block selected: every record without its last
    /// entry, which is its identifier; `ids` maps an identifier to the index of the first record
    /// that has it, added to what the map holds already, and `extra2` receives the extra entries of
    /// kind 2. Header only (selected block
    /// -1): nothing is copied. Returns 0, or 1 when the list is not valid.
    virtual int ExtractBlock(int* count4, Flat& records4, int* count2, Flat& records2, Ids& ids2,
                             Flat& extra2, int* count3, Flat& records3, Ids& ids3, int* count1,
                             Flat& records1, Ids& ids1) = 0;

    /// The number of degrees of freedom in the ranges of all records owned by partition `block`.
    virtual int GetBlockDOFCount(int block) = 0;

    /// Reserved; returns 0.
    virtual int Reserved() = 0;

    /// The number of distinct degrees of freedom, as far as the records tell them apart.
    ///
    /// SetRecords() and LoadRecords() add up the lengths of the ranges of all four kinds with an
    /// owner from 0 to below `lastBlock`. Of records that have the same entry 3, if that is 0 or
    /// more, only the first one counts: they mean one shared range, of whatever kind they are
    /// and wherever they begin. So give ranges that are not shared different identifiers in entry
    /// 3, over all kinds, or negative ones. The count is stored with the list.
    ///
    /// Only where it is not known (-1 in the file) it is counted from the ranges, kind by kind over
    /// kinds 1 to 3 and over records with an owner below GetLastBlock(), and then kept.
    virtual int GetDistinctDOFCount() = 0;

    /// The number of blocks; -1 while unknown.
    virtual int GetBlockCount() = 0;

    /// GetBlockCount() - 1.
    virtual int GetLastBlock() = 0;

    /// @{
    /// One of four header values that the library only stores; -1 while unknown.
    virtual int GetTotal1() = 0;
    virtual int GetTotal2() = 0;
    virtual int GetTotal3() = 0;
    virtual int GetTotal4() = 0;
    /// @}

    /// Replaces the whole list, grouped by block so that it can be stored blocked.
    ///
    /// `totals` are in the host's order, {total 4, total 2, total 3, total 1}. `widths`
    /// are the widths of kinds 1 to 4 that the records must have. Each source is called until it
    /// returns false; `reserve` is the number of records to make room for. `extra2` holds
    /// SetExtraWidth() entries per kind-2 record and is reordered with them. Records owned by
    /// `lastBlock` or above are left out of the distinct count.
    ///
    /// Returns 0, or 1 when a source is empty or raises. Raises std::runtime_error "Data size
    /// mismatch in PDOFList object." when a width or the size of `extra2` does not fit. Nothing is
    /// changed in either case.
    virtual int SetRecords(int lastBlock, int header1, const std::array<int, 4>& totals,
                           const std::array<int, 4>& widths, int reserve1, Source source1,
                           int reserve2, Source source2, int reserve3, Source source3, int reserve4,
                           Source source4, const Flat& extra2) = 0;

    /// Replaces the list by the records that the sources deliver, in the order they come; the width
    /// of a kind is that of its first record. `lastBlock` and `totals` as in SetRecords().
    ///
    /// Returns 0, or 1 when a record of another width was left out, or when a source is empty or
    /// raises; the list is unchanged in the latter case.
    virtual int LoadRecords(int lastBlock, const std::array<int, 4>& totals, int reserve1,
                            Source source1, int reserve2, Source source2, int reserve3,
                            Source source3, int reserve4, Source source4) = 0;

    /// Chooses what is stored and read: below -1 the whole list (the initial mode), -1 the blocked
    /// form (a read then takes its header only, and GetBlockCount() is 1), 0 or more the blocked
    /// form, reading that block. A file that was stored whole must be loaded whole: read as a
    /// blocked one it fails, or gives nonsense. An object of which only a part was loaded cannot be
    /// committed, in neither form.
    virtual void SetSelectedBlock(int block) = 0;

    /// Sets the number of extra entries per kind-2 record; initially 0. A load sets it to that of
    /// what it reads, which is 0 for a whole list. With a negative one a blocked commit fails.
    virtual void SetExtraWidth(int width) = 0;

protected:
    IPODOFList() = default;
};

#endif
