// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>

#include "tool/rules/RulesFor.h"

namespace fieldstore::tool {
namespace {

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

}  // namespace

template <>
std::unique_ptr<Rules> MakeRules<PortCircuitDOFsBody>(Findings& findings) {
    return std::make_unique<PortCircuitDOFsRules>(findings);
}

}  // namespace fieldstore::tool
