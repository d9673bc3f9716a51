// SPDX-License-Identifier: Apache-2.0
#include "tool/Rules.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "objects/ResolveFunctions.h"

namespace fieldstore::tool {
namespace {

template <typename T>
std::string Text(const T& value) {
    return std::to_string(value);
}
std::string IdText(int stored) {
    return std::to_string(static_cast<std::uint32_t>(stored));
}

/// Rules of one kind of body: the function Check() of the derived class gets the body itself.
template <typename Derived, typename Fields>
class RulesFor : public Rules {
public:
    explicit RulesFor(Findings& target) : findings(target) {}
    void Body(const AnyBody& any, const Layout& layout) override {
        findings.BeginBody();
        for (const FieldPlace& place : layout.fields) {
            const std::string field = " in " + std::string(place.name);
            for (const auto offset : place.repeated)
                findings.Problem(offset,
                                 "key stands twice; a load keeps one of the values" + field);
            for (const auto offset : place.disordered)
                findings.Problem(offset, "entry is out of order" + field);
        }
        for (std::size_t i = 0; i < layout.oddities.size(); ++i)
            findings.Problem(layout.oddityOffsets[i], layout.oddities[i]);
        const auto& body = std::get<Fields>(any);
        FiniteCheck finite{findings, layout};
        Fields::Visit(body, finite);
        static_cast<Derived&>(*this).Check(body, layout);
    }

protected:
    Findings& findings;

private:
    /// Visitor that looks for values that are no finite numbers.
    struct FiniteCheck {
        Findings& findings;
        const Layout& layout;
        template <typename T>
        void operator()(const Field& field, const T& value) {
            std::size_t count = 0;
            ForNumbers(value, [&count](const auto& number) {
                using Number = std::decay_t<decltype(number)>;
                if constexpr (kIsComplex<Number>)
                    count += std::isfinite(number.real()) && std::isfinite(number.imag()) ? 0U : 1U;
                else if constexpr (std::is_floating_point_v<Number>)
                    count += std::isfinite(number) ? 0U : 1U;
            });
            if (count != 0)
                findings.Note(layout.Of(field.name), "values are not finite numbers",
                              ": " + Text(count) + " in " + std::string(field.name));
        }
    };
};

/// Calls `visit(entry, offset)` for the entries of a field.
template <typename Container, typename Visit>
void ForEntries(const Container& container, const Layout& layout, std::string_view field,
                const Visit& visit) {
    std::size_t number = 0;
    for (const auto& entry : container) visit(entry, layout.Of(field, number++));
}

class ModeInfoRules : public RulesFor<ModeInfoRules, ModeInfoBody> {
public:
    using RulesFor::RulesFor;
    void Check(const ModeInfoBody& body, const Layout& layout) {
        ForEntries(body.modes, layout, "modes", [this](const auto& entry, std::uint64_t offset) {
            const auto [frequency, port] = entry.first;
            const auto where = " at frequency " + Text(frequency) + ", port " + Text(port);
            auto& ports = portsAt[frequency];
            if (ports.empty()) offsets[frequency] = offset;
            if (!ports.insert(port).second)
                findings.Note(offset, "modes stand in an earlier body, which a load prefers",
                              where);
            bool square = true;
            for (const auto& [head, data] : entry.second) {
                if (head.first < 0) findings.Problem(offset, "mode has a negative group", where);
                if (data.size() % 2 != 0)
                    findings.Problem(offset, "mode has an odd number of voltages and currents",
                                     where);
                square = square && data.size() / 2 == entry.second.size();
            }
            if (!square)
                findings.Note(offset, "voltages per mode and modes differ in number", where);
        });
    }
    void Finish() override {
        for (const auto& [frequency, ports] : portsAt) {
            if (ports.size() != portsAt.begin()->second.size())
                findings.Problem(offsets[frequency], "frequencies differ in their number of ports",
                                 " at frequency " + Text(frequency) + ": " + Text(ports.size()) +
                                     ", first one: " + Text(portsAt.begin()->second.size()));
        }
    }

private:
    std::map<std::int64_t, std::set<int>> portsAt;
    std::map<std::int64_t, std::uint64_t> offsets;
};

class DOFMapRules : public RulesFor<DOFMapRules, DOFMapBody> {
public:
    using RulesFor::RulesFor;
    void Check(const DOFMapBody& body, const Layout& layout) {
        for (std::size_t row = 0; row < body.rows.size(); ++row) {
            for (const auto& [column, weight] : body.rows[row])
                if (column < 0 || static_cast<std::size_t>(column) >= body.rows.size())
                    findings.Problem(layout.Of("rows", row), "column lies outside the rows",
                                     " in row " + Text(row) + ": " + Text(column));
        }
        if (body.types.size() != body.rows.size())
            findings.Note(layout.Of("types"), "types and rows differ in number",
                          ": " + Text(body.types.size()) + " and " + Text(body.rows.size()));
    }
};

class CircuitMatricesRules : public RulesFor<CircuitMatricesRules, CircuitMatricesBody> {
public:
    using RulesFor::RulesFor;
    void Check(const CircuitMatricesBody& body, const Layout& layout) {
        ForEntries(body.matrices, layout, "matrices", [this](const auto& entry, auto offset) {
            const auto where =
                " at frequency " + Text(entry.first.first) + ", type " + Text(entry.first.second);
            const auto count = entry.second.size();
            const auto dimension =
                static_cast<std::size_t>(std::sqrt(static_cast<double>(count) + 0.5));
            if (dimension * dimension != count)
                findings.Problem(offset, "matrix is not square",
                                 where + ": " + Text(count) + " values");
            if (!seen.insert(entry.first).second)
                findings.Note(offset, "matrix replaces that of an earlier body", where);
        });
    }

private:
    std::set<std::pair<std::int64_t, int>> seen;
};

class MeshTreeRules : public RulesFor<MeshTreeRules, MeshTreeBody> {
public:
    using RulesFor::RulesFor;
    void Check(const MeshTreeBody& body, const Layout& layout) {
        ForEntries(body.idPairs, layout, "idPairs", [this](const auto& pair, auto offset) {
            if (pair.first > pair.second)
                findings.Problem(offset, "pair has its larger id first, so no query finds it",
                                 ": " + Text(pair.first) + ", " + Text(pair.second));
        });
    }
};

/// What holds for the records of a kind in either form of a DOF list.
void CheckRecords(Findings& findings, std::uint64_t offset, const std::string& name,
                  const Ints& entries, int width) {
    constexpr int leastWidth = 3;  // owner, first, last
    if (width < 0) return findings.Problem(offset, "width of records is negative", " of " + name);
    if (width == 0 ? !entries.empty() : entries.size() % static_cast<std::size_t>(width) != 0)
        return findings.Problem(offset, "entries are no whole number of records", " in " + name);
    if (width < leastWidth) return;
    for (std::size_t i = 0; i < entries.size(); i += static_cast<std::size_t>(width)) {
        if (entries[i + 1] >= 0 && entries[i + 2] >= 0 && entries[i + 2] < entries[i + 1])
            findings.Problem(
                offset, "range of a record ends before it begins",
                " in " + name + ", record " + Text(i / static_cast<std::size_t>(width)));
    }
}

class DOFListRules : public RulesFor<DOFListRules, DOFListBody> {
public:
    using RulesFor::RulesFor;
    void Check(const DOFListBody& body, const Layout& layout) {
        CheckRecords(findings, layout.Of("records4"), "records4", body.records4, body.width4);
        CheckRecords(findings, layout.Of("records2"), "records2", body.records2, body.width2);
        CheckRecords(findings, layout.Of("records3"), "records3", body.records3, body.width3);
        CheckRecords(findings, layout.Of("records1"), "records1", body.records1, body.width1);
        if (body.records1.empty() && body.records2.empty() && body.records3.empty() &&
            body.records4.empty())
            findings.Problem(layout.begin, "list holds no record, which a load refuses");
    }
};

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
                        findings.Problem(offset, "record stands in a block that is not its owner's",
                                         " in " + name + ": owner " + Text((*arrays[k])[i]));
            }
        });
    }
};

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

