// SPDX-License-Identifier: Apache-2.0
#include "streams/POFileLocker.h"

#include <algorithm>
#include <limits>
#include <utility>

POFileLocker::POFileLocker(const std::string& markerName, std::function<std::string()> ownerName)
    : lockFileName(markerName), nameSource(std::move(ownerName)) {}

void POFileLocker::SetRetry(double interval, unsigned int count) {
    constexpr unsigned int largest = std::numeric_limits<int>::max();
    retryInterval = interval;
    retryCount = static_cast<int>(std::min(count, largest));
}
