// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_PODOFLIST_H
#define FIELDSTORE_PODOFLIST_H

#include <array>
#include <cstddef>
#include <memory>
#include <optional>
#include <vector>

#include "core/ClassTraits.h"
#include "core/POBase.h"
#include "fieldstore/IPOBase.h"
#include "fieldstore/IPODOFList.h"
#include "fieldstore/IStreamer.h"
#include "objects/DOFRecords.h"
#include "objects/Field.h"

namespace fieldstore {

struct DOFListLayout {
    static constexpr ClassTraits kTraits{"PODOFList",
                                         "file2.dat",
                                         kReplacing,
                                         IPOBase::eReadBinary,
                                         IPOBase::eWriteBinary,
                                         false,
                                         "Unknown error committing PODOFList object."};

    template <typename Self, typename V>
    static void Visit(Self& self, V& visit) {
        visit(Field{"distinctCount"}, self.distinctCount);
        visit(Field{"header1"}, self.header1);
        visit(Field{"total4"}, self.total4);
        visit(Field{"total2"}, self.total2);
        visit(Field{"total3"}, self.total3);
        visit(Field{"total1"}, self.total1);
        visit(Field{"width4"}, self.width4);
        visit(Field{"records4", {}, self.width4}, self.records4);
        visit(Field{"width2"}, self.width2);
        visit(Field{"records2", {}, self.width4}, self.records2);
        visit(Field{"width3"}, self.width3);
        visit(Field{"records3", {}, self.width4}, self.records3);
        visit(Field{"width1"}, self.width1);
        visit(Field{"records1", {}, self.width4}, self.records1);
    }
};

/// The header values of the other form of a DOF list.
struct BlockedDOFListHeader {
    template <typename Self, typename V>
    static void Visit(Self& self, V& visit) {
        visit(Field{"distinctCount"}, self.distinctCount);
        visit(Field{"header1"}, self.header1);
        visit(Field{"width1"}, self.width1);
        visit(Field{"width2"}, self.width2);
        visit(Field{"width3"}, self.width3);
        visit(Field{"width4"}, self.width4);
        visit(Field{"total4"}, self.total4);
        visit(Field{"total2"}, self.total2);
        visit(Field{"total3"}, self.total3);
        visit(Field{"total1"}, self.total1);
        visit(Field{"widthExtra"}, self.widthExtra);
    }
};

/// The other form of a DOF list: header values, bookmark index, blocks. Only in binary files.
struct BlockedDOFListLayout {
    static constexpr const ClassTraits& kTraits = DOFListLayout::kTraits;

    template <typename Self, typename V>
    static void Visit(Self& self, V& visit) {
        BlockedDOFListHeader::Visit(self, visit);
        visit(
            Field{
                "blocks",
                {{{"block"}, {"records1"}, {"records2"}, {"records3"}, {"records4"}, {"extra2"}}}},
            self.blocks);
    }
};

}  // namespace fieldstore

/// Body, whole list: header values, then width and records of kinds 4, 2, 3 and 1. Body, blocked
/// list: header values, the bookmark index, then per block four counts and five raw blocks; the
/// bookmark of a block is its number in decimal.
///
/// The selected block says which form a load and a commit take; a load of the blocked form reads
/// its header, and one block unless kHeaderOnly. A list is valid once every kind has a width and,
/// to be stored whole, some kind has records. One that was loaded in part cannot be committed.
class PODOFList final : public POBase, public IPODOFList {
public:
    PODOFList() : POBase(fieldstore::DOFListLayout::kTraits) {}
    ~PODOFList() override { CommitBeforeDestruction(); }

    int VisitRecords(Sizes sizes, int* count1, Visitor visit1, int* count2, Visitor visit2,
                     int* count3, Visitor visit3, int* count4, Visitor visit4) override;
    int ExportRecords(Sizes sizes, int* highestDOF, int* count1, Records& rows1, int* count2,
                      Records& rows2, int* count3, Records& rows3, int* count4) override;
    int ExtractBlock(int* count4, Flat& records4, int* count2, Flat& records2, Ids& ids2,
                     Flat& extra2, int* count3, Flat& records3, Ids& ids3, int* count1,
                     Flat& records1, Ids& ids1) override;
    int GetBlockDOFCount(int block) override;
    int Reserved() override { return 0; }
    int GetDistinctDOFCount() override;
    int GetBlockCount() override { return list.blockCount; }
    int GetLastBlock() override { return GetBlockCount() - 1; }
    int GetTotal1() override { return list.totals[0]; }
    int GetTotal2() override { return list.totals[1]; }
    int GetTotal3() override { return list.totals[2]; }
    int GetTotal4() override { return list.totals[3]; }
    int SetRecords(int lastBlock, int header1, const std::array<int, 4>& totals,
                   const std::array<int, 4>& widths, int reserve1, Source source1, int reserve2,
                   Source source2, int reserve3, Source source3, int reserve4, Source source4,
                   const Flat& extra2) override;
    int LoadRecords(int lastBlock, const std::array<int, 4>& totals, int reserve1, Source source1,
                    int reserve2, Source source2, int reserve3, Source source3, int reserve4,
                    Source source4) override;
    void SetSelectedBlock(int block) override { selectedBlock = block; }
    void SetExtraWidth(int width) override { widthExtra = width; }