class PortCircuitDOFsRules : public RulesFor<PortCircuitDOFsRules, PortCircuitDOFsBody> {
public:
    using RulesFor::RulesFor;
    void Check(const PortCircuitDOFsBody& body, const Layout& layout) {
        const std::int64_t ports = body.portDOFCount;
        const std::int64_t circuits = std::int64_t{body.circuitDOFCount1} + body.circuitDOFCount2;
        const bool wanted =
            body.portDOFCount > 0 || body.circuitDOFCount1 > 0 || body.circuitDOFCount2 > 0;
        if (wanted == body.dofTable.empty())
            findings.Problem(layout.Of("dofTable"),
                             "counts and table do not go together: one is "
                             "empty, which a load refuses");
        if (std::min({body.portDOFCount, body.offsetDOFCount, body.circuitDOFCount1,
                      body.circuitDOFCount2}) < 0)
            findings.Problem(layout.begin, "count is negative");
        CheckPositions(body, layout, 0, ports, "port");
        CheckPositions(body, layout, ports + body.offsetDOFCount, circuits, "circuit");
    }

private:
    /// Gaps of the table, found by going through what it has: counts may be large.
    void CheckPositions(const PortCircuitDOFsBody& body, const Layout& layout, std::int64_t begin,
                        std::int64_t count, const std::string& what) {
        std::int64_t next = begin;
        for (const auto& entry : body.dofTable) {
            if (entry.first < next) continue;
            if (entry.first > next || next >= begin + count) break;
            ++next;
        }
        if (next < begin + count && !body.dofTable.empty())
            findings.Problem(layout.Of("dofTable"), "table lacks a degree of freedom",
                             " of a " + what + ": position " + Text(next));
    }
};

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

