// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <memory>
#include <numeric>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "streams/FileExists.h"
#include "streams/FileNames.h"
#include "tool/BodyReader.h"
#include "tool/BodyWriter.h"
#include "tool/Catalog.h"
#include "tool/CommandLine.h"
#include "tool/Commands.h"
#include "tool/Copy.h"
#include "tool/Error.h"
#include "tool/HostLoad.h"
#include "tool/Inspection.h"
#include "tool/OutputFile.h"
#include "tool/ReadBodies.h"
#include "tool/RemovedOnSignal.h"
#include "tool/Rescue.h"
#include "tool/ResultFile.h"
#include "tool/Seal.h"
#include "tool/System.h"
#include "tool/Terminal.h"
#include "tool/Visible.h"
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
    bool entries = false;
    bool trustLastNumber = false;
};

constexpr const char* kTrustAdvice =
    "the last line has no end, so its number may lack digits; --trust-last-number keeps the body";

/// What is there, and what of it can be kept.
struct Damaged {
    ResultFile file;
    Rescue rescue;
};

/// The damaged bytes under the first of FILE.bak, FILE.bak1 ... that is free; they go with the
/// object unless they are needed.
class Backup {
public:
    explicit Backup(const std::string& path) : name(FreeName(path)) {
        std::error_code error;
        fs::create_hard_link(platform::PathOf(path), platform::PathOf(name), error);
        if (error) Copy(path);  // some file systems have no links
        removal.emplace(name);
        made = system::StateOf(name);
    }
    ~Backup() {
        if (removal) platform::Remove(name);
    }
    Backup(const Backup&) = delete;
    Backup& operator=(const Backup&) = delete;
    const std::string& Name() const { return name; }
    /// Whether something was written to it, as to the old file that it may be.
    bool HasChanged() const { return system::StateOf(name) != made; }
    void Keep() { removal.reset(); }

private:
    static std::string FreeName(const std::string& path) {
        constexpr int most = 1000;
        for (int number = 0; number < most; ++number) {
            std::string backup = path + ".bak" + (number == 0 ? "" : std::to_string(number));
            std::error_code error;
            const auto type = platform::TypeOf(backup, platform::Links::Keep, error);
            if (type == fs::file_type::none || type == fs::file_type::not_found) return backup;
        }
        throw Error(path, "has too many backups", "Remove some of " + path + ".bak*");
    }
    void Copy(const std::string& path) const {
        OutputFile copy(name, false);
        copy.Resemble(path);
        copy.Fill([&](std::ostream& out) { CopyBytes(path, 0, FileSize(path), out); });
        copy.Publish();
    }

    std::string name;
    std::optional<RemovedOnSignal> removal;
    std::optional<system::FileState> made;
};

