// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_BENCH_MEMORY_H
#define FIELDSTORE_BENCH_MEMORY_H

#include <cstdint>
#include <functional>

namespace bench {

/// What a read needed, in bytes.
struct ReadMemory {
    /// Growth of the heap in use: the loaded container.
    std::int64_t container = 0;
    /// Highest resident memory during the read, above that before it.
    std::int64_t peak = 0;
};

/// Runs `read`, which keeps what it allocates. Meant for a process that did nothing before.
ReadMemory MeasureGrowth(const std::function<void()>& read);

}  // namespace bench

#endif
