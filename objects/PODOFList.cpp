// SPDX-License-Identifier: Apache-2.0
#include "objects/PODOFList.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>
#include <utility>

#include "core/Messages.h"
#include "core/ResultCode.h"
#include "objects/DOFBlock.h"
#include "streams/POStreamIO.h"
#include "streams/Span.h"

using namespace fieldstore;

namespace {

constexpr std::size_t kKind1 = 0;
constexpr std::size_t kKind2 = 1;
constexpr std::size_t kKind3 = 2;
constexpr std::size_t kKind4 = 3;

/// A count that the interface gives as an int, whatever damaged ranges add up to.
int Clamped(std::int64_t value) {
    using Limits = std::numeric_limits<int>;
    return static_cast<int>(std::clamp<std::int64_t>(value, Limits::min(), Limits::max()));
}

[[noreturn]] void RaiseSizeMismatch() {
    throw std::runtime_error(messages::kDOFListSizeMismatch);
}

/// Copies every record but its last entry, the identifier, and maps identifiers to indices.
void ExtractSelected(const DOFRecords& kind, std::vector<int>& flat, std::map<int, int>* ids) {
    flat.clear();
    for (int i = 0; i < kind.Count(); ++i) {
        const auto record = kind.At(i);
        flat.insert(flat.end(), record.begin(), record.end() - 1);
        if (ids != nullptr) ids->emplace(*(record.end() - 1), i);
    }
}

void GrowRows(std::vector<std::vector<int>>& rows, const DOFRecords& kind) {
    const auto count = static_cast<std::size_t>(kind.Count());
    if (rows.size() < count) rows.resize(count);
    for (int i = 0; i < kind.Count(); ++i) {
        const auto record = kind.At(i);
        rows[static_cast<std::size_t>(i)].assign(record.begin(), record.end());
    }
}

}  // namespace

// ---- adding records ----

bool PODOFList::List::Add(std::size_t kind, const std::vector<int>& record, int reserve) {
    if (!kinds[kind].Append(record, reserve)) return false;
    const DOFRecords::Record added(record.data(), record.size());
    if (added.Owner() < 0 || added.Owner() >= lastBlock || added.First() < 0) return true;
    // A range that several records share through their entry 3 is counted once.
    constexpr std::size_t shared = 3;
    if (added.Entry(shared) >= 0 && !indexMap.emplace(added.Entry(shared), added.First()).second)
        return true;
    distinctCount = Clamped(distinctCount + added.RangeLength());
    return true;
}

bool PODOFList::List::AddAll(const Deliveries& deliveries) {
    bool allFit = true;
    distinctCount = 0;
    std::vector<int> record;
    for (std::size_t kind = 0; kind < kKinds; ++kind) {
        record.clear();
        while (deliveries[kind].source(record)) {
            allFit = Add(kind, record, deliveries[kind].reserve) && allFit;
            record.clear();
        }
    }
    blockCount = BlockCountFromRecords();
    return allFit;
}

/// Nothing when a source throws or is empty.
std::optional<PODOFList::Gathered> PODOFList::Gather(int lastBlock,
                                                     const std::array<int, kKinds>& totals,
                                                     const Deliveries& deliveries) {
    Gathered gathered;
    gathered.list.lastBlock = lastBlock;
    // The host's order of totals is its own; these of its entries are totals 1 to 4.
    gathered.list.totals = {totals[3], totals[1], totals[2], totals[0]};
    try {
        gathered.allFit = gathered.list.AddAll(deliveries);
    } catch (...) {
        return std::nullopt;
    }
    return gathered;
}

int PODOFList::List::BlockCountFromRecords() const {
    constexpr int ownersPerBlock = 2;
    if (kinds[kKind4].Count() < 1) return 1;
    std::int64_t largestOwner = 0;
    kinds[kKind4].ForEach([&largestOwner](const DOFRecords::Record& record) {
        largestOwner = std::max<std::int64_t>(largestOwner, record.Owner());
    });
    return static_cast<int>((largestOwner + 2) / ownersPerBlock);
}