void Findings::Add(std::uint64_t offset, const std::string& rule, const std::string& detail,
                   bool problem) {
    if (problem) ++problems;
    Rule& known = rules[rule];
    known.problem = problem;
    if (known.count++ < limit)
        shown.push_back({offset, body, problem, rule + detail});
    else if (known.count == limit + 1)
        known.firstHidden = offset;
}

std::vector<Finding> Findings::List() const {
    auto list = shown;
    for (const auto& [text, rule] : rules) {
        if (rule.count > limit)
            list.push_back(
                {rule.firstHidden, 0, rule.problem,
                 text + ": " + std::to_string(rule.count - limit) + " more from here on"});
    }
    return list;
}

std::unique_ptr<Rules> RulesOf(std::size_t kind, Findings& findings) {
    using Make = std::unique_ptr<Rules> (*)(Findings&);
    const auto make = [](auto* type) -> Make {
        using Type = std::remove_pointer_t<decltype(type)>;
        return [](Findings& target) -> std::unique_ptr<Rules> {
            return std::make_unique<Type>(target);
        };
    };
    static const std::array<Make, std::variant_size_v<AnyBody>> makers{
        make(static_cast<ModeInfoRules*>(nullptr)),
        make(static_cast<DOFMapRules*>(nullptr)),
        make(static_cast<CircuitMatricesRules*>(nullptr)),
        make(static_cast<MeshTreeRules*>(nullptr)),
        make(static_cast<DOFListRules*>(nullptr)),
        make(static_cast<BlockedDOFListRules*>(nullptr)),
        make(static_cast<BinaryTreeRules*>(nullptr)),
        make(static_cast<PortCircuitDOFsRules*>(nullptr)),
        make(static_cast<SolutionMetricsRules*>(nullptr)),
        make(static_cast<AssemblyInfoRules*>(nullptr))};
    return makers[kind](findings);
}

}  // namespace fieldstore::tool
