// SPDX-License-Identifier: Apache-2.0
#include "tool/rules/RulesFor.h"

#include <memory>

namespace fieldstore::tool {
namespace {

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

}  // namespace

template <>
std::unique_ptr<Rules> MakeRules<MeshTreeBody>(Findings& findings) {
    return std::make_unique<MeshTreeRules>(findings);
}

}  // namespace fieldstore::tool
