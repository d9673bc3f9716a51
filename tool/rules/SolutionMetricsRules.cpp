// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <utility>

#include "objects/ResolveFunctions.h"
#include "tool/rules/RulesFor.h"

namespace fieldstore::tool {
namespace {

class SolutionMetricsRules : public RulesFor<SolutionMetricsRules, SolutionMetricsBody> {
public:
    using RulesFor::RulesFor;
    void Check(const SolutionMetricsBody& body, const Layout& layout) {
        CheckDefinitions(body, layout);
        ForEntries(body.values, layout, "values", [&](const auto& entry, auto offset) {
            const auto type = entry.first.first;
            const auto where = " for type " + Text(type) + ", index " +
                               IdText(entry.first.second.first) + ", entity " +
                               IdText(entry.first.second.second);
            const auto definition = body.definitions.find(type);
            if (definition == body.definitions.end())
                return findings.Problem(offset, "values have no definition", where);
            if (entry.second.size() != static_cast<std::uint32_t>(definition->second.first))
                findings.Problem(offset, "values are not as many as their definition says",
                                 where + ": " + Text(entry.second.size()));
        });
        ForEntries(body.positions, layout, "positions", [&](const auto& entry, auto offset) {
            if (entry.second.size() < 3)
                findings.Problem(offset, "position has fewer than three values",
                                 " at node " + IdText(entry.first));
            nodes.insert(entry.first);
        });
        ForEntries(body.edges, layout, "edges", [&](const auto& entry, auto offset) {
            if (edgeSize == 0) edgeSize = entry.second.size();
            if (entry.second.size() != edgeSize)
                findings.Problem(offset, "edges differ in their number of nodes",
                                 " at edge " + IdText(entry.first));
            for (const int node : entry.second) used.emplace(node, offset);
        });
        ForEntries(body.neighbors, layout, "neighbors", [&](const auto& entry, auto offset) {
            used.emplace(entry.first, offset);
            auto& known = neighbors[entry.first];
            known.insert(entry.second.begin(), entry.second.end());
            offsets.emplace(entry.first, offset);
        });
    }
    void Finish() override {
        for (const auto& [node, offset] : used)
            if (!nodes.empty() && nodes.count(node) == 0)
                findings.Problem(offset, "node has no position", ": " + IdText(node));
        for (const auto& [node, set] : neighbors) {
            for (const int other : set) {
                const auto back = neighbors.find(other);
                if (back == neighbors.end() || back->second.count(node) == 0)
                    findings.Problem(offsets[node], "neighbours are not mutual",
                                     ": " + IdText(node) + " names " + IdText(other) +
                                         ", which does not name it");
            }
        }
        if (neighbors.empty() && edgeSize == 0)
            findings.Problem(0, "there is neither an edge nor a neighbour, which a load refuses");
        if (neighbors.empty() && edgeSize != 0 && edgeSize != 2)
            findings.Problem(0,
                             "edges of other than two nodes give no neighbours, which a load "
                             "refuses");
    }

private:
    void CheckDefinitions(const SolutionMetricsBody& body, const Layout& layout) {
        const bool addsNothing = body.definitions.empty() && body.values.empty() &&
                                 body.neighbors.empty() && body.positions.empty() &&
                                 body.edges.empty();
        if (addsNothing) return;
        if (definitions.empty())
            definitions = body.definitions;
        else if (definitions != body.definitions)
            findings.Problem(layout.Of("definitions"),
                             "definitions differ from those of the bodies before");
        ForEntries(body.definitions, layout, "definitions", [&](const auto& entry, auto offset) {
            const auto [count, function] = entry.second;
            const auto where = " for type " + Text(entry.first);
            if (ResolveFunctionTable().count(function) == 0)
                findings.Problem(offset, "resolve function is unknown",
                                 where + ": " + Text(function));
            if (entry.first < 0) findings.Problem(offset, "type is negative", where);
            if (count == 0)
                findings.Note(offset, "definition is of values without a component", where);
        });
    }

    std::map<int, std::pair<int, int>> definitions;
    std::set<int> nodes;
    std::map<int, std::uint64_t> used;  // nodes that something refers to
    std::map<int, std::set<int>> neighbors;
    std::map<int, std::uint64_t> offsets;
    std::size_t edgeSize = 0;
};

}  // namespace

template <>
std::unique_ptr<Rules> MakeRules<SolutionMetricsBody>(Findings& findings) {
    return std::make_unique<SolutionMetricsRules>(findings);
}

}  // namespace fieldstore::tool
