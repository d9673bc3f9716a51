// SPDX-License-Identifier: Apache-2.0
#include "tool/Progress.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <iostream>
#include <optional>
#include <system_error>

#include "streams/FileNames.h"
#include "tool/RemovedOnSignal.h"
#include "tool/System.h"
#include "tool/Terminal.h"
#include "tool/Visible.h"

namespace fieldstore::tool {
namespace {

using std::chrono::milliseconds;

bool taken = false;  // by the outermost; of the main thread
std::atomic<bool> drawn = false;

/// The first bar comes after a second; who has seen one waits less for that of the next step.
milliseconds Delay() {
    constexpr milliseconds atFirst{1000}, later{200};
    static const auto start = std::chrono::steady_clock::now();
    if (const char* wanted = std::getenv("FIELDSTORE_PROGRESS_DELAY"))
        return milliseconds(std::max(std::atol(wanted), 0L));
    const auto passed = std::chrono::steady_clock::now() - start;
    return std::max(later, std::chrono::duration_cast<milliseconds>(atFirst - passed));
}

}  // namespace

Progress::Progress(const std::string& what, const std::string& path, std::uint64_t total)
    : title(Visible(what)), length(total) {
    if (taken || !system::IsTerminal(system::Standard::Error)) return;
    delay = Delay();
    if (!path.empty()) file = platform::WholePath(path);
    const HeldSignals signalsAreTheMainThreads;
    try {
        thread = std::thread(&Progress::Run, this);
        taken = true;
    } catch (const std::system_error&) {
        // Without a thread there is no bar, and the work goes on.
    }
}

Progress::~Progress() {
    if (!thread.joinable()) return;
    {
        const std::lock_guard lock(mutex);
        done = true;
    }
    ended.notify_one();
    thread.join();
    taken = false;
    Erase();
}

void Progress::Run() {
    constexpr milliseconds step{200};
    std::unique_lock lock(mutex);
    const auto isDone = [this] { return done; };
    if (delay.count() > 0 && ended.wait_for(lock, delay, isDone)) return;
    do {
        Draw();
    } while (!ended.wait_for(lock, step, isDone));
}

void Progress::Draw() {
    constexpr std::size_t cells = 30, leastTitle = 20, rest = cells + 10;
    const std::size_t room = std::max(system::ScreenWidth(), rest + leastTitle) - rest;
    // A line that wraps could not be erased; the end of a path tells most.
    std::string line = title.size() <= room ? title : "..." + title.substr(title.size() - room + 3);
    if (length == 0 || !system::kTellsPositions) {
        const auto time = std::chrono::steady_clock::now() - begin;
        line += ", " + ReadableTime(std::chrono::duration_cast<std::chrono::seconds>(time));
    } else {
        position = std::min(system::PositionIn(file).value_or(position), length);
        const double part = static_cast<double>(position) / static_cast<double>(length);
        const auto full = static_cast<std::size_t>(part * cells);
        line += " [" + std::string(full, '#') + std::string(cells - full, '.') + "] " +
                std::to_string(static_cast<int>(part * 100)) + " %";
    }
    drawn = true;
    std::cerr << '\r' + line + "\033[K" << std::flush;
}

void Progress::Erase() {
    constexpr char sequence[] = "\r\033[K";
    if (!drawn.exchange(false)) return;
    system::WriteToTerminal(sequence, sizeof sequence - 1);
}

Progress::Silence::Silence() : wasShown(!taken) {
    taken = true;
}

Progress::Silence::~Silence() {
    if (wasShown) taken = false;
}

}  // namespace fieldstore::tool
