// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <memory>
#include <set>
#include <string>

#include "tool/rules/RulesFor.h"

namespace fieldstore::tool {
namespace {

class AssemblyInfoRules : public RulesFor<AssemblyInfoRules, AssemblyInfoBody> {
public:
    using RulesFor::RulesFor;
    void Check(const AssemblyInfoBody& body, const Layout& layout) {
        std::set<std::int64_t> own;
        for (const int value : body.elements) {
            const auto id = std::abs(std::int64_t{value});
            own.insert(id);
            if (!seen.insert(id).second)
                findings.Problem(layout.Of("elements"), "element comes twice, which a load refuses",
                                 ": " + Text(id));
        }
        CheckLists(body.nodes1, "nodes1", layout, own, 0);
        CheckLists(body.nodes2, "nodes2", layout, own, 1);
        CheckLists(body.nodes3, "nodes3", layout, own, 2);
    }

private:
    void CheckLists(const std::map<int, Ints>& lists, const std::string& name, const Layout& layout,
                    const std::set<std::int64_t>& own, std::size_t list) {
        if (lists.size() < own.size())
            findings.Problem(layout.Of(name), "elements lack a node list", " in " + name);
        ForEntries(lists, layout, name, [&](const auto& entry, auto offset) {
            if (own.count(std::abs(std::int64_t{entry.first})) == 0)
                findings.Problem(offset, "node list is of no element",
                                 " in " + name + ": " + Text(entry.first));
            std::map<int, int> counts;
            for (const int node : entry.second) ++counts[node];
            for (const auto& [node, count] : counts) {
                if (basisCounts[list].emplace(node, count).first->second != count)
                    findings.Problem(
                        offset, "elements disagree on the basis functions of a node",
                        " in " + name + ": node " + Text(node) + ", element " + Text(entry.first));
            }
        });
    }

    std::set<std::int64_t> seen;
    std::array<std::map<int, int>, 3> basisCounts;
};

}  // namespace

template <>
std::unique_ptr<Rules> MakeRules<AssemblyInfoBody>(Findings& findings) {
    return std::make_unique<AssemblyInfoRules>(findings);
}

}  // namespace fieldstore::tool
