// SPDX-License-Identifier: Apache-2.0
#include "tool/rules/DOFRecords.h"

#include <memory>
#include "tool/rules/RulesFor.h"

namespace fieldstore::tool {
namespace {

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

}  // namespace

template <>
std::unique_ptr<Rules> MakeRules<DOFListBody>(Findings& findings) {
    return std::make_unique<DOFListRules>(findings);
}

}  // namespace fieldstore::tool
