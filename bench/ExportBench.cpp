// SPDX-License-Identifier: Apache-2.0
#include <malloc.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <complex>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "fieldstore/fieldstore.h"

// What the tool's exports and slices take, in multiples of a host's load of the same file, all in
// one run. Usage: fieldstore_export_bench TOOL DIRECTORY MIB REPEATS
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

struct Run {
    double seconds;
    double processor;  // seconds
    double peakMiB;
};

double SecondsSince(Clock::time_point begin) {
    return std::chrono::duration<double>(Clock::now() - begin).count();
}

/// Runs `action` in a process of its own; its own idea of the time counts when it is not 0.
Run InProcess(const std::function<double()>& action) {
    int ends[2];
    if (pipe(ends) != 0) std::exit(2);
    const auto begin = Clock::now();
    const pid_t child = fork();
    if (child == 0) {
        const double own = action();
        const bool told = write(ends[1], &own, sizeof own) == sizeof own;
        _exit(told ? 0 : 1);
    }
    close(ends[1]);
    double own = 0;
    if (read(ends[0], &own, sizeof own) != sizeof own) own = 0;
    close(ends[0]);
    int status = 0;
    struct rusage usage {};
    wait4(child, &status, 0, &usage);
    if (status != 0) {
        std::fprintf(stderr, "a run failed\n");
        std::exit(1);
    }
    const auto secondsOf = [](const timeval& time) {
        constexpr double micro = 1e-6;
        return static_cast<double>(time.tv_sec) + micro * static_cast<double>(time.tv_usec);
    };
    constexpr double kibPerMib = 1024;
    return {own != 0 ? own : SecondsSince(begin),
            secondsOf(usage.ru_utime) + secondsOf(usage.ru_stime),
            static_cast<double>(usage.ru_maxrss) / kibPerMib};
}

std::shared_ptr<IPOBase> New(const std::string& name, const std::string& directory) {
    std::shared_ptr<IPOBase> object;
    NewInstance(std::wstring(name.begin(), name.end()), &object);
    object->SetDirectory(directory);
    return object;
}

double Load(const std::string& name, const std::string& directory, bool text) {
    const auto object = New(name, directory);
    object->CreateStorageInterface(text ? IPOBase::eReadText : IPOBase::eReadBinary, false);
    const auto begin = Clock::now();
    if (object->Load() != 0) _exit(1);
    return SecondsSince(begin);
}

double Execute(const std::string& command) {
    // The shell's time is a few milliseconds.
    if (std::system((command + " > /dev/null").c_str()) != 0) _exit(1);
    return 0;
}

struct Workload {
    const char* className;
    bool text;
    const char* slice;
    std::vector<std::string> formats;
};

std::mt19937_64 generator(1);
double Random() {
    static std::normal_distribution<double> normal;
    return normal(generator);
}

/// Fills an object with about so many bytes.
void Fill(IPOBase& object, double bytes) {
    using Complex = std::complex<double>;
    if (auto* modes = dynamic_cast<IPOModeInfo*>(&object)) {
        constexpr int ports = 8, count = 10, values = 20;
        const int frequencies =
            static_cast<int>(bytes / (ports * (20 + count * (28 + 16 * values))));
        std::vector<std::vector<int>> groups{{}};
        for (int mode = 0; mode < count; ++mode) groups[0].push_back(mode);
        for (int f = 0; f < frequencies; ++f)
            for (int port = 1; port <= ports; ++port) {
                std::vector<Complex> gammas(count);
                std::vector<std::vector<Complex>> data(count, std::vector<Complex>(values));
                for (auto& gamma : gammas) gamma = {Random(), Random()};
                for (auto& row : data)
                    for (auto& value : row) value = {Random(), Random()};
                modes->AddModeData(1e9 + 1e5 * f, port, gammas, groups, data);
            }
    } else if (auto* matrices = dynamic_cast<IPOCircuitMatrices*>(&object)) {
        constexpr int dimension = 64;
        std::vector<double> values(dimension * dimension);
        const int count = static_cast<int>(bytes / (20 + 8 * dimension * dimension));
        for (int f = 0; f < count; ++f) {
            for (double& value : values) value = Random();
            matrices->SetMatrix(1e9 + 1e5 * f, 0, dimension, dimension, values);
        }
    } else if (auto* metrics = dynamic_cast<IPOSolutionMetrics*>(&object)) {
        constexpr std::uint32_t values = 3, passes = 10;
        const auto entities = static_cast<std::uint32_t>(bytes / passes / 44);
        metrics->DefineValues(1, 2, values, IPOSolutionMetrics::eReplace);
        for (std::uint32_t pass = 0; pass < passes; ++pass)
            for (std::uint32_t entity = 0; entity < entities; ++entity)
                metrics->AddValues(1, pass, entity, 2, {Random(), Random(), Random()});
        metrics->AddNode(1, {0, 0, 0}, {2});
        metrics->AddNode(2, {1, 0, 0}, {1});
    }
}

