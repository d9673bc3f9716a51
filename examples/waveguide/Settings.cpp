// SPDX-License-Identifier: Apache-2.0
#include "Settings.h"

#include <cmath>

namespace waveguide {

std::vector<double> Sweep::Frequencies() const {
    std::vector<double> frequencies;
    for (int i = 0; i < points; ++i) {
        const double share = points > 1 ? static_cast<double>(i) / (points - 1) : 0.0;
        frequencies.push_back(std::round(first + share * (last - first)));
    }
    return frequencies;
}

}  // namespace waveguide
