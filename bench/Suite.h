// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_BENCH_SUITE_H
#define FIELDSTORE_BENCH_SUITE_H

#include <malloc.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "Memory.h"
#include "Workloads.h"

namespace bench {

/// One peer on one workload, with the types erased. Times are in seconds.
struct Case {
    std::string workload;
    std::string title;
    std::string peer;
    Targets targets;
    /// Encodes the workload's value into a new file.
    std::function<double(const std::string& path)> write;
    /// Decodes a file into a new container, and destroys that after the clock has stopped.
    std::function<double(const std::string& path)> read;
    /// Raises when a file does not give back the value that was written.
    std::function<void(const std::string& path)> verify;
    /// Reads a file in a process that did nothing else.
    std::function<ReadMemory(const std::string& path)> measureMemory;
    std::function<void()> releaseValue;
    /// Whether the peer must write the very bytes that the library writes.
    bool sameBytes;
};

/// The value of a workload: made when first needed, shared by all peers.
template <typename Workload>
class Shared {
public:
    static const typename Workload::Value& Get() {
        if (!value_) value_ = std::make_unique<typename Workload::Value>(Workload::Make());
        return *value_;
    }

    static void Release() { value_.reset(); }

private:
    static inline std::unique_ptr<typename Workload::Value> value_;
};

class Stopwatch {
public:
    double Seconds() const {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
    }

private:
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

template <typename Peer, typename Workload>
double TimeWrite(const std::string& path) {
    const auto& value = Shared<Workload>::Get();
    std::filesystem::remove(path);
    const Stopwatch watch;
    Peer::Write(path, value);
    return watch.Seconds();
}

template <typename Peer, typename Workload>
double TimeRead(const std::string& path) {
    // Every read starts with the same heap: what earlier ones gave back goes to the system first.
    malloc_trim(0);
    typename Workload::Value value;
    const Stopwatch watch;
    Peer::Read(path, value);
    return watch.Seconds();
}

template <typename Peer, typename Workload>
void Verify(const std::string& path) {
    typename Workload::Value value;
    Peer::Read(path, value);
    if (value != Shared<Workload>::Get()) throw std::runtime_error("What was read differs.");
}

template <typename Peer, typename Workload>
ReadMemory MeasureMemory(const std::string& path) {
    typename Workload::Value value;
    return MeasureGrowth([&] { Peer::Read(path, value); });
}

template <typename Peer, typename Workload>
Case MakeCase() {
    return {Workload::kName,
            Workload::kTitle,
            Peer::kName,
            Workload::kTargets,
            &TimeWrite<Peer, Workload>,
            &TimeRead<Peer, Workload>,
            &Verify<Peer, Workload>,
            &MeasureMemory<Peer, Workload>,
            &Shared<Workload>::Release,
            Peer::kSameBytes};
}

template <typename Peer, typename... Workload>
void AddCases(WorkloadList<Workload...>, std::vector<Case>& cases) {
    (cases.push_back(MakeCase<Peer, Workload>()), ...);
}

// Each peer is one source file, which the build leaves out where its library is missing.
void AddLimit(std::vector<Case>& cases);
void AddFieldstore(std::vector<Case>& cases);
void AddCereal(std::vector<Case>& cases);
void AddBoost(std::vector<Case>& cases);
void AddHdf5(std::vector<Case>& cases);
void AddIostream(std::vector<Case>& cases);

/// The stream buffer that every peer gets which writes to a standard stream.
constexpr std::size_t kBufferSize = std::size_t{256} << 10;

}  // namespace bench

#endif
