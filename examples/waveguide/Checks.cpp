// SPDX-License-Identifier: Apache-2.0
#include "Checks.h"

#include <cmath>
#include <iomanip>
#include <sstream>

namespace waveguide {

std::string Column(double value, int width, int precision) {
    std::ostringstream text;
    text << std::setw(width) << std::setprecision(precision) << value;
    return text.str();
}

std::string Fixed(double value, int width, int decimals) {
    std::ostringstream text;
    if (std::abs(value) * std::pow(10, decimals) < 0.5) value = 0;  // it would be shown as -0.000
    text << std::fixed << std::setw(width) << std::setprecision(decimals) << value;
    return text.str();
}

void Checks::Expect(bool holds, const std::string& what) {
    ++count_;
    failed_ += holds ? 0 : 1;
    out_ << (holds ? "  ok    " : "  FAIL  ") << what << "\n";
}

void Checks::Within(double deviation, double limit, const std::string& what) {
    Expect(deviation <= limit,
           what + " (off by " + Column(deviation, 0, 2) + ", limit " + Column(limit, 0, 2) + ")");
}

}  // namespace waveguide