    /// Shows the data held to a visitor, field by field as a commit of the whole list would write
    /// them. Of a list in blocks, the records are those that were read.
    template <typename V>
    void VisitData(V& visit) const {
        const auto& [kind1, kind2, kind3, kind4] = list.kinds;
        const auto& [total1, total2, total3, total4] = list.totals;
        const struct {
            const int &distinctCount, &header1, &total4, &total2, &total3, &total1;
            const int& width4;
            const Flat& records4;
            const int& width2;
            const Flat& records2;
            const int& width3;
            const Flat& records3;
            const int& width1;
            const Flat& records1;
        } body{list.distinctCount,
               list.header1,
               total4,
               total2,
               total3,
               total1,
               kind4.width,
               kind4.entries,
               kind2.width,
               kind2.entries,
               kind3.width,
               kind3.entries,
               kind1.width,
               kind1.entries};
        fieldstore::DOFListLayout::Visit(body, visit);
    }
    int GetExtraWidth() const { return widthExtra; }
    /// As many per record of kind 2 as GetExtraWidth() says.
    const Flat& GetExtraEntries() const { return extraEntries; }

    int CopyFrom(std::shared_ptr<IPOBase> source) override;
    void EndRead() override;
    void ClearData() override;
    bool ValidateData() override;

protected:
    void CheckBeforeWrite() override;
    void SerializeData(IStreamer::EDirection direction) override;

private:
    static constexpr int kUnknown = -1;
    static constexpr int kHeaderOnly = -1;  // selected block: the blocked form, no block chosen
    static constexpr int kWholeList = -2;
    static constexpr std::size_t kKinds = 4;

    /// A source of records and the number to make room for.
    struct Delivery {
        int reserve;
        const Source& source;
    };
    using Deliveries = std::array<Delivery, kKinds>;

    /// Everything that a copy takes over and that clearing resets. In a new one all is unknown.
    struct List {
        std::array<fieldstore::DOFRecords, kKinds> kinds;  // kinds 1 to 4
        std::array<int, kKinds> totals{kUnknown, kUnknown, kUnknown, kUnknown};
        int blockCount = kUnknown;
        int lastBlock = kUnknown;
        int distinctCount = kUnknown;
        int header1 = kUnknown;
        Ids indexMap;         // record entry 3 to entry 1, for every range counted while adding
        bool isPart = false;  // loaded without all of its blocks

        /// False for a record of another width than the first of its kind. Requires: kind < kKinds.
        bool Add(std::size_t kind, const std::vector<int>& record, int reserve);
        /// False when a record did not fit. Requires: a new list.
        bool AddAll(const Deliveries& deliveries);
        int BlockCountFromRecords() const;
    };
    /// What the sources of a host gave, kept aside so that whatever fails changes nothing.
    struct Gathered {
        List list;
        bool allFit = true;  // every record had the width of the first of its kind
    };

    static std::optional<Gathered> Gather(int lastBlock, const std::array<int, kKinds>& totals,
                                          const Deliveries& deliveries);
    bool IsBlocked() const { return selectedBlock >= kHeaderOnly; }
    void StoreCounts(const std::array<int*, kKinds>& counts) const;
    void CallSizes(const Sizes& sizes) const;
    bool HasExtraFor(const List& records, const Flat& extra) const;
    bool GroupByBlock(List& records, Flat& extra) const;
    /// Requires: records grouped and counted by block, as CheckBeforeWrite() sees to.
    void WriteBlocks();
    /// Requires: the header was read just before, and a block is selected.
    void ReadSelectedBlock();

    List list;
    int selectedBlock = kWholeList;
    int widthExtra = 0;
    Flat extraEntries;  // `widthExtra` per kind-2 record, else no commit in blocks
};

#endif
