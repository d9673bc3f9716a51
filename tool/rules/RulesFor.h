// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_RULES_FOR_H
#define FIELDSTORE_TOOL_RULES_FOR_H

#include <cmath>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

// Whatever a file of rules needs of the tool.
// IWYU pragma: begin_exports
#include "tool/Bodies.h"
#include "tool/BodyReader.h"
#include "tool/rules/Findings.h"
#include "tool/rules/Rules.h"
// IWYU pragma: end_exports

namespace fieldstore::tool {

template <typename T>
std::string Text(const T& value) {
    return std::to_string(value);
}
/// An id or index: stored signed, meant unsigned.
inline std::string IdText(int stored) {
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
                                 "key occurs twice; a load keeps one of the values" + field);
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

}  // namespace fieldstore::tool

#endif
