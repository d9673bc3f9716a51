// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_BENCH_ENVIRONMENT_H
#define FIELDSTORE_BENCH_ENVIRONMENT_H

#include <benchmark/benchmark.h>

#include <fstream>
#include <map>
#include <string>
#include <vector>

// What the benchmark programs share: their options, what they print first, a scratch directory and
// the report of a run.

namespace bench {

/// Runs a program's own main(); an error is told and gives the status 2.
int RunGuarded(int (*program)(int argc, char** argv), int argc, char** argv);

/// Takes the options named in `values` ("--name=value") off the command line; what is left goes to
/// the benchmark library, together with `defaults`, which the user's options override.
class CommandLine {
public:
    CommandLine(int argc, char** argv, std::vector<std::string> defaults,
                std::map<std::string, std::string> values);

    const std::string& operator[](const std::string& name) const { return values_.at(name); }

private:
    std::map<std::string, std::string> values_;
};

/// A new directory below another one, removed with everything in it.
class ScratchDirectory {
public:
    explicit ScratchDirectory(const std::string& parent);
    ScratchDirectory(const ScratchDirectory&) = delete;
    ScratchDirectory& operator=(const ScratchDirectory&) = delete;
    ~ScratchDirectory();

    std::string Path(const std::string& name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

/// Prints version, build, processor, file system and scale, and a warning for everything that makes
/// the numbers worthless; puts the same into the report.
void PrintEnvironment(const std::string& directory, const std::string& scale);

/// Prints the medians of a run sorted by name and writes every repeat to a file, if one is named.
/// One report may span several runs of the benchmark library.
class Report : public benchmark::BenchmarkReporter {
public:
    explicit Report(const std::string& jsonFile);
    ~Report() override;

    bool ReportContext(const Context& context) override;
    void ReportRuns(const std::vector<Run>& runs) override;
    void Finalize() override;

private:
    benchmark::JSONReporter json_;
    std::ofstream file_;
    std::vector<std::string> lines_;
    bool started_ = false;
};

}  // namespace bench

#endif
