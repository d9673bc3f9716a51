// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>
#include <cstddef>
#include <memory>
#include <string>

#include "objects/DOFBlock.h"
#include "tool/rules/DOFRecords.h"
#include "tool/rules/RulesFor.h"

namespace fieldstore::tool {
namespace {

class BlockedDOFListRules : public RulesFor<BlockedDOFListRules, BlockedDOFListBody> {
public:
    using RulesFor::RulesFor;
    void Check(const BlockedDOFListBody& body, const Layout& layout) {
        constexpr std::array names{"records1", "records2", "records3", "records4"};
        const int last = static_cast<int>(body.blocks.size()) - 1;
        ForEntries(body.blocks, layout, "blocks", [&](const auto& entry, auto offset) {
            const auto arrays = BlockedDOFListBody::Arrays(entry.second);
            for (std::size_t k = 0; k < names.size(); ++k) {
                const std::string name = "block " + Text(entry.first) + ", " + names[k];
                CheckRecords(findings, offset, name, *arrays[k], body.Widths()[k]);
                const auto width = static_cast<std::size_t>(std::max(body.Widths()[k], 1));
                for (std::size_t i = 0; i < arrays[k]->size(); i += width)
                    if (std::clamp((*arrays[k])[i] / 2, 0, last) != entry.first)
                        findings.Problem(offset, "record is in a block that is not its owner's",
                                         " in " + name + ": owner " + Text((*arrays[k])[i]));
            }
        });
    }
};

}  // namespace

template <>
std::unique_ptr<Rules> MakeRules<BlockedDOFListBody>(Findings& findings) {
    return std::make_unique<BlockedDOFListRules>(findings);
}

}  // namespace fieldstore::tool
