// SPDX-License-Identifier: Apache-2.0
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <memory>
#include <numeric>

#include "tool/BodyWriter.h"
#include "tool/Commands.h"
#include "tool/Copy.h"
#include "tool/OutputFile.h"
#include "tool/Terminal.h"
#include "tool/WritersKeptOut.h"
#include "tool/formats/Json.h"

namespace fieldstore::tool {
namespace fs = std::filesystem;
namespace {

struct RepairOptions {
    std::string input;
    std::string output;
    std::string className;
    std::string lockDirectory;
    bool inPlace = false;
    bool force = false;
    bool json = false;
};

/// The damaged bytes under the first of FILE.bak, FILE.bak1 ... that is free; they go with the
/// object unless they are needed.
class Backup {
public:
    explicit Backup(const std::string& path) : name(FreeName(path)) {
        std::error_code error;
        fs::create_hard_link(path, name, error);
        if (error) Copy(path);  // some file systems have no links
        removal.emplace(name);
        made = FileIdentity::Of(name);
    }
    ~Backup() {
        if (removal) unlink(name.c_str());
    }
    Backup(const Backup&) = delete;
    Backup& operator=(const Backup&) = delete;
    const std::string& Name() const { return name; }
    /// Whether something was written to it, as to the old file that it may be.
    bool HasChanged() const { return FileIdentity::Of(name) != made; }
    void Keep() { removal.reset(); }

private:
    static std::string FreeName(const std::string& path) {
        constexpr int most = 1000;
        for (int number = 0; number < most; ++number) {
            std::string backup = path + ".bak" + (number == 0 ? "" : std::to_string(number));
            std::error_code error;
            if (!fs::exists(fs::symlink_status(backup, error))) return backup;
        }
        throw Error(path, "has too many backups", "Remove some of " + path + ".bak*");
    }
    void Copy(const std::string& path) const {
        OutputFile copy(name, false);
        copy.Resemble(path);
        copy.Fill([&](std::ostream& out) { CopyBytes(path, 0, fs::file_size(path), out); });
        copy.Publish();
    }