int PODOFList::SetRecords(int lastBlock, int header1, const std::array<int, 4>& totals,
                          const std::array<int, 4>& widths, int reserve1, Source source1,
                          int reserve2, Source source2, int reserve3, Source source3, int reserve4,
                          Source source4, const Flat& extra2) {
    auto gathered = Gather(
        lastBlock, totals,
        {{{reserve1, source1}, {reserve2, source2}, {reserve3, source3}, {reserve4, source4}}});
    if (!gathered) return kFailure;
    auto& [records, allFit] = *gathered;
    records.header1 = header1;
    for (std::size_t kind = 0; kind < kKinds; ++kind) {
        int& width = records.kinds[kind].width;
        if (width < 0) width = widths[kind];
        if (width < 0 || width != widths[kind]) allFit = false;
    }
    Flat extra = extra2;
    if (!allFit || !HasExtraFor(records, extra)) RaiseSizeMismatch();
    GroupByBlock(records, extra);
    list = std::move(records);
    extraEntries = std::move(extra);
    modified = true;
    return kSuccess;
}

int PODOFList::LoadRecords(int lastBlock, const std::array<int, 4>& totals, int reserve1,
                           Source source1, int reserve2, Source source2, int reserve3,
                           Source source3, int reserve4, Source source4) {
    auto gathered = Gather(
        lastBlock, totals,
        {{{reserve1, source1}, {reserve2, source2}, {reserve3, source3}, {reserve4, source4}}});
    if (!gathered) return kFailure;
    // A kind without records has a width all the same, or the list would not be valid.
    for (DOFRecords& kind : gathered->list.kinds) kind.width = std::max(kind.width, 0);
    list = std::move(gathered->list);
    modified = true;
    return gathered->allFit ? kSuccess : kFailure;
}

bool PODOFList::HasExtraFor(const List& records, const Flat& extra) const {
    const auto expected = std::int64_t{widthExtra} * records.kinds[kKind2].Count();
    return expected == static_cast<std::int64_t>(extra.size());
}

/// Returns false for more blocks than can be stored, and for entries that make no whole record;
/// such a list keeps its order.
bool PODOFList::GroupByBlock(List& records, Flat& extra) const {
    const bool whole = std::all_of(records.kinds.begin(), records.kinds.end(),
                                   [](const DOFRecords& kind) { return kind.IsWhole(); });
    if (!whole || records.blockCount < 1 || records.blockCount > DOFBlock::kMostBlocks)
        return false;
    // Aside, so that no record loses its extra entries when the memory does not suffice.
    std::array<DOFRecords, kKinds> grouped;
    Flat groupedExtra;
    std::vector<int> order;
    for (std::size_t kind = 0; kind < kKinds; ++kind) {
        grouped[kind] = records.kinds[kind].GroupedByBlock(records.blockCount, order);
        if (kind == kKind2 && widthExtra > 0)
            groupedExtra =
                DOFRecords::Reordered(extra, static_cast<std::size_t>(widthExtra), order);
    }
    records.kinds = std::move(grouped);
    extra = std::move(groupedExtra);
    return true;
}

// ---- handing out ----

void PODOFList::StoreCounts(const std::array<int*, kKinds>& counts) const {
    for (std::size_t kind = 0; kind < kKinds; ++kind)
        if (counts[kind] != nullptr) *counts[kind] = list.kinds[kind].Count();
}

void PODOFList::CallSizes(const Sizes& sizes) const {
    const auto size = [this](std::size_t kind) {
        return std::pair(list.kinds[kind].Count(), list.kinds[kind].width);
    };
    sizes(size(kKind1), size(kKind2), size(kKind3), size(kKind4));
}

int PODOFList::VisitRecords(Sizes sizes, int* count1, Visitor visit1, int* count2, Visitor visit2,
                            int* count3, Visitor visit3, int* count4, Visitor visit4) {
    if (!ValidateData()) return kFailure;
    StoreCounts({count1, count2, count3, count4});
    const std::array<const Visitor*, kKinds> visitors{&visit1, &visit2, &visit3, &visit4};
    try {
        CallSizes(sizes);
        const auto visited = list.kinds;  // a callable may change the list
        for (std::size_t kind = 0; kind < kKinds; ++kind) {
            if (!*visitors[kind]) return kFailure;
            visited[kind].ForEach([&](const DOFRecords::Record& record) {
                (*visitors[kind])(std::vector<int>(record.begin(), record.end()));
            });
        }
        return kSuccess;
    } catch (...) {
        return kFailure;
    }
}

