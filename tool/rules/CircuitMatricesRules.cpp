// SPDX-License-Identifier: Apache-2.0
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <set>
#include <utility>

#include "tool/rules/RulesFor.h"

namespace fieldstore::tool {
namespace {

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

}  // namespace

template <>
std::unique_ptr<Rules> MakeRules<CircuitMatricesBody>(Findings& findings) {
    return std::make_unique<CircuitMatricesRules>(findings);
}

}  // namespace fieldstore::tool