double Median(std::vector<Run> runs, double Run::*what) {
    std::sort(runs.begin(), runs.end(),
              [what](const Run& a, const Run& b) { return a.*what < b.*what; });
    return runs[runs.size() / 2].*what;
}

double Peak(const std::vector<Run>& runs) {
    double peak = 0;
    for (const Run& run : runs) peak = std::max(peak, run.peakMiB);
    return peak;
}

void Measure(const Workload& workload, const std::string& tool, const std::string& directory,
             double bytes, int repeats) {
    const std::string name = workload.className;
    std::string path;
    {
        const auto object = New(name, directory);
        Fill(*object, bytes);
        object->CreateStorageInterface(workload.text ? IPOBase::eWriteText : IPOBase::eWriteBinary,
                                       false);
        if (object->Commit(true) != 0) std::exit(1);
        path = directory + object->GetFileName();
    }
    malloc_trim(0);  // so that the processes to come start small
    std::map<std::string, std::vector<Run>> runs;
    for (int repeat = 0; repeat < repeats; ++repeat) {
        runs["load"].push_back(InProcess([&] { return Load(name, directory, workload.text); }));
        runs["slice"].push_back(InProcess(
            [&] { return Execute(tool + " show " + path + " " + std::string(workload.slice)); }));
        for (const auto& format : workload.formats) {
            const std::string out = directory + "out-" + format;
            runs[format].push_back(InProcess([&] {
                return Execute(tool + " dump " + path + " --format " + format + " -o " + out);
            }));
            fs::remove_all(out);
        }
    }
    constexpr double mib = 1 << 20;
    const auto median = [&runs](const std::string& what, double Run::*figure) {
        return Median(runs[what], figure);
    };
    for (const auto& [what, own] : runs)
        std::printf("| %s%s | %.0f | %s | %.2f | %.2f | %.2f | %.2f | %.0f |\n", workload.className,
                    workload.text ? " text" : "", static_cast<double>(fs::file_size(path)) / mib,
                    what.c_str(), median(what, &Run::seconds),
                    median(what, &Run::seconds) / median("load", &Run::seconds),
                    median(what, &Run::processor),
                    median(what, &Run::processor) / median("load", &Run::processor), Peak(own));
    std::fflush(stdout);
    fs::remove(path);
}

}  // namespace

int main(int count, char** arguments) {
    if (count != 5) {
        std::fprintf(stderr, "Usage: fieldstore_export_bench TOOL DIRECTORY MIB REPEATS\n");
        return 2;
    }
    const std::string tool = arguments[1], directory = std::string(arguments[2]) + "/";
    const double bytes = std::atof(arguments[3]) * (1 << 20);
    const int repeats = std::atoi(arguments[4]);
    fs::create_directories(directory);
    std::printf(
        "| class | file MiB | what | s | of a load | processor s | of a load | peak MiB |\n"
        "| --- | ---: | --- | ---: | ---: | ---: | ---: | ---: |\n");
    const std::vector<std::string> all{"csv", "npy", "hdf5"};
    for (const Workload& workload : {Workload{"POModeInfo", false, "--frequency 1GHz", all},
                                     Workload{"POModeInfo", true, "--frequency 1GHz", all},
                                     Workload{"POCircuitMatrices", false, "--frequency 1GHz", all},
                                     Workload{"POSolutionMetrics", false, "--entity 7", all}})
        Measure(workload, tool, directory, bytes, repeats);
    return 0;
}