/// What was kept and lost of a file.
struct Outcome {
    std::vector<int> lostBlocks;
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

Json OutcomeJson(const Damaged& damaged, const Outcome& outcome) {
    const auto& [file, rescue] = damaged;
    Json json{{"path", file.path},
              {"class", file.ClassName()},
              {"mode", file.Mode()},
              {"keptBodies", rescue.bodies.size()},
              {"keptEntries", rescue.Entries() + file.savedEntries},
              {"loads", outcome.loads}};
    if (file.savedBlocks.empty()) {
        json["keptBytes"] = file.size - rescue.LostBytes();
        json["lostBytes"] = rescue.LostBytes();
        json["lostRanges"] = Json::array();
        for (const LostRange& range : rescue.lost)
            json["lostRanges"].push_back(
                {{"begin", range.begin}, {"end", range.end}, {"savedEntries", range.saved}});
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

/// bytes 0 to 67 and 134 to 201: those that are in no lost range.
std::string KeptRanges(const Damaged& damaged) {
    std::string text;
    std::uint64_t at = 0;
    const auto add = [&](std::uint64_t end) {
        if (at < end)
            text +=
                (text.empty() ? "" : " and ") + std::to_string(at) + " to " + std::to_string(end);
    };
    for (const LostRange& range : damaged.rescue.lost) {
        add(range.begin);
        at = range.end;
    }
    add(damaged.file.size);
    return text.empty() ? "no bytes" : "bytes " + text;
}

void PrintOutcome(const Damaged& damaged, const Outcome& outcome) {
    const auto& [file, rescue] = damaged;
    const auto entries =
        " with " + Counted(rescue.Entries() + file.savedEntries, "entry", "entries");
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
        std::cout << "kept " << Counted(rescue.bodies.size(), "body", "bodies") << entries << ", "
                  << KeptRanges(damaged) << '\n';
        if (rescue.lost.empty()) std::cout << "lost nothing: the file was whole\n";
        for (const LostRange& range : rescue.lost) {
            std::cout << "lost bytes " << range.begin << " to " << range.end << " ("
                      << ReadableSize(range.end - range.begin) << ')';
            // The reading ended once; what else is lost is not as it was sealed, or no body.
            if (&range == &rescue.lost.front()) std::cout << cause;
            if (range.saved != 0)
                std::cout << "; saved " << Counted(range.saved, "entry", "entries") << " of them";
            std::cout << '\n';
        }
    }
    if (!outcome.backup.empty()) std::cout << "backup " << Visible(outcome.backup) << '\n';
}

std::optional<Seal> SealOf(const std::string& path) {
    try {
        return ReadSeal(path);
    } catch (const Error& error) {
        Say(error);
        Say("goes on without the seal");
        return std::nullopt;
    }
}

/// By the seal of an appended file; its class and mode are known even when nothing can be read.
Damaged DamagedBySeal(ResultFile file, const Seal& seal) {
    file.kind = KindsOfClass(seal.className).front();
    if (file.state == State::Unreadable || file.text != seal.text) {
        file.text = seal.text;
        file.begin = seal.HeadLength();
        file.bodies.clear();
    }
    file.state = State::Torn;
    return {file, RescueBySeal(file, seal)};
}

/// Where even the first body cannot be read, the mode is not known either.
Damaged DamagedAtFirst(ResultFile file) {
    Rescue rescue = RescueByRecognition(file);
    if (rescue.bodies.empty()) {
        ResultFile other = file;
        other.text = !file.text;
        other.begin = 0;
        Rescue found = RescueByRecognition(other);
        if (!found.bodies.empty()) return {std::move(other), std::move(found)};
    }
    return {std::move(file), std::move(rescue)};
}

/// Reads a file of which something can be kept.
Damaged InspectDamaged(const RepairOptions& options) {
    const auto seal = SealOf(options.input);
    const bool sealed =
        seal && Kinds()[KindsOfClass(seal->className).front()].Appends() && !seal->bodies.empty();
    ResultFile file = Inspect(
        options.input, options.className.empty() && sealed ? seal->className : options.className,
        options.trustLastNumber ? LastNumber::Trusted : LastNumber::Ended);
    const bool known = sealed || (file.Info().Appends() && !file.guessed);
    if (file.state == State::Unreadable && !known) RaiseFault(file, "");
    Damaged damaged;
    if (sealed)
        damaged = DamagedBySeal(file, *seal);
    else if (file.bodies.empty() && known && file.fault)
        damaged = DamagedAtFirst(file);
    else
        damaged = {file, RescueByRecognition(file)};
    if (options.entries) SaveEntries(damaged.file, damaged.rescue);
    const bool nothing =
        damaged.rescue.bodies.empty() && damaged.rescue.Entries() == 0 && file.savedBlocks.empty();
    if (nothing && file.fault)
        RaiseFault(file, file.fault->lastNumber ? kTrustAdvice
                                                : "No body is whole, so there is nothing to keep.");
    if (file.fault && file.fault->lastNumber) Say(file.path + ": " + kTrustAdvice);
    return damaged;
}

Outcome Save(const Damaged& damaged, const OutputFile& output) {
    const ResultFile& file = damaged.file;
    if (file.savedBlocks.empty()) {
        output.Fill(
            [&damaged](std::ostream& out) { CopyRescued(damaged.file, damaged.rescue, out); });
    } else {
        BodyWriter writer(output, false, file.version);
        writer.Write(SavedBlocks(file));
        writer.Close();
    }
    Outcome outcome;
    outcome.loads = LoadResult(InspectWhole(output.Path(), file.ClassName())) == 0;
    outcome.lostBlocks = LostBlocks(file);
    return outcome;
}

/// Comes before anything is replaced: who does not learn what is lost keeps all of it.
void Report(const RepairOptions& options, const Damaged& damaged, const Outcome& outcome) {
    if (options.json)
        std::cout << ReportText(OutcomeJson(damaged, outcome));
    else
        PrintOutcome(damaged, outcome);
    FlushOutput("cannot be written, so nothing is repaired");
    if (!outcome.loads) Say("a host cannot load what was kept; fieldstore check tells why");
}

void RepairInto(const RepairOptions& options) {
    RequireNotInput(options.output, {options.input});
    const Damaged damaged = InspectDamaged(options);
    OutputFile output(options.output, options.force);
    Report(options, damaged, Save(damaged, output));
    output.Publish();
}

void RepairInPlace(const RepairOptions& options) {
    WritersKeptOut writers(options.input, options.lockDirectory);  // whose work looks like a tear
    const auto before = system::StateOf(options.input);
    const Damaged damaged = InspectDamaged(options);
    const std::string path = NameBehindLinks(options.input);
    OutputFile output(path, true);
    Outcome outcome = Save(damaged, output);
    Backup backup(path);
    outcome.backup = backup.Name();
    Report(options, damaged, outcome);
    // From here on all of it happens, or nothing; a closed pipe can wait.
    const HeldSignals untilDone;
    output.Publish([&] {
        writers.RequireNoAppend();
        if (system::StateOf(options.input) != before || system::StateOf(path) != before)
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

void DefineRepair(CommandLine& command) {
    const auto options = std::make_shared<RepairOptions>();
    command.Argument("FILE", options->input, "The damaged file");
    command.Value("-o,--output", options->output, "The repaired file");
    command.Flag("--in-place", options->inPlace,
                 "Replace FILE, which stays as FILE.bak; takes the writers' lock");
    command.LockDirectoryOption(options->lockDirectory);
    command.ClassOption(options->className);
    command.ForceOption(options->force);
    command.Flag("--entries", options->entries,
                 "Save whole entries of damaged bodies too; modes and matrices in text");
    command.Flag("--trust-last-number", options->trustLastNumber,
                 "Take the last number of a text file for whole although its line has no end");
    command.Flag("--json", options->json, "What was kept and lost, for programs");
    command.Explain(
        "Tells what was kept and what was lost. Bytes are copied, never changed; of a DOF list in\n"
        "blocks, every whole block is kept, under a new index. Bodies after a damaged one are "
        "kept\n"
        "when the file has a seal, or when they are bodies beyond doubt. In place, nothing is "
        "replaced when\n"
        "the file has changed since it was read, or when there is the mark of an append and you "
        "have\n"
        "not said where the writers' locks are.\n\n"
        "Exit status: 0; 2 when nothing was written, as when no body is whole.\n\n"
        "Examples:\n"
        "  fieldstore repair solutiondata.dat -o saved.dat\n"
        "  fieldstore repair --in-place modeinfo.dat");
    command.Runs([options] { return RunRepair(*options); });
}

}  // namespace fieldstore::tool