int PODOFList::ExportRecords(Sizes sizes, int* highestDOF, int* count1, Records& rows1, int* count2,
                             Records& rows2, int* count3, Records& rows3, int* count4) {
    if (!ValidateData()) return kFailure;
    StoreCounts({count1, count2, count3, count4});
    try {
        CallSizes(sizes);
    } catch (...) {
        return kFailure;
    }
    int highest = 0;
    const std::array<Records*, 3> outputs{&rows1, &rows2, &rows3};
    for (std::size_t kind = 0; kind < outputs.size(); ++kind) {
        GrowRows(*outputs[kind], list.kinds[kind]);
        list.kinds[kind].ForEach([&](const DOFRecords::Record& record) {
            if (record.Owner() < GetLastBlock())
                highest = std::max({highest, record.First(), record.Last()});
        });
    }
    if (highestDOF != nullptr) *highestDOF = highest;
    return kSuccess;
}

int PODOFList::ExtractBlock(int* count4, Flat& records4, int* count2, Flat& records2, Ids& ids2,
                            Flat& extra2, int* count3, Flat& records3, Ids& ids3, int* count1,
                            Flat& records1, Ids& ids1) {
    if (!ValidateData()) return kFailure;
    if (selectedBlock == kHeaderOnly) return kSuccess;
    StoreCounts({count1, count2, count3, count4});
    if (!IsBlocked()) {
        records1 = list.kinds[kKind1].entries;
        records2 = list.kinds[kKind2].entries;
        records3 = list.kinds[kKind3].entries;
        records4 = list.kinds[kKind4].entries;
        return kSuccess;
    }
    ExtractSelected(list.kinds[kKind1], records1, &ids1);
    ExtractSelected(list.kinds[kKind2], records2, &ids2);
    ExtractSelected(list.kinds[kKind3], records3, &ids3);
    ExtractSelected(list.kinds[kKind4], records4, nullptr);
    extra2 = extraEntries;
    return kSuccess;
}

int PODOFList::GetBlockDOFCount(int block) {
    std::int64_t total = 0;
    for (const DOFRecords& kind : list.kinds)
        kind.ForEach([&](const DOFRecords::Record& record) {
            if (record.Owner() == block) total += record.RangeLength();
        });
    return Clamped(total);
}

int PODOFList::GetDistinctDOFCount() {
    if (list.distinctCount > kUnknown) return list.distinctCount;
    std::int64_t total = 0;
    for (const std::size_t kind : {kKind1, kKind2, kKind3})
        total += list.kinds[kind].DistinctDOFs(GetLastBlock());
    list.distinctCount = Clamped(total);
    return list.distinctCount;
}

// ---- storing ----

int PODOFList::CopyFrom(std::shared_ptr<IPOBase> source) {
    // The extra entries stay behind on purpose: they belong to the object they were given to.
    return CopyFromSameClass<PODOFList>(source, [this](const PODOFList& other) {
        list = other.list;
        selectedBlock = other.selectedBlock;
    });
}

void PODOFList::ClearData() {
    list = List();
    ClearBookmarks();
}

bool PODOFList::ValidateData() {
    const auto known = [](const DOFRecords& kind) { return kind.width >= 0; };
    const auto filled = [](const DOFRecords& kind) { return !kind.entries.empty(); };
    if (!std::all_of(list.kinds.begin(), list.kinds.end(), known)) return false;
    return IsBlocked() || std::any_of(list.kinds.begin(), list.kinds.end(), filled);
}

