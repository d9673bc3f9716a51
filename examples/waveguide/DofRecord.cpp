// SPDX-License-Identifier: Apache-2.0
#include "DofRecord.h"

#include <algorithm>

namespace waveguide {
namespace {

/// The order of the record kinds in the list.
constexpr DofKind kinds[] = {DofKind::Corner, DofKind::EdgeNode, DofKind::Fixed};

/// A range record is (partition, first node, last node, identifier).
constexpr int rangeWidth = 4;
constexpr int partitionWidth = 5;

/// Hands out stored records one by one, as the list asks for them.
IPODOFList::Source SourceOf(const IPODOFList::Records& records) {
    return [&records, next = std::size_t{0}](std::vector<int>& record) mutable {
        if (next == records.size()) return false;
        record = records[next++];
        return true;
    };
}

/// Runs of nodes of one kind with successive numbers and the same owner. Their identifiers count on
/// from `firstId`: the library takes ranges of one identifier for one that is shared, of whatever
/// kind they are.
IPODOFList::Records RangesOf(const Space& space, const SpatialTree& tree, DofKind kind,
                             std::size_t firstId) {
    IPODOFList::Records records;
    for (std::size_t n = 0; n < space.positions.size(); ++n) {
        if (KindOf(space, n) != kind) continue;
        const int node = static_cast<int>(n);
        const int owner = tree.LeafOf(space.positions[n]);
        if (!records.empty() && records.back()[0] == owner && records.back()[2] == node - 1) {
            records.back()[2] = node;
        } else {
            records.push_back({owner, node, node, static_cast<int>(firstId + records.size())});
        }
    }
    return records;
}

IPODOFList::Records PartitionsOf(const SpatialTree& tree) {
    IPODOFList::Records records;
    for (int leaf = 0; leaf < tree.LeafCount(); ++leaf) {
        const auto found = tree.Items().find(tree.LeafCount() - 1 + leaf);
        const std::size_t elements = found == tree.Items().end() ? 0 : found->second.size();
        records.push_back({leaf, -1, -1, static_cast<int>(elements), leaf});
    }
    return records;
}

int CountNodes(const IPODOFList::Records& ranges) {
    int count = 0;
    for (const auto& range : ranges) count += range[2] - range[1] + 1;
    return count;
}

/// Records of a block come without their last entry, the identifier.
std::vector<DofRange> Ranges(const std::vector<int>& flat) {
    constexpr std::size_t width = rangeWidth - 1;
    std::vector<DofRange> ranges;
    for (std::size_t i = 0; i + width <= flat.size(); i += width)
        ranges.push_back({flat[i], flat[i + 1], flat[i + 2]});
    return ranges;
}

DofBlock Extract(IPODOFList& list, int block) {
    int count = 0;
    std::array<std::vector<int>, 4> flat;
    std::vector<int> extra;
    IPODOFList::Ids ids1;
    IPODOFList::Ids ids2;
    IPODOFList::Ids ids3;
    list.ExtractBlock(&count, flat[3], &count, flat[1], ids2, extra, &count, flat[2], ids3, &count,
                      flat[0], ids1);
    DofBlock result;
    for (std::size_t kind = 0; kind < 3; ++kind) result.ranges[kind] = Ranges(flat[kind]);
    constexpr std::size_t width = partitionWidth - 1;
    for (std::size_t i = 0; i + width <= flat[3].size(); i += width)
        result.partitions.push_back({flat[3][i], flat[3][i + 3]});
    // Two partitions share a block.
    result.dofCounts = {list.GetBlockDOFCount(2 * block), list.GetBlockDOFCount(2 * block + 1)};
    return result;
}

/// Reads one block alone; the list then also knows how many blocks there are.
std::shared_ptr<IPODOFList> LoadBlock(const Store& store, int block) {
    auto list = store.NewObject<IPODOFList>();
    list->SetSelectedBlock(block);
    store.Load(list);
    return list;
}

}  // namespace

DofKind KindOf(const Space& space, std::size_t node) {
    if (space.onWall[node]) return DofKind::Fixed;
    return node < space.cornerCount ? DofKind::Corner : DofKind::EdgeNode;
}

void WriteDofMap(const Store& store, const Space& space) {
    auto map = store.ForWriting<IPODOFMap>();
    map->SetResolveFunction([&space] {
        IPODOFMap::ResolveResult result;
        result.second = FreeNodes(space);
        for (std::size_t node = 0; node < space.positions.size(); ++node)
            result.first.push_back(static_cast<IPODOFMap::EDOFType>(KindOf(space, node)));
        return result;
    });
    // Loads the stored map; only when there is none, resolves it and commits the result.
    map->GetDOFMap();
    // The call above tells nothing of a failed commit, so prove that the map is there now.
    store.Load(map);
}

void WriteDofList(const Store& store, const Space& space, const SpatialTree& tree) {
    std::array<IPODOFList::Records, 4> records;
    std::size_t id = 0;
    for (std::size_t kind = 0; kind < 3; ++kind) {
        records[kind] = RangesOf(space, tree, kinds[kind], id);
        id += records[kind].size();
    }
    records[3] = PartitionsOf(tree);

    // The list files entry 3 as total 1, entry 1 as total 2, entry 2 as total 3, entry 0 as
    // total 4.
    const std::array<int, 4> totals = {static_cast<int>(space.positions.size()),
                                       CountNodes(records[1]), CountNodes(records[2]),
                                       CountNodes(records[0])};
    const auto size = [&records](std::size_t kind) {
        return static_cast<int>(records[kind].size());
    };
    auto list = store.ForWriting<IPODOFList>();
    list->SetSelectedBlock(-1);
    // No partition is the last block's own, so that all nodes are counted.
    list->SetRecords(tree.LeafCount(), space.order, totals,
                     {rangeWidth, rangeWidth, rangeWidth, partitionWidth}, size(0),
                     SourceOf(records[0]), size(1), SourceOf(records[1]), size(2),
                     SourceOf(records[2]), size(3), SourceOf(records[3]), {});
    store.Commit(list);
}

DofMapRecord ReadDofMap(const Store& store) {
    auto map = store.Loaded<IPODOFMap>();
    DofMapRecord record;
    record.rows = map->GetDOFMap();
    record.transposed = map->GetTransposedDOFMap();
    for (const IPODOFMap::EDOFType type : map->GetDOFTypes())
        record.types.push_back(static_cast<int>(type));
    return record;
}

DofListRecord ReadDofList(const Store& store) {
    auto list = LoadBlock(store, 0);
    DofListRecord record;
    record.totals = {list->GetTotal1(), list->GetTotal2(), list->GetTotal3(), list->GetTotal4()};
    record.distinctCount = list->GetDistinctDOFCount();
    const int blockCount = list->GetBlockCount();
    record.blocks.push_back(Extract(*list, 0));
    for (int block = 1; block < blockCount; ++block)
        record.blocks.push_back(Extract(*LoadBlock(store, block), block));
    return record;
}

}  // namespace waveguide
