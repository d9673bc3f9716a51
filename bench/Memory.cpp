// SPDX-License-Identifier: Apache-2.0
#include "Memory.h"

#include <malloc.h>

#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

namespace bench {
namespace {

std::int64_t HeapInUse() {
    const auto info = mallinfo2();
    return static_cast<std::int64_t>(info.uordblks + info.hblkhd);
}

/// A field of /proc/self/status that is given in KiB, in bytes.
std::int64_t StatusBytes(const std::string& field) {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.compare(0, field.size(), field) != 0) continue;
        std::istringstream value(line.substr(field.size()));
        std::int64_t kibibytes = 0;
        if (value >> kibibytes) return kibibytes * 1024;
    }
    throw std::runtime_error("No " + field + " in /proc/self/status.");
}

/// Lets the high-water mark start again from what is resident now.
void ResetHighWaterMark() {
    std::ofstream("/proc/self/clear_refs") << "5";
}

}  // namespace

ReadMemory MeasureGrowth(const std::function<void()>& read) {
    const auto heapBefore = HeapInUse();
    ResetHighWaterMark();
    const auto residentBefore = StatusBytes("VmRSS:");
    read();
    const auto peak = StatusBytes("VmHWM:") - residentBefore;
    return {HeapInUse() - heapBefore, peak};
}

}  // namespace bench
