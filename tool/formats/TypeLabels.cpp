// SPDX-License-Identifier: Apache-2.0
#include "tool/formats/TypeLabels.h"

#include <set>
#include <utility>
#include <variant>

namespace fieldstore::tool {

TypedField TypedFieldOf(const AnyStreamed& data) {
    if (std::holds_alternative<StreamedMatrices>(data)) return {"matrices", {Labels::eMatrixTypes}};
    if (std::holds_alternative<StreamedMetrics>(data))
        return {"values", {Labels::eEntityTypes, Labels::eValueTypes, Labels::eResolveFunctions}};
    return {};
}

std::map<int, TypeLabel> LabelsOfTypes(const AnyStreamed& data, const Labels& labels) {
    if (!labels.NamesTypes()) return {};
    std::set<int> types;
    if (const auto* matrices = std::get_if<StreamedMatrices>(&data))
        matrices->matrices.ForKeys(
            [&types](const auto& key, const auto& /*extent*/) { types.insert(key.second); });
    if (const auto* metrics = std::get_if<StreamedMetrics>(&data))
        metrics->values.ForKeys(
            [&types](const auto& key, const auto& /*extent*/) { types.insert(key.first); });
    std::map<int, TypeLabel> found;
    for (const int type : types) {
        auto label = labels.Of(TypedFieldOf(data).name, "type", type);
        if (!label.name.empty()) found.emplace(type, std::move(label));
    }
    return found;
}

}  // namespace fieldstore::tool
