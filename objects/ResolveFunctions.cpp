// SPDX-License-Identifier: Apache-2.0
#include "objects/ResolveFunctions.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <stdexcept>

#include "core/Messages.h"

namespace fieldstore {
namespace {

using Values = std::vector<double>;

/// One slot per component. A definition of no values cannot take any, and one of far more values
/// than there are would only cost memory: both come from damaged data.
Values Slots(int count, const Values& existing, const Values& incoming, double initial) {
    constexpr std::size_t plausible = std::size_t{1} << 24;
    const std::size_t held = existing.size() + incoming.size();
    if (count <= 0 && held == 0) return {};
    if (count <= 0 || static_cast<std::size_t>(count) > std::max(held, plausible))
        throw std::runtime_error(messages::kInconsistentData);
    return Values(static_cast<std::size_t>(count), initial);
}

/// Calls `fold(slot, value)` for the existing and then for the incoming values; each vector starts
/// at the first slot again.
template <typename Fold>
void FoldInto(Values& slots, const Values& existing, const Values& incoming, Fold fold) {
    for (const Values* values : {&existing, &incoming})
        for (std::size_t i = 0; i < values->size(); ++i)
            fold(slots[i % slots.size()], (*values)[i]);
}

Values Replace(int, const Values&, const Values& incoming) {
    return incoming;
}

Values Append(int, const Values& existing, const Values& incoming) {
    Values result = existing;
    result.insert(result.end(), incoming.begin(), incoming.end());
    return result;
}

Values Sum(int, const Values& existing, const Values& incoming) {
    if (existing.size() != incoming.size()) throw std::runtime_error(messages::kDifferentSizes);
    Values result = existing;
    for (std::size_t i = 0; i < result.size(); ++i) result[i] += incoming[i];
    return result;
}

// Every value is divided before it is added, so that a mean of large values does not overflow.
Values Mean(int count, const Values& existing, const Values& incoming) {
    Values slots = Slots(count, existing, incoming, 0.0);
    const double tuples = static_cast<double>(existing.size() + incoming.size()) / count;
    FoldInto(slots, existing, incoming,
             [tuples](double& slot, double value) { slot += value / tuples; });
    return slots;
}

constexpr double kBelowAll = std::numeric_limits<double>::lowest();
constexpr double kAboveAll = std::numeric_limits<double>::max();

void TakeLarger(double& slot, double value) {
    if (value > slot) slot = value;
}

void TakeSmaller(double& slot, double value) {
    if (slot > value) slot = value;
}

Values Max(int count, const Values& existing, const Values& incoming) {
    Values slots = Slots(count, existing, incoming, kBelowAll);
    FoldInto(slots, existing, incoming, TakeLarger);
    return slots;
}

Values Min(int count, const Values& existing, const Values& incoming) {
    Values slots = Slots(count, existing, incoming, kAboveAll);
    FoldInto(slots, existing, incoming, TakeSmaller);
    return slots;
}

/// The same as Max and Min for existing values that fill the slots, but where they are: bodies may
/// be many, and each may add to one long vector.
template <typename Fold>
void FoldInPlace(Values& slots, const Values& incoming, double initial, Fold fold) {
    for (double& slot : slots) {
        double folded = initial;
        fold(folded, slot);
        slot = folded;
    }
    FoldInto(slots, {}, incoming, fold);
}

}  // namespace

const IPOSolutionMetrics::ResolveFunctions& ResolveFunctionTable() {
    static const IPOSolutionMetrics::ResolveFunctions table{
        {IPOSolutionMetrics::eReplace, Replace}, {IPOSolutionMetrics::eAppend, Append},
        {IPOSolutionMetrics::eSum, Sum},         {IPOSolutionMetrics::eMean, Mean},
        {IPOSolutionMetrics::eMax, Max},         {IPOSolutionMetrics::eMin, Min}};
    return table;
}

void MergeValues(int resolveFunctionId, std::uint32_t count, Values& stored,
                 const Values& incoming) {
    const auto found = ResolveFunctionTable().find(resolveFunctionId);
    if (found == ResolveFunctionTable().end()) throw std::runtime_error(messages::kUndefinedValues);
    const bool isMax = resolveFunctionId == IPOSolutionMetrics::eMax;
    const bool isMin = resolveFunctionId == IPOSolutionMetrics::eMin;
    // A definition that asks for more numbers than there are comes from damaged data.
    if ((isMax || isMin) && count > stored.size() + incoming.size())
        throw std::runtime_error(messages::kInconsistentData);
    const bool inPlace = count != 0 && stored.size() == count;
    if (isMax && inPlace) return FoldInPlace(stored, incoming, kBelowAll, TakeLarger);
    if (isMin && inPlace) return FoldInPlace(stored, incoming, kAboveAll, TakeSmaller);
    stored = found->second(static_cast<int>(count), stored, incoming);
}

bool CollectsValues(int resolveFunctionId) {
    return resolveFunctionId == IPOSolutionMetrics::eAppend ||
           resolveFunctionId == IPOSolutionMetrics::eMean;
}

bool IsAppliedAtOnce(int resolveFunctionId) {
    return resolveFunctionId != IPOSolutionMetrics::eMean;
}

}  // namespace fieldstore
