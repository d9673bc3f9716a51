// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_RETRY_PAUSE_H
#define FIELDSTORE_RETRY_PAUSE_H

#include <chrono>

namespace fieldstore {

/// Every pause between two attempts on a file or a lock goes through here, on the monotonic clock.
void Pause(std::chrono::microseconds duration);

/// Seconds as whole microseconds, cut off; not-a-number and negative values are no pause, and one
/// hour is the longest.
std::chrono::microseconds PauseFromSeconds(double seconds);

/// Replaces the sleeping, so that tests can count pauses instead of waiting; null restores it.
/// Returns what was in force. Meant for tests alone: it applies to the whole process.
using PauseFunction = void (*)(std::chrono::microseconds);
PauseFunction SetPauseFunction(PauseFunction function) noexcept;

}  // namespace fieldstore

#endif
