// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_FREQUENCY_KEY_H
#define FIELDSTORE_FREQUENCY_KEY_H

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace fieldstore {

/// A frequency as a map key: its whole number of units, cut toward zero. Nothing for not-a-number
/// and values beyond 64 bits, which a cast would turn into anything.
inline std::optional<std::int64_t> FrequencyKey(double frequency) {
    constexpr double limit = 9223372036854775808.0;  // 2^63
    const double whole = std::trunc(frequency);
    if (!(whole >= -limit && whole < limit)) return std::nullopt;
    return static_cast<std::int64_t>(whole);
}

/// The distinct frequencies of a map whose keys begin with a frequency key, ascending.
template <typename Map>
std::vector<double> DistinctFrequencies(const Map& entries) {
    std::vector<double> frequencies;
    for (const auto& entry : entries) {
        const auto frequency = static_cast<double>(entry.first.first);
        if (frequencies.empty() || frequencies.back() != frequency)
            frequencies.push_back(frequency);
    }
    return frequencies;
}

/// Whether the frequency keys of entries, which ascend, all occur as often as each other.
template <typename Iterator, typename KeyOf>
bool EachAsOften(Iterator entry, Iterator end, KeyOf keyOf) {
    std::optional<std::size_t> usual;
    while (entry != end) {
        const std::int64_t key = keyOf(*entry);
        std::size_t times = 0;
        for (; entry != end && keyOf(*entry) == key; ++entry) ++times;
        if (times != usual.value_or(times)) return false;
        usual = times;
    }
    return true;
}

}  // namespace fieldstore

#endif
