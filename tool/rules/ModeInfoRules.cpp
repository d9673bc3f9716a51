// SPDX-License-Identifier: Apache-2.0
#include <cstdint>
#include <map>
#include <memory>
#include <set>

#include "tool/rules/RulesFor.h"

namespace fieldstore::tool {
namespace {

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
                findings.Note(offset, "an earlier body has these modes, too, and a load prefers it",
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

}  // namespace

template <>
std::unique_ptr<Rules> MakeRules<ModeInfoBody>(Findings& findings) {
    return std::make_unique<ModeInfoRules>(findings);
}

}  // namespace fieldstore::tool
