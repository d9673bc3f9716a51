// SPDX-License-Identifier: Apache-2.0
#include "objects/POBinaryTree.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <numeric>
#include <stdexcept>
#include <utility>

#include "core/Messages.h"
#include "core/ResultCode.h"

using namespace fieldstore;

Span<const int> POBinaryTree::Tree::Items(int node) const {
    return nodeItems.Find(node).value_or(Span<const int>());
}

int POBinaryTree::Tree::LeafTotal(int leaf) const {
    std::uint32_t total = 0;  // wraps like the signed sum, but defined
    const auto index = static_cast<std::size_t>(leaf);
    for (const Counters* counts :
         {&leafCounts1, &leafCounts2, &leafCounts3, &leafCounts4, &leafCounts5})
        if (index < counts->size()) total += static_cast<std::uint32_t>((*counts)[index]);
    return static_cast<int>(total);
}

int POBinaryTree::SetTree(const Counters& leafCounts1, const Counters& leafCounts2,
                          const Counters& leafCounts3, const Counters& leafCounts4,
                          const Counters& leafCounts5, const std::map<int, std::set<int>>& nodeSets,
                          const std::map<int, std::vector<int>>& mappedItems, int tag, int idCount,
                          const std::vector<int>& auxiliaryList, int levelCount, int leafCount) {
    auto filled = std::make_shared<Tree>(Tree{tag,
                                              idCount,
                                              levelCount,
                                              leafCount,
                                              {},
                                              {},
                                              leafCounts1,
                                              leafCounts2,
                                              leafCounts3,
                                              leafCounts4,
                                              leafCounts5,
                                              auxiliaryList});
    for (const auto& [node, items] : nodeSets)
        filled->nodeItems.Add(node, std::vector<int>(items.begin(), items.end()));
    for (const auto& [key, items] : mappedItems) filled->mappedItems.Add(key, items);
    tree = std::move(filled);
    modified = true;
    return kSuccess;
}

int POBinaryTree::VisitTree(std::vector<int>& ids, NodeVisitor onNode, LeafVisitor onLeaf,
                            MappedVisitor onMapped) {
    const std::shared_ptr<const Tree> keptAlive = tree;  // a callback may replace it
    const Tree& visited = *keptAlive;
    const int internalLevels = visited.levelCount > 1 ? visited.levelCount - 1 : 0;
    constexpr int mostLevels = 31;  // 2^31 - 1 internal nodes
    const std::int64_t internalNodes = (std::int64_t{1} << std::min(internalLevels, 32)) - 1;
    if (internalLevels > mostLevels ||
        internalNodes + visited.leafCount > std::numeric_limits<int>::max())
        throw std::runtime_error(messages::kInvalidLevelCount);

    if (visited.mappedItems.empty()) {
        const auto root = visited.nodeItems.Find(kRootList);
        if (root) ids.assign(root->begin(), root->end());
    } else {
        ids.resize(static_cast<std::size_t>(std::max(visited.idCount, 0)));
        std::iota(ids.begin(), ids.end(), 0);
        for (const auto& [key, items] : visited.mappedItems) onMapped(key, items.ToVector());
    }

    int node = 0;
    for (int level = 0; level < internalLevels; ++level) {
        const int width = static_cast<int>(std::int64_t{1} << level);
        for (int index = 0; index < width; ++index, ++node)
            onNode(level, index, visited.Items(node).ToVector());
    }
    for (int leaf = 0; leaf < visited.leafCount; ++leaf, ++node)
        onLeaf(leaf, visited.LeafTotal(leaf), visited.Items(node).ToVector());
    return kSuccess;
}

int POBinaryTree::CopyFrom(std::shared_ptr<IPOBase> source) {
    return CopyFromSameClass<POBinaryTree>(source, [this](const POBinaryTree& other) {
        auto copy = std::make_shared<Tree>(*other.tree);
        // The identity list of a copy is as long as the tag says; the source's own length stays
        // behind on purpose.
        copy->idCount = copy->tag;
        tree = std::move(copy);
    });
}

void POBinaryTree::SerializeData(IStreamer::EDirection direction) {
    SerializeBody<BinaryTreeLayout>(direction, *tree);
}
