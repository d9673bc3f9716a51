// SPDX-License-Identifier: Apache-2.0
#include <filesystem>
#include <iostream>
#include <memory>

#include "tool/Commands.h"
#include "tool/LockMarker.h"
#include "tool/SideFiles.h"
#include "tool/Terminal.h"
#include "tool/formats/Json.h"

namespace fieldstore::tool {
namespace {

struct LsOptions {
    std::vector<std::string> paths;
    std::string className;
    bool json = false;
};

/// A file's line; what cannot be inspected at all is a line as well.
struct Line {
    ResultFile file;
    std::optional<Error> trouble;
    std::string lock;               // empty when unknown
    std::vector<std::string> left;  // beside it, by interrupted writers
};

Line Look(const std::string& path, const std::string& className) {
    Line line;
    line.file.path = path;
    try {
        line.file = Inspect(path, className);
        line.left = LeftBeside(path);
        const auto marker = FindLock(path);
        line.lock = marker ? "locked " + ReadableTime(marker->age) : "free";
        if (line.file.state != State::Whole) RaiseFault(line.file, "");
    } catch (const Error& error) {
        line.trouble = error;
    }
    return line;
}

std::string StateText(State state) {
    const auto colour = state == State::Whole  ? Colour::Green
                        : state == State::Torn ? Colour::Yellow
                                               : Colour::Red;
    return Painted(NameOf(state), colour);
}

Json LineJson(const Line& line) {
    const ResultFile& file = line.file;
    Json json{{"path", file.path}, {"state", NameOf(file.state)}};
    if (file.state != State::Unreadable) {
        json["class"] = file.ClassName();
        json["guessed"] = file.guessed;
        json["mode"] = file.Mode();
        if (file.Info().blocked) json["blocks"] = file.blockCount;
        if (!file.savedBlocks.empty()) json["wholeBlocks"] = file.savedBlocks.size();
        json["bodies"] = file.bodies.size();
        json["entries"] = file.Entries();
        if (file.version) json["version"] = *file.version;
    }
    json["size"] = file.size;
    if (!line.lock.empty()) json["locked"] = line.lock != "free";
    if (!line.left.empty()) json["left"] = line.left;
    if (line.trouble) json["trouble"] = line.trouble->what();
    return json;
}

void AddRow(Table& table, const Line& line) {
    const ResultFile& file = line.file;
    if (file.state == State::Unreadable)
        return table.Add({StateText(file.state), "-", "-", "-", "-", ReadableSize(file.size), "-",
                          line.lock.empty() ? "-" : line.lock, Visible(file.path)});
    table.Add({StateText(file.state), file.ClassName() + (file.guessed ? " (guess)" : ""),
               file.Mode() + std::string(file.Info().blocked ? ", blocked" : ""),
               std::to_string(file.bodies.size()), std::to_string(file.Entries()),
               ReadableSize(file.size), Visible(file.version.value_or("-")), line.lock,
               Visible(file.path)});
}

int RunLs(const LsOptions& options) {
    if (!options.className.empty()) KindsOfClass(options.className);  // raises once, for no class
    Table table;
    table.Add({"STATE", "CLASS", "MODE", "BODIES", "ENTRIES", "SIZE", "VERSION", "LOCK", "FILE"});
    Json lines = Json::array();
    std::vector<Error> troubles;
    int status = kDone;
    for (const NamedPath& path : ExpandPaths(options.paths)) {
        const Line line = Look(path.path, options.className);
        // A directory may hold anything; what does not claim to be a result file is no trouble.
        const bool unreadable = line.file.state == State::Unreadable;
        const bool lockUnknown = !unreadable && line.lock.empty();
        if (lockUnknown || (unreadable && path.given)) status = kTrouble;
        if (line.trouble && (lockUnknown || path.given)) troubles.push_back(*line.trouble);
        for (const auto& left : line.left) troubles.emplace_back("", left, "");
        lines.push_back(LineJson(line));
        AddRow(table, line);
    }
    if (options.json)
        std::cout << ReportText(lines);
    else
        std::cout << table.Text();
    for (const auto& trouble : troubles) Say(trouble);
    return status;
}

}  // namespace

void AddLs(CLI::App& program, Action& action) {
    const auto options = std::make_shared<LsOptions>();
    auto* command = program.add_subcommand("ls", "List result files: what each is and its state");
    command->add_option("PATH", options->paths, "Files, or directories of files")->required();
    AddClassOption(*command, options->className);
    command->add_flag("--json", options->json, "A JSON array for programs");
    command->footer(
        "Reads each file whole: bodies and state are counted, not believed. The class marked\n"
        "(guess) was found by trying, since neither the name nor --class tells it.\n\n"
        "Exit status: 0; 2 when a file that was named is missing or unreadable, or when\n"
        "the system does not tell whether a file is locked.\n\n"
        "Examples:\n"
        "  fieldstore ls results/\n"
        "  fieldstore ls --class POModeInfo run*/modes.bin --json");
    command->callback([=, &action] { action = [=] { return RunLs(*options); }; });
}

}  // namespace fieldstore::tool
