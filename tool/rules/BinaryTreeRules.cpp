// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "tool/rules/RulesFor.h"

namespace fieldstore::tool {
namespace {

class BinaryTreeRules : public RulesFor<BinaryTreeRules, BinaryTreeBody> {
public:
    using RulesFor::RulesFor;
    void Check(const BinaryTreeBody& body, const Layout& layout) {
        constexpr int mostLevels = 31;  // more do not fit node numbers
        if (body.levelCount < 0 || body.levelCount > mostLevels)
            findings.Problem(layout.Of("levelCount"), "number of levels is impossible",
                             ": " + Text(body.levelCount));
        if (body.leafCount < 0 || body.idCount < 0)
            findings.Problem(layout.begin, "number of leaves or ids is negative");
        const std::array<const std::vector<std::uint64_t>*, 5> counters{
            &body.leafCounts1, &body.leafCounts2, &body.leafCounts3, &body.leafCounts4,
            &body.leafCounts5};
        for (std::size_t i = 0; i < counters.size(); ++i) {
            if (body.leafCount >= 0 &&
                counters[i]->size() != static_cast<std::size_t>(body.leafCount))
                findings.Problem(layout.Of("leafCounts" + Text(i + 1)),
                                 "counters and leaves differ in number",
                                 ": " + Text(counters[i]->size()) + " and " + Text(body.leafCount));
        }
        if (body.nodeItems.empty())
            findings.Problem(layout.Of("nodeItems"), "tree has no node, which a load refuses");
        const int levels = std::clamp(body.levelCount, 1, mostLevels);
        const std::int64_t nodes = (std::int64_t{1} << (levels - 1)) - 1 + body.leafCount;
        ForEntries(body.nodeItems, layout, "nodeItems", [&](const auto& entry, auto offset) {
            if (entry.first < -1 || entry.first >= nodes)
                findings.Problem(offset, "node lies outside the tree", ": " + Text(entry.first));
            if (!std::is_sorted(entry.second.begin(), entry.second.end()))
                findings.Problem(offset, "items do not ascend", " in node " + Text(entry.first));
        });
    }
};

}  // namespace

template <>
std::unique_ptr<Rules> MakeRules<BinaryTreeBody>(Findings& findings) {
    return std::make_unique<BinaryTreeRules>(findings);
}

}  // namespace fieldstore::tool
