// SPDX-License-Identifier: Apache-2.0
#include "tool/rules/RulesFor.h"

#include <cstddef>
#include <memory>

namespace fieldstore::tool {
namespace {

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

}  // namespace

template <>
std::unique_ptr<Rules> MakeRules<DOFMapBody>(Findings& findings) {
    return std::make_unique<DOFMapRules>(findings);
}

}  // namespace fieldstore::tool