void PODOFList::CheckBeforeWrite() {
    POBase::CheckBeforeWrite();
    // A list of which only a part was loaded would erase the other blocks, in either form.
    if (list.isPart) RaiseSizeMismatch();
    if (!IsBlocked()) return;
    if (RequireStream().IsTextMode() || widthExtra < 0) RaiseSizeMismatch();
    if (!HasExtraFor(list, extraEntries)) RaiseSizeMismatch();
    const bool uncounted = std::all_of(list.kinds.begin(), list.kinds.end(),
                                       [](const DOFRecords& kind) { return kind.counts.empty(); });
    if (uncounted && !GroupByBlock(list, extraEntries)) RaiseSizeMismatch();
}

void PODOFList::EndRead() {
    POBase::EndRead();
    if (list.blockCount < 0) list.blockCount = list.BlockCountFromRecords();
    list.lastBlock = GetLastBlock();
}

void PODOFList::SerializeData(IStreamer::EDirection direction) {
    if (direction == IStreamer::eRead) {
        // Those of what was held before belong to no record of what is read.
        widthExtra = 0;
        extraEntries.clear();
    }
    auto& [kind1, kind2, kind3, kind4] = list.kinds;
    auto& [total1, total2, total3, total4] = list.totals;
    struct {
        int &distinctCount, &header1;
        int &total1, &total2, &total3, &total4;
        int &width1, &width2, &width3, &width4, &widthExtra;
        Flat &records1, &records2, &records3, &records4;
    } body{list.distinctCount, list.header1,  total1,       total2,      total3,     total4,
           kind1.width,        kind2.width,   kind3.width,  kind4.width, widthExtra, kind1.entries,
           kind2.entries,      kind3.entries, kind4.entries};
    if (!IsBlocked()) return SerializeBody<DOFListLayout>(direction, body);
    SerializeBody<BlockedDOFListHeader>(direction, body);
    if (direction == IStreamer::eWrite) return WriteBlocks();
    list.isPart = true;
    if (selectedBlock > kHeaderOnly) ReadSelectedBlock();
}

void PODOFList::WriteBlocks() {
    ResetIndex();
    SerializeIndex(IStreamer::eWrite, list.blockCount, DOFBlock::kBookmarkWidth);
    std::array<std::int64_t, DOFBlock::kArrays> begin{};  // of the block, in records
    for (std::size_t block = 0; block < static_cast<std::size_t>(list.blockCount); ++block) {
        SetBookmark(std::to_string(block), 0);
        DOFBlock::KindCounts counts{};
        for (std::size_t k = 0; k < kKinds; ++k) counts[k] = list.kinds[k].counts[block];
        std::array<Span<const int>, DOFBlock::kArrays> arrays;
        for (std::size_t k = 0; k < DOFBlock::kArrays; ++k) {
            const bool isExtra = k == kKinds;
            const Flat& entries = isExtra ? extraEntries : list.kinds[k].entries;
            const std::int64_t width = isExtra ? widthExtra : list.kinds[k].width;
            const std::int64_t count = counts[isExtra ? kKind2 : k];
            arrays[k] = {entries.data() + width * begin[k],
                         static_cast<std::size_t>(width * count)};
            begin[k] += count;
        }
        DOFBlock::Write(RequireGoodStream(), counts, arrays);
    }
    SerializeIndex(IStreamer::eWrite, -1, 0);
}

void PODOFList::ReadSelectedBlock() {
    SerializeIndex(IStreamer::eRead, -1, 0);
    list.blockCount = GetBookmarkCount();
    list.isPart = list.blockCount != 1;
    POStreamIO& input = RequireGoodStream();
    input.Seek(static_cast<std::uint64_t>(GetBookmark(std::to_string(selectedBlock))));

    const DOFBlock::Counts counts = DOFBlock::ReadCounts(input);
    const DOFBlock::Widths widths{list.kinds[kKind1].width, list.kinds[kKind2].width,
                                  list.kinds[kKind3].width, list.kinds[kKind4].width, widthExtra};
    // Nothing is resized before it is known that the file can hold it.
    if (DOFBlock::FirstUnfit(counts, widths, input.InputLeft())) RaiseSizeMismatch();
    auto arrays = DOFBlock::ReadArrays(input, counts, widths);
    for (std::size_t k = 0; k < kKinds; ++k) list.kinds[k].entries = std::move(arrays[k]);
    extraEntries = std::move(arrays[kKinds]);
}
