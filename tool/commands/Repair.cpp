// SPDX-License-Identifier: Apache-2.0
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <memory>
#include <numeric>

#include "core/SideFiles.h"
#include "tool/BodyWriter.h"
#include "tool/Commands.h"
#include "tool/Copy.h"
#include "tool/LockMarker.h"
#include "tool/OutputFile.h"
#include "tool/Terminal.h"
#include "tool/formats/Json.h"

namespace fieldstore::tool {
namespace fs = std::filesystem;
namespace {

struct RepairOptions {
    std::string input;
    std::string output;
    std::string className;
    bool inPlace = false;
    bool force = false;
    bool json = false;
};

/// A second name for what the file was; the first of FILE.bak, FILE.bak1 ... that is free.
std::string KeepBackup(const std::string& path) {
    constexpr int most = 1000;
    for (int number = 0; number < most; ++number) {
        std::string backup = path + ".bak" + (number == 0 ? "" : std::to_string(number));
        std::error_code error;
        if (fs::exists(fs::symlink_status(backup, error))) continue;
        fs::create_hard_link(path, backup, error);
        if (error) fs::copy_file(path, backup, error);  // some file systems have no links
        if (!error) return backup;
        throw Error(backup, "the backup cannot be made: " + error.message(),
                    "Repair into another file with -o.");
    }
    throw Error(path, "has too many backups", "Remove some of " + path + ".bak*");
}

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
    if (!outcome.backup.empty()) std::cout << "backup " << outcome.backup << '\n';
}

void Save(const ResultFile& file, const OutputFile& output) {
    if (file.savedBlocks.empty())
        return output.Fill([&file](std::ostream& out) { CopyBodies(file, true, out); });
    BodyWriter writer(output.Path(), false, file.version);
    writer.Write(SavedBlocks(file));
    writer.Close();
}

int RunRepair(const RepairOptions& options) {
    if (options.inPlace == !options.output.empty())
        throw Error("", "repair wants an output", "Give -o OUT, or --in-place.");
    if (!options.inPlace) RequireNotInput(options.output, {options.input});
    std::optional<HeldLock> lock;
    if (options.inPlace) lock.emplace(options.input);  // a writer at work looks like a torn tail
    const ResultFile file = InspectReadable(options.input, options.className);
    if (file.bodies.empty() && file.savedBlocks.empty() && file.state == State::Torn)
        RaiseFault(file, "No whole body comes before, so there is nothing to keep.");
    OutputFile output(options.inPlace ? options.input : options.output,
                      options.force || options.inPlace);
    Save(file, output);
    Outcome outcome;
    outcome.loads = LoadResult(InspectWhole(output.Path(), file.ClassName())) == 0;
    outcome.lostBlocks = LostBlocks(file);
    if (file.state == State::Torn) outcome.lostBytes = file.size - file.WholeEnd();
    if (options.inPlace) outcome.backup = KeepBackup(options.input);
    output.Publish();
    // What the mark of an interrupted append stands for has been put right.
    if (options.inPlace) unlink(AppendMarkPathFor(options.input).c_str());
    if (options.json)
        std::cout << ReportText(OutcomeJson(file, outcome));
    else
        PrintOutcome(file, outcome);
    if (!outcome.loads) Say("a host cannot load what was kept; fieldstore check tells why");
    if (lock) lock->Release();
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
    AddClassOption(*command, options->className);
    AddForceOption(*command, options->force);
    command->add_flag("--json", options->json, "What was kept and lost, for programs");
    command->footer(
        "Tells what was kept and what was lost. Bytes are copied, never changed; of a DOF list in\n"
        "blocks, every whole block is kept, under a new index.\n\n"
        "Exit status: 0; 2 when nothing was written, as when no body is whole.\n\n"
        "Examples:\n"
        "  fieldstore repair solutiondata.dat -o saved.dat\n"
        "  fieldstore repair --in-place modeinfo.dat");
    command->callback([=, &action] { action = [=] { return RunRepair(*options); }; });
}

}  // namespace fieldstore::tool
