// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_FREQUENCY_KEY_H
#define FIELDSTORE_FREQUENCY_KEY_H

#include <cmath>
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

}  // namespace fieldstore

#endif
