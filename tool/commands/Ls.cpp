// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tool/Catalog.h"
#include "tool/CommandLine.h"
#include "tool/Commands.h"
#include "tool/Directory.h"
#include "tool/Error.h"
#include "tool/Inspection.h"
#include "tool/LockMarker.h"
#include "tool/ResultFile.h"
#include "tool/Seal.h"
#include "tool/SideFiles.h"
#include "tool/Terminal.h"
#include "tool/Visible.h"
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
    std::string seal;               // empty without one
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
        if (const auto seal = ReadSeal(path)) line.seal = Compare(path, *seal).Word();
        if (line.seal == "changed")
            throw Error(path, "has changed since it was sealed", "Run: fieldstore verify " + path);
    } catch (const Error& error) {
        line.trouble = error;
    }
    return line;
}

/// A whole file that has a seal is one that is as it was sealed, or one that is not.
std::string StateText(const Line& line) {
    const State state = line.file.state;
    if (state == State::Unreadable) return Painted(NameOf(state), Colour::Red);
    if (line.seal == "changed") return Painted("changed", Colour::Red);
    if (state == State::Torn) return Painted(NameOf(state), Colour::Yellow);
    return Painted(line.seal == "intact" ? "sealed" : NameOf(state), Colour::Green);
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
    if (!line.seal.empty()) json["seal"] = line.seal;
    if (line.trouble) json["trouble"] = line.trouble->what();
    return json;
}

/// What most files have nothing to say of, in a line below the file's own.
std::string Remarks(const Line& line) {
    std::string text;
    const auto add = [&text](const std::string& remark) {
        text += (text.empty() ? "" : "; ") + remark;
    };
    if (line.file.guessed && line.file.state != State::Unreadable) add("class is a guess");
    if (line.file.version) add("version " + Visible(*line.file.version));
    if (!line.lock.empty() && line.lock != "free") add(line.lock);
    if (line.seal == "appended") add("appended to since it was sealed");
    return text;
}

void AddRow(Table& table, const Line& line, const std::string& name) {
    const ResultFile& file = line.file;
    if (file.state == State::Unreadable)
        table.Add({StateText(line), "-", "-", "-", "-", ReadableSize(file.size), name});
    else
        table.Add({StateText(line), file.ClassName(), file.Info().blocked ? "blocked" : file.Mode(),
                   std::to_string(file.bodies.size()), std::to_string(file.Entries()),
                   ReadableSize(file.size), name});
    if (const auto remarks = Remarks(line); !remarks.empty()) table.Add({"       " + remarks});
}

/// The files of a directory under its name, so that a line has room for theirs.
class Listing {
public:
    void Add(const NamedPath& path, const Line& line) {
        if (tables.empty() || path.directory != directory) Begin(path.directory);
        const std::filesystem::path whole(line.file.path);
        AddRow(tables.back(), line,
               Visible(directory.empty() ? whole.string() : whole.filename().string()));
    }
    std::string Text() const {
        std::string text;
        for (std::size_t i = 0; i < tables.size(); ++i) text += titles[i] + tables[i].Text();
        return text;
    }

private:
    void Begin(const std::string& next) {
        directory = next;
        titles.push_back((tables.empty() ? "" : "\n") +
                         (next.empty() ? "" : Visible(next) + ":\n"));
        tables.emplace_back();
        tables.back().Add({"STATE", "CLASS", "MODE", "BODIES", "ENTRIES", "SIZE", "FILE"});
    }

    std::string directory;
    std::vector<std::string> titles;
    std::vector<Table> tables;
};

int RunLs(const LsOptions& options) {
    if (!options.className.empty()) KindsOfClass(options.className);  // raises once, for no class
    Listing listing;
    Json lines = Json::array();
    std::vector<Error> troubles;
    int status = kDone;
    for (const NamedPath& path : ExpandPaths(options.paths)) {
        const Line line = Look(path.path, options.className);
        // A directory may hold anything; nobody has asked for this file.
        const bool unreadable = line.file.state == State::Unreadable;
        const bool lockUnknown = !unreadable && line.lock.empty();
        if (lockUnknown || (unreadable && path.directory.empty())) status = kTrouble;
        if (line.trouble && (lockUnknown || path.given)) troubles.push_back(*line.trouble);
        for (const auto& left : line.left) troubles.emplace_back("", left, "");
        lines.push_back(LineJson(line));
        listing.Add(path, line);
    }
    if (options.json)
        std::cout << ReportText(lines);
    else
        std::cout << listing.Text();
    for (const auto& trouble : troubles) Say(trouble);
    return status;
}

}  // namespace

void DefineLs(CommandLine& command) {
    const auto options = std::make_shared<LsOptions>();
    command.Arguments("PATH", options->paths, "Files, or directories of files");
    command.ClassOption(options->className);
    command.Flag("--json", options->json, "A JSON array for programs");
    command.Explain(
        "Reads each file whole: bodies and state are counted, not believed. A class that is a\n"
        "guess was found by trying, since neither the name nor --class tells it. A file that has "
        "a\n"
        "seal is compared with it.\n\n"
        "Exit status: 0; 2 when a file that was named is missing or unreadable, or when\n"
        "the system does not tell whether a file is locked.\n\n"
        "Examples:\n"
        "  fieldstore ls results/\n"
        "  fieldstore ls --class POModeInfo run*/modes.bin --json");
    command.Runs([options] { return RunLs(*options); });
}

}  // namespace fieldstore::tool
