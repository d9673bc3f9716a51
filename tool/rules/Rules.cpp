// SPDX-License-Identifier: Apache-2.0
#include "tool/rules/Rules.h"

#include <array>
#include <utility>
#include <variant>

#include "tool/rules/RulesFor.h"

namespace fieldstore::tool {
namespace {

template <typename Fields>
class GeneralRules : public RulesFor<GeneralRules<Fields>, Fields> {
public:
    using RulesFor<GeneralRules, Fields>::RulesFor;
    void Check(const Fields& /*body*/, const Layout& /*layout*/) {}
};

template <std::size_t... I>
std::unique_ptr<Rules> RulesAt(std::size_t kind, Findings& findings,
                               std::index_sequence<I...> /*kinds*/) {
    constexpr std::array makers{&MakeRules<std::variant_alternative_t<I, AnyBody>>...};
    return makers[kind](findings);
}

}  // namespace

template <typename Body>
std::unique_ptr<Rules> MakeRules(Findings& findings) {
    return std::make_unique<GeneralRules<Body>>(findings);
}

std::unique_ptr<Rules> RulesOf(std::size_t kind, Findings& findings) {
    return RulesAt(kind, findings, std::make_index_sequence<std::variant_size_v<AnyBody>>());
}

}  // namespace fieldstore::tool
