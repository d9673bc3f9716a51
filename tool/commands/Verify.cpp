// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "streams/FileNames.h"
#include "tool/CommandLine.h"
#include "tool/Commands.h"
#include "tool/Directory.h"
#include "tool/Error.h"
#include "tool/Seal.h"
#include "tool/SideFiles.h"
#include "tool/Terminal.h"
#include "tool/Visible.h"
#include "tool/formats/Json.h"
#include "tool/rules/Findings.h"

namespace fieldstore::tool {
namespace {

struct VerifyOptions {
    std::vector<std::string> paths;
    bool json = false;
};

/// What is to be said of a file.
struct Verdict {
    std::string path;
    std::optional<Seal> seal;
    Comparison comparison;
    std::optional<Error> trouble;

    const char* Word() const {
        if (!seal && !trouble) return "unsealed";
        return trouble ? "unreadable" : comparison.Word();
    }
    int Status() const {
        if (trouble) return kTrouble;
        return comparison.HasChanged() ? kFound : kDone;
    }
};

bool IsSeal(const std::string& name) {
    return platform::PathOf(name).extension() == kSealSuffix;
}

std::string WithoutExtension(const std::string& name) {
    return name.substr(0, name.rfind('.'));
}

/// The data files that the paths stand for: in a directory those that have a seal, even without
/// data, and those that have none.
std::vector<NamedPath> DataFiles(const std::vector<std::string>& paths) {
    std::vector<NamedPath> files;
    for (const std::string& path : paths) {
        if (!platform::IsDirectory(path)) {
            files.push_back({IsSeal(path) ? WithoutExtension(path) : path, true, ""});
            continue;
        }
        auto found = ExpandPaths({path});
        for (NamedPath& file : found) file.given = false;
        std::error_code none;
        for (const std::string& name : platform::NamesIn(path, none)) {
            if (!IsSeal(name)) continue;
            const std::string data = platform::Joined(path, WithoutExtension(name));
            const auto same = [&](const NamedPath& file) { return file.path == data; };
            if (std::none_of(found.begin(), found.end(), same)) found.push_back({data, true, path});
        }
        files.insert(files.end(), found.begin(), found.end());
    }
    return files;
}

Verdict Look(const NamedPath& path) {
    Verdict verdict;
    verdict.path = path.path;
    try {
        verdict.seal = ReadSeal(path.path);
        if (verdict.seal) verdict.comparison = Compare(path.path, *verdict.seal);
        if (!verdict.seal && path.given)
            throw Error(path.path, "has no seal", "Make one with fieldstore seal.");
    } catch (const Error& error) {
        verdict.trouble = error;
    }
    return verdict;
}

Json VerdictJson(const Verdict& verdict) {
    Json json{{"path", verdict.path}, {"verdict", verdict.Word()}};
    if (verdict.trouble) json["trouble"] = verdict.trouble->what();
    if (!verdict.seal || verdict.trouble) return json;
    json["class"] = verdict.seal->className;
    json["mode"] = verdict.seal->Mode();
    json["time"] = verdict.seal->time;
    json["sealedBodies"] = verdict.seal->bodies.size();
    json["changedBodies"] = verdict.comparison.changed;
    json["appendedBodies"] = verdict.comparison.appendedBodies;
    json["findings"] = Json::array();
    for (const Finding& finding : FindingsOf(*verdict.seal, verdict.comparison))
        json["findings"].push_back({{"kind", finding.problem ? "problem" : "note"},
                                    {"offset", finding.offset},
                                    {"text", finding.text}});
    return json;
}

void PrintVerdict(const Verdict& verdict) {
    if (verdict.trouble) return Say(*verdict.trouble);
    std::cout << Visible(verdict.path) << ": ";
    if (!verdict.seal) {
        std::cout << Painted("no seal", Colour::Yellow) << '\n';
        return;
    }
    const Seal& seal = *verdict.seal;
    std::cout << (verdict.comparison.HasChanged() ? Painted("changed", Colour::Red)
                                                  : Painted("as sealed", Colour::Green))
              << ", " << Visible(seal.className) << ", " << seal.Mode() << ", "
              << Counted(seal.bodies.size(), "body", "bodies") << ", " << Visible(seal.time)
              << '\n';
    for (const Finding& finding : FindingsOf(seal, verdict.comparison))
        std::cout << "  byte " << finding.offset << ": " << (finding.problem ? "" : "note: ")
                  << Visible(finding.text) << '\n';
}

int RunVerify(const VerifyOptions& options) {
    int status = kDone;
    bool anySeal = false;
    Json verdicts = Json::array();
    for (const NamedPath& path : DataFiles(options.paths)) {
        const Verdict verdict = Look(path);
        status = std::max(status, verdict.Status());
        anySeal = anySeal || verdict.seal || verdict.trouble;
        if (options.json)
            verdicts.push_back(VerdictJson(verdict));
        else
            PrintVerdict(verdict);
    }
    if (options.json) std::cout << ReportText(verdicts);
    if (!anySeal)
        throw Error(options.paths.front(), "nothing there is sealed",
                    "Make seals with fieldstore seal.");
    return status;
}

}  // namespace

void DefineVerify(CommandLine& command) {
    const auto options = std::make_shared<VerifyOptions>();
    command.Arguments("PATH", options->paths, "Files, or directories of files");
    command.Flag("--json", options->json, "A JSON array for programs");
    command.Explain(
        "Compares every byte that is sealed, at the speed of the disk, and names the bodies that\n"
        "have changed. Bodies appended after the seal are no change; they are counted. Files in a\n"
        "directory that have no seal are named and do not change the status.\n\n"
        "Exit status: 0 as sealed, 1 something has changed, 2 a file or its seal is missing or\n"
        "could not be read.\n\n"
        "Examples:\n"
        "  fieldstore verify results/\n"
        "  fieldstore verify --json results/solutiondata.dat");
    command.Runs([options] { return RunVerify(*options); });
}

}  // namespace fieldstore::tool
