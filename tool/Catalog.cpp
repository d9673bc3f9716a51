// SPDX-License-Identifier: Apache-2.0
#include "tool/Catalog.h"

#include <algorithm>
#include <cctype>
#include <numeric>

#include "tool/Error.h"

namespace fieldstore::tool {
namespace {

template <typename Body>
Kind MakeKind() {
    return {&Body::kTraits, std::is_same_v<Body, BlockedDOFListBody>,
            [] { return AnyBody(Body()); }};
}

template <typename... Bodies>
std::vector<Kind> MakeKinds(const std::variant<Bodies...>* /*list*/) {
    return {MakeKind<Bodies>()...};
}

std::string ShortName(std::string name) {
    std::transform(name.begin(), name.end(), name.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return name.rfind("po", 0) == 0 && name.rfind("port", 0) != 0 ? name.substr(2) : name;
}

template <typename Matches>
std::vector<std::size_t> KindsWhere(const Matches& matches) {
    std::vector<std::size_t> found;
    for (std::size_t kind = 0; kind < Kinds().size(); ++kind)
        if (matches(Kinds()[kind])) found.push_back(kind);
    return found;
}

}  // namespace

const std::vector<Kind>& Kinds() {
    static const auto kinds = MakeKinds(static_cast<const AnyBody*>(nullptr));
    return kinds;
}

std::vector<std::size_t> KindsOfClass(const std::string& name) {
    auto found = KindsWhere([wanted = ShortName(name)](const Kind& kind) {
        return ShortName(kind.traits->name) == wanted;
    });
    if (!found.empty()) return found;
    std::string names;
    for (const Kind& kind : Kinds())
        if (!kind.blocked) names += (names.empty() ? "" : ", ") + std::string(kind.traits->name);
    throw Error("", "there is no class '" + name + "'", "The classes: " + names + ".");
}

std::vector<std::size_t> KindsOfFileName(std::string_view name) {
    return KindsWhere([name](const Kind& kind) { return kind.traits->fileName == name; });
}

std::vector<std::size_t> AllKinds() {
    std::vector<std::size_t> all(Kinds().size());
    std::iota(all.begin(), all.end(), std::size_t{0});
    return all;
}

}  // namespace fieldstore::tool
