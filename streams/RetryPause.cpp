// SPDX-License-Identifier: Apache-2.0
#include "streams/RetryPause.h"

#include <algorithm>
#include <atomic>
#include <thread>

namespace fieldstore {
namespace {

void Sleep(std::chrono::microseconds duration) {
    std::this_thread::sleep_for(duration);
}

std::atomic<PauseFunction> pauseFunction{&Sleep};

}  // namespace

void Pause(std::chrono::microseconds duration) {
    if (duration.count() > 0) pauseFunction.load()(duration);
}

std::chrono::microseconds PauseFromSeconds(double seconds) {
    constexpr double longest = 3600;
    if (!(seconds > 0)) return std::chrono::microseconds::zero();
    constexpr double microsecondsPerSecond = 1e6;
    const double microseconds = std::min(seconds, longest) * microsecondsPerSecond;
    return std::chrono::microseconds(static_cast<std::chrono::microseconds::rep>(microseconds));
}

PauseFunction SetPauseFunction(PauseFunction function) noexcept {
    return pauseFunction.exchange(function != nullptr ? function : &Sleep);
}

}  // namespace fieldstore
