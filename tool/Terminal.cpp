// SPDX-License-Identifier: Apache-2.0
#include "tool/Terminal.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <numeric>

#include "tool/Progress.h"
#include "tool/System.h"
#include "tool/Visible.h"

namespace fieldstore::tool {
namespace {

/// Columns on the screen: the colours take none, nor do the later bytes of a UTF-8 character.
std::size_t Width(const std::string& cell) {
    std::size_t width = 0;
    bool inColour = false;
    for (const char c : cell) {
        if (c == '\033') inColour = true;
        if (!inColour && (static_cast<unsigned char>(c) & 0xC0U) != 0x80U) ++width;
        if (inColour && c == 'm') inColour = false;
    }
    return width;
}

}  // namespace

std::string Painted(const std::string& text, Colour colour) {
    const char* noColour = std::getenv("NO_COLOR");
    if (!system::IsTerminal(system::Standard::Output) || (noColour != nullptr && *noColour != '\0'))
        return text;
    return "\033[" + std::to_string(static_cast<int>(colour)) + "m" + text + "\033[0m";
}

void Say(const std::string& line) {
    std::cout.flush();
    Progress::Erase();
    std::cerr << "fieldstore: " << Visible(line) << '\n';
}

void Say(const Error& error) {
    Say(error.Lines().front());
    for (std::size_t i = 1; i < error.Lines().size(); ++i)
        std::cerr << "  " << Visible(error.Lines()[i]) << '\n';
}

void FlushOutput(const std::string& cause, const std::string& remedy) {
    if (std::cout.flush()) return;
    // A pipe is never full for good. Where signals end programs, the tool rarely gets here.
    if (system::IsPipe(system::Standard::Output)) throw ClosedPipe();
    throw Error("standard output", cause, remedy);
}

bool Confirmed(const std::string& question) {
    if (!system::IsTerminal(system::Standard::Input)) return false;
    std::cout.flush();
    std::cerr << Visible(question) << " [y/N] ";
    std::string answer;
    std::getline(std::cin, answer);
    return answer == "y" || answer == "Y" || answer == "yes";
}

std::string Table::Text(const std::string& indent) const {
    constexpr std::size_t screen = 80;
    std::vector<std::size_t> widths;
    for (const auto& row : rows) {
        if (row.size() == 1) continue;
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], Width(row[i]));
    }
    const std::size_t cells = std::accumulate(widths.begin(), widths.end(), indent.size());
    const std::size_t gap = cells + 2 * widths.size() > screen + 2 ? 1 : 2;
    std::string text;
    for (const auto& row : rows) {
        text += indent;
        for (std::size_t i = 0; i < row.size(); ++i) {
            text += row[i];
            if (i + 1 < row.size()) text.append(widths[i] - Width(row[i]) + gap, ' ');
        }
        text += '\n';
    }
    return text;
}

std::string ReadableSize(std::uint64_t bytes) {
    constexpr std::array units{"KiB", "MiB", "GiB", "TiB"};
    constexpr double step = 1024;
    auto size = static_cast<double>(bytes);
    if (size < step) return std::to_string(bytes) + " B";
    std::size_t unit = 0;
    for (size /= step; size >= step && unit + 1 < units.size(); ++unit) size /= step;
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.1f %s", size, units[unit]);
    return text.data();
}

std::string ReadableTime(std::chrono::seconds time) {
    constexpr std::int64_t minute = 60, hour = 3600, day = 86400;
    const std::int64_t s = time.count();
    if (s < minute) return std::to_string(s) + " s";
    if (s < hour) return std::to_string(s / minute) + " min " + std::to_string(s % minute) + " s";
    if (s < day)
        return std::to_string(s / hour) + " h " + std::to_string(s % hour / minute) + " min";
    return std::to_string(s / day) + " d " + std::to_string(s % day / hour) + " h";
}

std::string Counted(std::uint64_t count, const std::string& one, const std::string& many) {
    return std::to_string(count) + " " + (count == 1 ? one : many);
}

}  // namespace fieldstore::tool
