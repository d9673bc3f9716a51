// SPDX-License-Identifier: Apache-2.0
// Measures what it costs that a commit survives a power cut: commits of a small and of a 50 MB body
// that append and that replace, in memory and on a disk, with durability and without it.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "Environment.h"
#include "Suite.h"
#include "fieldstore/IPOStorageControl.h"
#include "fieldstore/fieldstore.h"

namespace bench {
namespace {

using Object = std::shared_ptr<IPOBase>;
using Durability = IPOStorageControl::EDurability;

constexpr std::size_t kWeights = 9;  // of a row of a DOF map

Object MakeMatrix(std::size_t numbers) {
    auto dimension = std::size_t{1};
    while ((dimension + 1) * (dimension + 1) <= numbers) ++dimension;
    const auto matrices = fieldstore::Create<IPOCircuitMatrices>();
    matrices->SetMatrix(1e9, 0, 0, 0, std::vector<double>(dimension * dimension, 0.5));
    return std::dynamic_pointer_cast<IPOBase>(matrices);
}

Object MakeMap(std::size_t numbers) {
    IPODOFMap::Rows rows(numbers / kWeights + 1);
    for (auto& row : rows)
        for (std::size_t weight = 0; weight < kWeights; ++weight)
            row.emplace(row.end(), static_cast<int>(weight), 0.5);
    const auto map = fieldstore::Create<IPODOFMap>();
    map->SetDOFMap(rows);
    return std::dynamic_pointer_cast<IPOBase>(map);
}

struct Subject {
    const char* kind;
    Object (*make)(std::size_t numbers);
    std::size_t bytesOfNumber;
};

constexpr Subject kSubjects[] = {{"append", &MakeMatrix, 8}, {"replace", &MakeMap, 12}};

struct Size {
    const char* name;
    std::size_t bytes;
    int commits;  // timed in one repeat
};

constexpr Size kSizes[] = {{"200 bytes", 200, 50}, {"50 MB", 50000000, 2}};

void CommitOnce(IPOBase& object) {
    if (object.Commit(true) != 0) throw std::runtime_error("The commit failed.");
}

/// Commits to a file that is there already.
void Measure(benchmark::State& state, const Subject& subject, const Size& size,
             Durability durability, const std::string& path) {
    const Object object = subject.make(size.bytes / subject.bytesOfNumber);
    object->SetFileName(path);
    fieldstore::CreateStorage(*object, fieldstore::StorageType::WriteBinary,
                              fieldstore::Locking::On);
    std::dynamic_pointer_cast<IPOStorageControl>(object)->SetDurability(durability);
    CommitOnce(*object);
    for (auto _ : state) {
        const Stopwatch watch;
        for (int commit = 0; commit < size.commits; ++commit) CommitOnce(*object);
        state.SetIterationTime(watch.Seconds() / size.commits);
    }
    state.counters["file_bytes"] = static_cast<double>(std::filesystem::file_size(path));
    std::filesystem::remove(path);
}

void Register(const std::string& place, const std::string& path) {
    for (const Subject& subject : kSubjects)
        for (const Size& size : kSizes)
            for (const bool synced : {true, false}) {
                const auto durability =
                    synced ? IPOStorageControl::eSynced : IPOStorageControl::eUnsynced;
                const std::string name = std::string("durability/") + subject.kind + ", " +
                                         size.name + ", " + place +
                                         (synced ? "/synced" : "/unsynced");
                benchmark::RegisterBenchmark(name.c_str(),
                                             [=](benchmark::State& state) {
                                                 Measure(state, subject, size, durability, path);
                                             })
                    ->UseManualTime()
                    ->Iterations(1)
                    ->Unit(benchmark::kMillisecond);
            }
}

std::string Environment(const char* name, const char* otherwise) {
    const char* value = std::getenv(name);
    return value != nullptr ? value : otherwise;
}

int Main(int argc, char** argv) {
    const CommandLine options(
        argc, argv, {"--benchmark_repetitions=9", "--benchmark_enable_random_interleaving=true"},
        {{"directory", Environment("FIELDSTORE_BENCH_DIR", "/dev/shm")},
         {"disk", Environment("FIELDSTORE_BENCH_DISK", ".")},
         {"json", ""}});
    PrintEnvironment(options["directory"], "1");
    const ScratchDirectory memory(options["directory"]);
    const ScratchDirectory disk(options["disk"]);
    Register("memory", memory.Path("durable.dat"));
    Register("disk", disk.Path("durable.dat"));
    Report report(options["json"]);
    benchmark::RunSpecifiedBenchmarks(&report);
    return 0;
}

}  // namespace
}  // namespace bench

int main(int argc, char** argv) {
    return bench::RunGuarded(&bench::Main, argc, argv);
}
