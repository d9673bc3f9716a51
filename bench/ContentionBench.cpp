// SPDX-License-Identifier: Apache-2.0
// Measures what a lock costs when several processes want it: 1, 2, 4, 8 and 16 of them commit
// bodies of about 0.8 MB to one file, as fast as they get the lock.
#include <benchmark/benchmark.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "Environment.h"
#include "fieldstore/fieldstore.h"

namespace bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int kMaxProcesses = 16;
constexpr std::size_t kDimension = 316;  // of a matrix of 0.8 MB

double Seconds(Clock::duration duration) {
    return std::chrono::duration<double>(duration).count();
}

/// What processes tell each other through shared memory.
struct Shared {
    struct Result {
        double longest;  // seconds, of a single commit
        double cpu;      // seconds
        Clock::time_point end;
        bool failed;
    };
    std::atomic<int> ready{0};
    std::atomic<bool> started{false};
    Result results[kMaxProcesses] = {};
};

class SharedMemory {
public:
    SharedMemory() {
        void* memory = mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE,
                            MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED) throw std::bad_alloc();
        shared_ = new (memory) Shared;
    }
    SharedMemory(const SharedMemory&) = delete;
    SharedMemory& operator=(const SharedMemory&) = delete;
    ~SharedMemory() { munmap(shared_, sizeof(Shared)); }

    Shared& operator*() const { return *shared_; }

private:
    Shared* shared_;
};

double ProcessorTime() {
    rusage used{};
    getrusage(RUSAGE_SELF, &used);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_usec);
    };
    return seconds(used.ru_utime) + seconds(used.ru_stime);
}

std::shared_ptr<IPOCircuitMatrices> MakeBody(const std::string& path) {
    const auto matrices = fieldstore::Create<IPOCircuitMatrices>();
    matrices->SetMatrix(1e9, 0, 0, 0, std::vector<double>(kDimension * kDimension, 0.5));
    IPOBase& storage = fieldstore::Storage(matrices);
    storage.SetFileName(path);
    fieldstore::CreateStorage(storage, fieldstore::StorageType::WriteBinary,
                              fieldstore::Locking::On);
    return matrices;
}

/// One of the processes: commits its share as fast as it gets the lock.
Shared::Result CommitShare(const std::string& path, int commits, Shared& shared) {
    const auto body = MakeBody(path);
    IPOBase& storage = fieldstore::Storage(body);
    Shared::Result result{};
    ++shared.ready;
    while (!shared.started) std::this_thread::sleep_for(std::chrono::microseconds(100));
    const double cpu = ProcessorTime();
    for (int commit = 0; commit < commits; ++commit) {
        const auto begin = Clock::now();
        if (storage.Commit(true) != 0) result.failed = true;
        result.longest = std::max(result.longest, Seconds(Clock::now() - begin));
    }
    result.end = Clock::now();
    result.cpu = ProcessorTime() - cpu;
    return result;
}

/// Neither returns nor lets destructors of the parent's objects run.
[[noreturn]] void RunChild(const std::string& path, int commits, Shared& shared,
                           Shared::Result& result) {
    try {
        result = CommitShare(path, commits, shared);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        result.failed = true;
        ++shared.ready;
    }
    _exit(0);
}

Clock::time_point Start(Shared& shared, int processes) {
    while (shared.ready < processes) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    const auto begin = Clock::now();
    shared.started = true;
    return begin;
}

/// One run: `processes` share `commits` commits to a new file equally.
void Measure(benchmark::State& state, int processes, int commits, const std::string& path) {
    const SharedMemory memory;
    Shared& shared = *memory;
    std::filesystem::remove(path);
    for (int child = 0; child < processes; ++child) {
        const pid_t id = fork();
        if (id < 0) throw std::runtime_error("A process cannot be started.");
        if (id == 0) RunChild(path, commits / processes, shared, shared.results[child]);
    }
    const auto begin = Start(shared, processes);
    while (wait(nullptr) > 0) continue;
    double elapsed = 0;
    double longest = 0;
    double cpu = 0;
    for (int child = 0; child < processes; ++child) {
        const Shared::Result& result = shared.results[child];
        if (result.failed) throw std::runtime_error("A commit failed.");
        elapsed = std::max(elapsed, Seconds(result.end - begin));
        longest = std::max(longest, result.longest);
        cpu += result.cpu;
    }
    const auto body = static_cast<double>(kDimension * kDimension * sizeof(double));
    if (static_cast<double>(std::filesystem::file_size(path)) < body * commits)
        throw std::runtime_error("Some commits were lost.");
    std::filesystem::remove(path);
    state.SetIterationTime(elapsed);
    state.counters["processes"] = processes;
    state.counters["commits"] = commits;
    state.counters["longest_s"] = longest;
    state.counters["cpu_s"] = cpu;
}

int Main(int argc, char** argv) {
    const char* parent = std::getenv("FIELDSTORE_BENCH_DIR");
    const CommandLine options(
        argc, argv, {"--benchmark_repetitions=5", "--benchmark_enable_random_interleaving=true"},
        {{"directory", parent != nullptr ? parent : "/dev/shm"}, {"json", ""}, {"scale", "1"}});
    const int rounds = static_cast<int>(125 * std::stod(options["scale"]));
    const int commits = std::max(rounds, 1) * kMaxProcesses;  // which all counts divide
    PrintEnvironment(options["directory"], options["scale"]);
    const ScratchDirectory scratch(options["directory"]);
    const std::string path = scratch.Path("contended.dat");
    for (const int processes : {1, 2, 4, 8, kMaxProcesses}) {
        const std::string name = "contention/commit/" + std::to_string(processes);
        benchmark::RegisterBenchmark(name.c_str(),
                                     [=](benchmark::State& state) {
                                         for (auto _ : state)
                                             Measure(state, processes, commits, path);
                                     })
            ->UseManualTime()
            ->Iterations(1)
            ->Unit(benchmark::kMillisecond);
    }
    Report report(options["json"]);
    benchmark::RunSpecifiedBenchmarks(&report);
    return 0;
}

}  // namespace
}  // namespace bench

int main(int argc, char** argv) {
    return bench::RunGuarded(&bench::Main, argc, argv);
}
