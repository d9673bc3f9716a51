// SPDX-License-Identifier: Apache-2.0
// Writes and reads every workload through the stream interface, by hand (LIMIT) and through other
// libraries, interleaved, and measures the memory that a read needs.
#include <benchmark/benchmark.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "Environment.h"
#include "Suite.h"

namespace bench {
namespace {

std::vector<Case> AllCases() {
    std::vector<Case> cases;
    AddLimit(cases);
    AddFieldstore(cases);
#ifdef FIELDSTORE_BENCH_CEREAL
    AddCereal(cases);
#endif
#ifdef FIELDSTORE_BENCH_BOOST
    AddBoost(cases);
#endif
#ifdef FIELDSTORE_BENCH_HDF5
    AddHdf5(cases);
#endif
    AddIostream(cases);
    return cases;
}

std::string ReadWhole(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// The files of the workload at hand: one per peer, written once and compared.
class Files {
public:
    explicit Files(const ScratchDirectory& directory) : directory_(directory) {}

    /// The file that `item` wrote and could read back.
    const std::string& Of(const Case& item) {
        const auto [entry, isNew] = paths_.emplace(item.peer, Path(item.peer));
        if (isNew) Make(item, entry->second);
        return entry->second;
    }

    std::string Path(const std::string& name) const { return directory_.Path(name); }

    void Clear() {
        for (const auto& entry : paths_) std::filesystem::remove(entry.second);
        paths_.clear();
        encoded_.clear();
    }

private:
    void Make(const Case& item, const std::string& path) {
        item.write(path);
        item.verify(path);
        if (!item.sameBytes) return;
        if (encoded_.empty())
            encoded_ = path;
        else if (ReadWhole(encoded_) != ReadWhole(path))
            throw std::runtime_error("The bytes differ from those of other peers.");
    }

    const ScratchDirectory& directory_;
    std::map<std::string, std::string> paths_;
    std::string encoded_;
};

/// Runs this program again with an option and returns what it prints.
std::string RunSelf(const std::string& option) {
    int ends[2];
    if (pipe(ends) != 0) throw std::runtime_error("No pipe.");
    const std::string scaleOption = "--scale=" + std::to_string(scale);
    const pid_t child = fork();
    if (child < 0) throw std::runtime_error("No process.");
    if (child == 0) {
        dup2(ends[1], STDOUT_FILENO);
        execl("/proc/self/exe", "fieldstore_bench", option.c_str(), scaleOption.c_str(), nullptr);
        _exit(127);
    }
    close(ends[1]);
    std::string output;
    char part[256];
    for (ssize_t count; (count = read(ends[0], part, sizeof part)) > 0;)
        output.append(part, static_cast<std::size_t>(count));
    close(ends[0]);
    int status = 0;
    if (waitpid(child, &status, 0) != child || status != 0)
        throw std::runtime_error("The reading process failed.");
    return output;
}

/// The other side of it: "workload:peer:path".
int PrintReadMemory(const std::string& what) {
    std::istringstream parts(what);
    std::string workload;
    std::string peer;
    std::string path;
    std::getline(std::getline(parts, workload, ':'), peer, ':');
    std::getline(parts, path);
    for (const Case& item : AllCases()) {
        if (item.workload != workload || item.peer != peer) continue;
        const ReadMemory memory = item.measureMemory(path);
        std::printf("%lld %lld\n", static_cast<long long>(memory.container),
                    static_cast<long long>(memory.peak));
        // Nobody waits for the container to be taken apart.
        std::fflush(stdout);
        _exit(0);
    }
    return 1;
}

void Describe(benchmark::State& state, const Case& item, double target, const std::string& path) {
    state.SetLabel(item.title);
    state.counters["target"] = target;
    state.counters["file_bytes"] = static_cast<double>(std::filesystem::file_size(path));
    state.counters["bulk"] = item.targets.bulk ? 1 : 0;
}

void MeasureWrite(benchmark::State& state, const Case& item, Files& files) {
    const std::string& reference = files.Of(item);
    const std::string path = files.Path("written");
    for (auto _ : state) state.SetIterationTime(item.write(path));
    Describe(state, item, item.targets.write, reference);
    std::filesystem::remove(path);
}

void MeasureRead(benchmark::State& state, const Case& item, Files& files) {
    const std::string& path = files.Of(item);
    for (auto _ : state) state.SetIterationTime(item.read(path));
    Describe(state, item, item.targets.read, path);
}

void MeasureReadMemory(benchmark::State& state, const Case& item, Files& files) {
    const std::string option = "--read-memory=" + item.workload + ":" + item.peer + ":";
    ReadMemory memory;
    for (auto _ : state) {
        const std::string& path = files.Of(item);
        const Stopwatch watch;
        std::istringstream(RunSelf(option + path)) >> memory.container >> memory.peak;
        state.SetIterationTime(watch.Seconds());
    }
    state.SetLabel(item.title);
    state.counters["container_bytes"] = static_cast<double>(memory.container);
    state.counters["peak_bytes"] = static_cast<double>(memory.peak);
    state.counters["allowed_bytes"] = 1.1 * static_cast<double>(memory.container) + (16 << 20);
}

using Measure = void (*)(benchmark::State&, const Case&, Files&);

/// One iteration per repeat: repeats of different peers alternate, iterations would not. A failure
/// ends the program: what is wrong has no speed.
benchmark::internal::Benchmark* Register(const char* operation, Measure measure, const Case& item,
                                         Files& files) {
    const std::string name = item.workload + "/" + operation + "/" + item.peer;
    const auto run = [measure, name, &item, &files](benchmark::State& state) {
        try {
            measure(state, item, files);
        } catch (const std::exception& error) {
            throw std::runtime_error(name + ": " + error.what());
        }
    };
    return benchmark::RegisterBenchmark(name.c_str(), run)
        ->UseManualTime()
        ->Iterations(1)
        ->Unit(benchmark::kMillisecond);
}

/// One workload after the other, so that what is compared is measured close together in time.
void RunWorkload(const std::string& workload, const std::vector<Case>& cases, Files& files,
                 Report& report) {
    for (const Case& item : cases) {
        if (item.workload != workload) continue;
        Register("write", &MeasureWrite, item, files);
        Register("read", &MeasureRead, item, files);
        Register("memory", &MeasureReadMemory, item, files)->Repetitions(1);
    }
    benchmark::RunSpecifiedBenchmarks(&report);
    benchmark::ClearRegisteredBenchmarks();
    for (const Case& item : cases)
        if (item.workload == workload) item.releaseValue();
    files.Clear();
}

bool IsListed(const std::string& name, const std::string& list) {
    return list.empty() || ("," + list + ",").find("," + name + ",") != std::string::npos;
}

std::vector<std::string> ChosenWorkloads(const std::vector<Case>& cases, const std::string& list) {
    std::vector<std::string> chosen;
    for (const Case& item : cases) {
        const bool known = std::find(chosen.begin(), chosen.end(), item.workload) != chosen.end();
        if (!known && IsListed(item.workload, list)) chosen.push_back(item.workload);
    }
    return chosen;
}

void PrintTitles(const std::vector<std::string>& workloads, const std::vector<Case>& cases) {
    for (const auto& workload : workloads) {
        const auto first = std::find_if(cases.begin(), cases.end(), [&](const Case& item) {
            return item.workload == workload;
        });
        std::fprintf(stderr, "%-15s %s\n", workload.c_str(), first->title.c_str());
    }
}

int Main(int argc, char** argv) {
    const char* directory = std::getenv("FIELDSTORE_BENCH_DIR");
    const CommandLine options(
        argc, argv, {"--benchmark_repetitions=7", "--benchmark_enable_random_interleaving=true"},
        {{"directory", directory != nullptr ? directory : "/dev/shm"},
         {"json", ""},
         {"workloads", ""},
         {"scale", "1"},
         {"read-memory", ""}});
    scale = std::stod(options["scale"]);
    if (!options["read-memory"].empty()) return PrintReadMemory(options["read-memory"]);

    PrintEnvironment(options["directory"], options["scale"]);
    const ScratchDirectory scratch(options["directory"]);
    Files files(scratch);
    Report report(options["json"]);
    const auto cases = AllCases();
    const auto workloads = ChosenWorkloads(cases, options["workloads"]);
    PrintTitles(workloads, cases);
    for (const auto& workload : workloads) RunWorkload(workload, cases, files, report);
    return 0;
}

}  // namespace
}  // namespace bench

int main(int argc, char** argv) {
    return bench::RunGuarded(&bench::Main, argc, argv);
}
