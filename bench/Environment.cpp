// SPDX-License-Identifier: Apache-2.0
#include "Environment.h"

#include <linux/magic.h>
#include <stdlib.h>
#include <sys/vfs.h>
#include <exception>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <thread>

#include "fieldstore/version.h"

namespace bench {
namespace {

#ifdef __OPTIMIZE__
constexpr bool kOptimized = true;
#else
constexpr bool kOptimized = false;
#endif

#ifdef NDEBUG
constexpr bool kAssertions = false;
#else
constexpr bool kAssertions = true;
#endif

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif

#ifdef __clang__
constexpr const char* kCompiler = "clang " __clang_version__;
#else
constexpr const char* kCompiler = "g++ " __VERSION__;
#endif

std::string Version() {
    std::ostringstream text;
    text << FIELDSTORE_VERSION_MAJOR << '.' << FIELDSTORE_VERSION_MINOR << '.'
         << FIELDSTORE_VERSION_PATCH;
    return text.str();
}

std::string Processor() {
    std::ifstream info("/proc/cpuinfo");
    std::string name = "unknown";
    for (std::string line; std::getline(info, line);)
        if (line.compare(0, 10, "model name") == 0) name = line.substr(line.find(':') + 2);
    return name + " x " + std::to_string(std::thread::hardware_concurrency());
}

std::string LoadAverage() {
    std::string load;
    std::getline(std::ifstream("/proc/loadavg"), load);
    return load.substr(0, load.find(' '));
}

bool IsMemoryFileSystem(const std::string& directory) {
    struct statfs status {};
    return statfs(directory.c_str(), &status) == 0 &&
           (status.f_type == TMPFS_MAGIC || status.f_type == RAMFS_MAGIC);
}

void Say(const char* key, const std::string& value) {
    std::fprintf(stderr, "%-15s %s\n", key, value.c_str());
    benchmark::AddCustomContext(key, value);
}

/// One repeat or median as a line.
std::string Line(const benchmark::BenchmarkReporter::Run& run) {
    const std::string& name = run.run_name.function_name;
    char line[256];
    std::snprintf(line, sizeof line, "%-44s %12.3f %s", name.c_str(), run.GetAdjustedRealTime(),
                  benchmark::GetTimeUnitString(run.time_unit));
    return line;
}

void WarnIf(bool wrong, const char* what) {
    if (wrong) std::fprintf(stderr, "WARNING: %s\n", what);
}

}  // namespace

int RunGuarded(int (*program)(int argc, char** argv), int argc, char** argv) {
    try {
        return program(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 2;
    }
}

CommandLine::CommandLine(int argc, char** argv, std::vector<std::string> defaults,
                         std::map<std::string, std::string> values)
    : values_(std::move(values)) {
    std::vector<std::string> rest = std::move(defaults);
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        const auto equals = argument.find('=');
        const auto option = argument.compare(0, 2, "--") == 0 && equals != std::string::npos
                                ? values_.find(argument.substr(2, equals - 2))
                                : values_.end();
        if (option == values_.end())
            rest.push_back(argument);
        else
            option->second = argument.substr(equals + 1);
    }
    // The benchmark library keeps the first pointer.
    std::vector<char*> pointers{argv[0]};
    for (std::string& argument : rest) pointers.push_back(argument.data());
    int count = static_cast<int>(pointers.size());
    pointers.push_back(nullptr);
    benchmark::Initialize(&count, pointers.data());
    if (count > 1) throw std::invalid_argument(std::string("Unknown option ") + pointers[1]);
}

ScratchDirectory::ScratchDirectory(const std::string& parent)
    : path_(parent + "/fieldstore-bench-XXXXXX") {
    if (mkdtemp(path_.data()) == nullptr)
        throw std::system_error(errno, std::generic_category(), path_);
}

ScratchDirectory::~ScratchDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

void PrintEnvironment(const std::string& directory, const std::string& scale) {
    const bool inMemory = IsMemoryFileSystem(directory);
    Say("fieldstore", Version());
    Say("compiler", kCompiler);
    Say("processor", Processor());
    Say("filesystem", inMemory ? "memory file system" : "disk file system");
    Say("scale", scale);
    Say("load", LoadAverage());
    Say("optimized", kOptimized ? "yes" : "no");
    Say("assertions", kAssertions ? "on" : "off");
    WarnIf(!kOptimized, "Built without optimization; the times mean nothing.");
    WarnIf(kAssertions, "Assertions are on; the times are too long.");
    WarnIf(kSanitized, "Built with a sanitizer; the times mean nothing.");
    WarnIf(std::stod(LoadAverage()) > 1.0, "The machine is busy; the times will be noisy.");
    WarnIf(!inMemory, "Not a memory file system; the times are the disk's.");
}

Report::Report(const std::string& jsonFile) {
    if (jsonFile.empty()) return;
    file_.open(jsonFile);
    if (!file_) throw std::runtime_error("Cannot write " + jsonFile);
    json_.SetOutputStream(&file_);
    json_.SetErrorStream(&file_);
}

Report::~Report() {
    if (started_ && file_.is_open()) json_.Finalize();
}

bool Report::ReportContext(const Context& context) {
    if (!started_ && file_.is_open()) json_.ReportContext(context);
    started_ = true;
    return true;
}

void Report::ReportRuns(const std::vector<Run>& runs) {
    if (file_.is_open()) json_.ReportRuns(runs);
    for (const Run& run : runs) {
        if (run.repetitions == 1 || run.aggregate_name == "median") lines_.push_back(Line(run));
    }
}

void Report::Finalize() {
    std::sort(lines_.begin(), lines_.end());
    for (const std::string& line : lines_) std::printf("%s\n", line.c_str());
    std::fflush(stdout);
    lines_.clear();
}

}  // namespace bench
