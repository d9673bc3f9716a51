// SPDX-License-Identifier: Apache-2.0
#include "tool/Chart.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

namespace fieldstore::tool {
namespace {

constexpr std::size_t kRows = 8, kColumns = 64;

std::string Label(double value) {
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%10.4g", value);
    return text.data();
}

}  // namespace

std::string Chart(const std::vector<double>& values) {
    std::vector<double> shown;
    for (const double value : values)
        if (std::isfinite(value)) shown.push_back(value);
    if (shown.empty()) return "";
    if (shown.size() > kColumns)
        shown.erase(shown.begin(), shown.end() - static_cast<std::ptrdiff_t>(kColumns));
    constexpr double much = 20;
    const auto [least, most] = std::minmax_element(shown.begin(), shown.end());
    const double low = *least, high = *most;
    const bool logarithmic = low > 0 && high / low > much;
    const auto height = [logarithmic](double value) {
        return logarithmic ? std::log(value)
                           : value / 2;  // halves of large values have a difference
    };
    const double range = height(high) - height(low);
    std::vector<std::string> rows(kRows, std::string(shown.size(), ' '));
    for (std::size_t column = 0; column < shown.size(); ++column) {
        const double part = range > 0 ? (height(shown[column]) - height(low)) / range : 0;
        const auto row = static_cast<std::size_t>(std::lround(part * (kRows - 1)));
        rows[kRows - 1 - std::min(row, kRows - 1)][column] = '*';
    }
    std::string text;
    for (std::size_t row = 0; row < kRows; ++row) {
        const bool first = row == 0, last = row + 1 == kRows;
        text += (first ? Label(high) : last ? Label(low) : std::string(10, ' ')) + " |" + rows[row];
        text.erase(text.find_last_not_of(' ') + 1);
        text += '\n';
    }
    return text + (logarithmic ? "     (log) +" : "           +") + std::string(shown.size(), '-') +
           "\n";
}

}  // namespace fieldstore::tool
