// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/ResultCode.h"
#include "streams/FileNames.h"
#include "tool/AcrossFiles.h"
#include "tool/Bodies.h"
#include "tool/BodyReader.h"
#include "tool/Catalog.h"
#include "tool/CommandLine.h"
#include "tool/Commands.h"
#include "tool/Directory.h"
#include "tool/Error.h"
#include "tool/HostLoad.h"
#include "tool/Inspection.h"
#include "tool/LockMarker.h"
#include "tool/Progress.h"
#include "tool/ReadBodies.h"
#include "tool/ResultFile.h"
#include "tool/Seal.h"
#include "tool/SideFiles.h"
#include "tool/Terminal.h"
#include "tool/Visible.h"
#include "tool/formats/Json.h"
#include "tool/rules/Findings.h"
#include "tool/rules/Rules.h"

namespace fieldstore::tool {
namespace {

struct CheckOptions {
    std::vector<std::string> paths;
    std::string className;
    bool full = false;
    bool json = false;
};

struct Verdict {
    ResultFile file;
    std::optional<Error> trouble;  // why it could not be read
    std::vector<Finding> findings;
    std::size_t problems = 0;

    int Status() const {
        if (trouble) return kTrouble;
        return problems != 0 ? kFound : kDone;
    }
};

std::string WhatRepairSaves(const ResultFile& file) {
    if (!file.savedBlocks.empty())
        return "fieldstore repair saves " + std::to_string(file.savedBlocks.size()) + " of " +
               Counted(static_cast<std::uint64_t>(file.blockCount), "block", "blocks");
    if (file.bodies.empty()) return "no whole body comes before";
    return "fieldstore repair saves " + Counted(file.bodies.size(), "whole body", "whole bodies");
}

/// How many bodies at the end are nothing but zero bytes.
std::size_t ZeroBodies(const ResultFile& file) {
    constexpr std::uint64_t most = 100;  // bytes of a body without data
    std::ifstream in(platform::PathOf(file.path), std::ios::binary);
    const auto isZero = [&in](const BodyPlace& body) {
        if (body.entries != 0 || body.end - body.begin > most) return false;
        std::string bytes(static_cast<std::size_t>(body.end - body.begin), '\1');
        in.seekg(static_cast<std::streamoff>(body.begin));
        in.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        return bytes.find_first_not_of('\0') == std::string::npos;
    };
    const auto last = std::find_if_not(file.bodies.rbegin(), file.bodies.rend(), isZero);
    return static_cast<std::size_t>(last - file.bodies.rbegin());
}

/// Zero bytes behind the data, as file systems leave them when a machine fails, read as bodies
/// without data in classes that append. One alone may well be an object that was stored empty.
void CheckTail(const ResultFile& file, Findings& findings) {
    const std::size_t zero = ZeroBodies(file), all = file.bodies.size();
    if (zero == 0 || all == 1) return;
    findings.Problem(file.bodies[all - zero].begin, "the file ends in zero bytes",
                     ": " + Counted(zero, "body", "bodies") +
                         " without data, of a crash or of empty objects; fieldstore compact "
                         "leaves them out");
}

/// A value that differs reads as well as any other; only the seal knows.
void CheckSeal(const ResultFile& file, Findings& findings) {
    const auto seal = ReadSeal(file.path);
    if (!seal) return;
    for (const Finding& finding : FindingsOf(*seal, Compare(file.path, *seal)))
        finding.problem ? findings.Problem(finding.offset, finding.text)
                        : findings.Note(finding.offset, finding.text);
}

void CheckBodies(const ResultFile& file, Findings& findings) {
    const auto rules = RulesOf(file.kind, findings);
    ForEachBody(file, [&](AnyBody& body, const Layout& layout) { rules->Body(body, layout); });
    findings.EndBodies();
    if (file.fault) {
        findings.Problem(file.fault->offset, file.fault->what(), "; " + WhatRepairSaves(file));
    }
    CheckTail(file, findings);
    CheckSeal(file, findings);
    if (!file.fault || !file.bodies.empty()) {
        const Progress progress("Checking " + file.path);
        rules->Finish();
    }
    // The object has the last word: what it refuses is no sound file, whatever the rules say.
    int result = file.state == State::Whole ? LoadResult(file) : 0;
    if (result != 0 && findings.Problems() == 0) {
        // Neither does a host tell a failing disk from bad data; reading once more does.
        ForEachBody(file, {});
        result = LoadResult(file);
    }
    if (result == kInputNotFound)
        throw Error(file.path, "cannot be opened", "Is it being moved or removed?");
    if (result != 0 && findings.Problems() == 0)
        findings.Problem(0, "a host's load fails with result " + std::to_string(result));
    if (const auto lock = FindLock(file.path))
        findings.Note(0, "a writer has locked the file for " + ReadableTime(lock->age));
    for (const auto& line : LeftBeside(file.path)) findings.Note(0, line);
}

bool IsNamedByDefault(const ResultFile& file) {
    return std::filesystem::path(file.path).filename() == file.Info().traits->fileName;
}

Verdict CheckFile(const NamedPath& path, const CheckOptions& options) {
    constexpr std::size_t few = 5;
    Verdict verdict;
    verdict.file.path = path.path;
    try {
        verdict.file = InspectReadable(path.path, options.className);
        Findings findings(options.full ? std::string::npos : few);
        CheckBodies(verdict.file, findings);
        if (!path.directory.empty() && findings.Problems() == 0 && IsNamedByDefault(verdict.file))
            CheckAcross(verdict.file, findings);
        verdict.findings = findings.List();
        verdict.problems = findings.Problems();
    } catch (const Error& error) {
        verdict.trouble = error;
    }
    return verdict;
}

Json VerdictJson(const Verdict& verdict) {
    constexpr std::array words{"sound", "problems", "unreadable"};
    Json json{{"path", verdict.file.path},
              {"verdict", words[static_cast<std::size_t>(verdict.Status())]}};
    if (verdict.trouble) {
        json["trouble"] = verdict.trouble->what();
        return json;
    }
    json["class"] = verdict.file.ClassName();
    json["guessed"] = verdict.file.guessed;
    json["mode"] = verdict.file.Mode();
    json["bodies"] = verdict.file.bodies.size();
    json["problems"] = verdict.problems;
    json["findings"] = Json::array();
    for (const Finding& finding : verdict.findings) {
        Json entry{{"kind", finding.problem ? "problem" : "note"}, {"offset", finding.offset}};
        if (finding.body != 0) entry["body"] = finding.body;
        entry["text"] = finding.text;
        json["findings"].push_back(entry);
    }
    return json;
}

void PrintVerdict(const Verdict& verdict) {
    const ResultFile& file = verdict.file;
    if (verdict.trouble) {
        std::cout << Visible(file.path) << ": " << Painted("unreadable", Colour::Red) << '\n';
        return Say(*verdict.trouble);
    }
    std::cout << Visible(file.path) << ": "
              << (verdict.problems == 0
                      ? Painted("sound", Colour::Green)
                      : Painted(Counted(verdict.problems, "problem", "problems"), Colour::Red))
              << ", " << file.ClassName() << (file.guessed ? " (guess)" : "") << ", " << file.Mode()
              << ", " << Counted(file.bodies.size(), "body", "bodies") << ", "
              << Counted(file.Entries(), "entry", "entries") << '\n';
    for (const Finding& finding : verdict.findings)
        std::cout << "  byte " << finding.offset
                  << (finding.body != 0 ? ", body " + std::to_string(finding.body) : "") << ": "
                  << (finding.problem ? "" : "note: ") << Visible(finding.text) << '\n';
}

int RunCheck(const CheckOptions& options) {
    if (!options.className.empty()) KindsOfClass(options.className);  // raises once, for no class
    int status = kDone;
    Json verdicts = Json::array();
    for (const NamedPath& path : ExpandPaths(options.paths)) {
        const Verdict verdict = CheckFile(path, options);
        if (!path.given && verdict.Status() == kTrouble) {
            Say(Error("left out", *verdict.trouble, ""));
            continue;
        }
        status = std::max(status, verdict.Status());
        if (options.json)
            verdicts.push_back(VerdictJson(verdict));
        else
            PrintVerdict(verdict);
    }
    if (options.json) std::cout << ReportText(verdicts);
    return status;
}

}  // namespace

void DefineCheck(CommandLine& command) {
    const auto options = std::make_shared<CheckOptions>();
    command.Arguments("PATH", options->paths, "Files, or directories of files");
    command.ClassOption(options->className);
    command.Flag("--full", options->full, "Every finding; else five of each rule");
    command.Flag("--json", options->json, "A JSON array for programs");
    command.Explain(
        "Reads everything, and loads the file as a host does. Problems come with their byte\n"
        "offset; notes are good to know and do not change the status. Files in a directory that\n"
        "are no result files are left out; those under their default names are held against each\n"
        "other, too.\n\n"
        "Exit status: 0 sound, 1 problems found, 2 a file could not be read.\n\n"
        "Examples:\n"
        "  fieldstore check results/\n"
        "  fieldstore check --json --full results/solutiondata.dat");
    command.Runs([options] { return RunCheck(*options); });
}

}  // namespace fieldstore::tool