    std::string name;
    std::optional<RemovedOnSignal> removal;
    std::optional<FileIdentity> made;
};

/// What was kept and lost of a file.
struct Outcome {
    std::vector<int> lostBlocks;
    std::uint64_t lostBytes = 0;  // when not blocks
    std::string backup;
    bool loads = false;
};

std::vector<int> LostBlocks(const ResultFile& file) {
    std::vector<int> all(file.savedBlocks.empty() ? 0 : static_cast<std::size_t>(file.blockCount));
    std::iota(all.begin(), all.end(), 0);
    std::vector<int> lost;
    std::set_difference(all.begin(), all.end(), file.savedBlocks.begin(), file.savedBlocks.end(),
                        std::back_inserter(lost));
    return lost;
}

Json OutcomeJson(const ResultFile& file, const Outcome& outcome) {
    Json json{{"path", file.path},
              {"class", file.ClassName()},
              {"mode", file.Mode()},
              {"keptBodies", file.bodies.size()},
              {"keptEntries", file.Entries()},
              {"loads", outcome.loads}};
    if (file.savedBlocks.empty()) {
        json["keptBytes"] = file.WholeEnd();
        json["lostBytes"] = outcome.lostBytes;
    } else {
        json["keptBlocks"] = file.savedBlocks;
        json["lostBlocks"] = outcome.lostBlocks;
    }
    if (file.fault) json["cause"] = file.fault->what();
    if (!outcome.backup.empty()) json["backup"] = outcome.backup;
    return json;
}

/// Ascending numbers: blocks 0-3, 7.
std::string NumbersText(const std::vector<int>& numbers) {
    std::string text = numbers.size() == 1 ? "block" : "blocks";
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        const std::size_t first = i;
        while (i + 1 < numbers.size() && numbers[i + 1] == numbers[i] + 1) ++i;
        text += (first == 0 ? " " : ", ") + std::to_string(numbers[first]) +
                (i == first ? "" : "-" + std::to_string(numbers[i]));
    }
    return text;
}

void PrintOutcome(const ResultFile& file, const Outcome& outcome) {
    const auto entries = " with " + Counted(file.Entries(), "entry", "entries");
    const auto cause =
        file.fault ? ": at byte " + std::to_string(file.fault->offset) + ", " + file.fault->what()
                   : "";
    if (!file.savedBlocks.empty()) {
        std::cout << "kept " << NumbersText(file.savedBlocks) << entries << '\n';
        if (outcome.lostBlocks.empty())
            std::cout << "lost no block" << cause << '\n';
        else
            std::cout << "lost " << NumbersText(outcome.lostBlocks) << cause << '\n';
        if (!outcome.lostBlocks.empty() && outcome.lostBlocks.front() < file.savedBlocks.back())
            Say("a lost block before a kept one is an empty block now");
    } else {
        std::cout << "kept " << Counted(file.bodies.size(), "body", "bodies") << entries
                  << ", bytes 0 to " << file.WholeEnd() << '\n';
        if (outcome.lostBytes == 0)
            std::cout << "lost nothing: the file was whole\n";
        else
            std::cout << "lost bytes " << file.WholeEnd() << " to " << file.size << " ("
                      << ReadableSize(outcome.lostBytes) << ')' << cause << '\n';
    }
    if (!outcome.backup.empty()) std::cout << "backup " << Visible(outcome.backup) << '\n';
}

/// Reads a file of which something can be kept.
ResultFile InspectDamaged(const RepairOptions& options) {
    ResultFile file = InspectReadable(options.input, options.className);
    if (file.bodies.empty() && file.savedBlocks.empty() && file.state == State::Torn)
        RaiseFault(file, "No whole body comes before, so there is nothing to keep.");
    return file;
}

Outcome Save(const ResultFile& file, const OutputFile& output) {
    if (file.savedBlocks.empty()) {
        output.Fill([&file](std::ostream& out) { CopyBodies(file, true, out); });
    } else {
        BodyWriter writer(output, false, file.version);
        writer.Write(SavedBlocks(file));
        writer.Close();
    }
    Outcome outcome;
    outcome.loads = LoadResult(InspectWhole(output.Path(), file.ClassName())) == 0;
    outcome.lostBlocks = LostBlocks(file);
    if (file.state == State::Torn) outcome.lostBytes = file.size - file.WholeEnd();
    return outcome;
}

/// Comes before anything is replaced: who does not learn what is lost keeps all of it.
void Report(const RepairOptions& options, const ResultFile& file, const Outcome& outcome) {
    if (options.json)
        std::cout << ReportText(OutcomeJson(file, outcome));
    else
        PrintOutcome(file, outcome);
    if (!std::cout.flush())
        throw Error("standard output", "cannot be written, so nothing is repaired",
                    "Is the disk full?");
    if (!outcome.loads) Say("a host cannot load what was kept; fieldstore check tells why");
}

void RepairInto(const RepairOptions& options) {
    RequireNotInput(options.output, {options.input});
    const ResultFile file = InspectDamaged(options);
    OutputFile output(options.output, options.force);
    Report(options, file, Save(file, output));
    output.Publish();
}

void RepairInPlace(const RepairOptions& options) {
    WritersKeptOut writers(options.input, options.lockDirectory);  // whose work looks like a tear
    const auto before = FileIdentity::Of(options.input);
    const ResultFile file = InspectDamaged(options);
    const std::string path = BehindLinks(options.input);
    OutputFile output(path, true);
    Outcome outcome = Save(file, output);
    Backup backup(path);
    outcome.backup = backup.Name();
    Report(options, file, outcome);
    output.Publish([&] {
        writers.RequireNoAppend();
        if (FileIdentity::Of(options.input) != before || FileIdentity::Of(path) != before)
            throw Error(options.input, "has changed since it was read",
                        "Nothing was replaced. Make sure that no writer is left.");
    });
    backup.Keep();
    // Between the last look and the replacing there is a moment in which a writer may have begun.
    if (writers.AppendBegan() || backup.HasChanged())
        throw Error(options.input, "a writer has appended while the file was replaced",
                    "The file is repaired. What was appended is in it, or in " + backup.Name());
    writers.Release();
}

int RunRepair(const RepairOptions& options) {
    if (options.inPlace == !options.output.empty())
        throw Error("", "repair wants an output", "Give -o OUT, or --in-place.");
    if (!options.lockDirectory.empty() && !options.inPlace)
        throw Error("", "only --in-place takes a lock", "Leave --lock-directory out.");
    options.inPlace ? RepairInPlace(options) : RepairInto(options);
    return kDone;
}

}  // namespace

void AddRepair(CLI::App& program, Action& action) {
    const auto options = std::make_shared<RepairOptions>();
    auto* command = program.add_subcommand("repair", "Keep the whole bodies, drop a torn tail");
    command->add_option("FILE", options->input, "The damaged file")->required();
    command->add_option("-o,--output", options->output, "The repaired file");
    command->add_flag("--in-place", options->inPlace,
                      "Replace FILE, which stays as FILE.bak; takes the writers' lock");
    AddLockDirectoryOption(*command, options->lockDirectory);
    AddClassOption(*command, options->className);
    AddForceOption(*command, options->force);
    command->add_flag("--json", options->json, "What was kept and lost, for programs");
    command->footer(
        "Tells what was kept and what was lost. Bytes are copied, never changed; of a DOF list in\n"
        "blocks, every whole block is kept, under a new index. In place, nothing is replaced when\n"
        "the file has changed since it was read, or when the mark of an append stands and you "
        "have\n"
        "not said where the writers' locks are.\n\n"
        "Exit status: 0; 2 when nothing was written, as when no body is whole.\n\n"
        "Examples:\n"
        "  fieldstore repair solutiondata.dat -o saved.dat\n"
        "  fieldstore repair --in-place modeinfo.dat");
    command->callback([=, &action] { action = [=] { return RunRepair(*options); }; });
}

}  // namespace fieldstore::tool
