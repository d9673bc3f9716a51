// SPDX-License-Identifier: Apache-2.0
#include "Progress.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <string_view>

namespace waveguide {
namespace {

bool CanRedraw() {
    const char* terminal = std::getenv("TERM");
    return isatty(STDERR_FILENO) == 1 && terminal != nullptr &&
           std::string_view(terminal) != "dumb";
}

constexpr const char* clearLine = "\r\x1b[K";

}  // namespace

Progress::Progress(std::string label, std::size_t total)
    : label_(std::move(label)), total_(std::max<std::size_t>(total, 1)), isTerminal_(CanRedraw()) {}

Progress::~Progress() {
    Hide();
}

void Progress::Hide() const {
    if (isTerminal_) std::cerr << clearLine << std::flush;
}

void Progress::Show(std::size_t done, const std::string& note) {
    if (!isTerminal_) return;
    constexpr std::size_t width = 24;
    const std::size_t filled = width * std::min(done, total_) / total_;
    std::cerr << clearLine << label_ << " [" << std::string(filled, '#')
              << std::string(width - filled, '.') << "] " << done << "/" << total_ << " " << note
              << std::flush;
}

}  // namespace waveguide
