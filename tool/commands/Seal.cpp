// SPDX-License-Identifier: Apache-2.0
#include "tool/Seal.h"

#include <algorithm>
#include <iostream>
#include <memory>

#include "tool/CommandLine.h"
#include "tool/Commands.h"
#include "tool/Directory.h"
#include "tool/Error.h"
#include "tool/Inspection.h"
#include "tool/ResultFile.h"
#include "tool/Terminal.h"
#include "tool/Visible.h"

namespace fieldstore::tool {
namespace {

struct SealOptions {
    std::vector<std::string> paths;
    std::string className;
    bool update = false;
    bool force = false;
};

void Tell(const std::string& path, const std::string& what, const Seal& seal) {
    std::cout << Visible(path) << ": " << what << ", " << seal.className << ", " << seal.Mode()
              << ", " << Counted(seal.bodies.size(), "body", "bodies") << '\n';
}

/// Seals a file of which nothing, or a part, is sealed. Raises for a file that is not whole.
void SealWhole(const std::string& path, const SealOptions& options, const Seal* earlier) {
    const ResultFile file =
        InspectWhole(path, earlier != nullptr ? earlier->className : options.className);
    const Seal seal = MakeSeal(file, earlier);
    WriteSeal(path, seal, options.force || earlier != nullptr);
    const auto known = earlier != nullptr ? earlier->bodies.size() : 0;
    Tell(path,
         earlier == nullptr
             ? std::string(file.guessed ? "sealed with a guess of its class" : "sealed")
             : Counted(seal.bodies.size() - known, "body", "bodies") + " added to the seal",
         seal);
}

/// Returns kFound when something has changed that was sealed.
int Update(const std::string& path, const SealOptions& options, const Seal& seal) {
    const Comparison comparison = Compare(path, seal);
    if (comparison.HasChanged()) {
        std::cout << Visible(path) << ": " << Painted("changed", Colour::Red)
                  << ", so the seal stays as it is\n";
        for (const Finding& finding : FindingsOf(seal, comparison))
            std::cout << "  byte " << finding.offset << ": " << Visible(finding.text) << '\n';
        return kFound;
    }
    if (comparison.behind != 0)
        SealWhole(path, options, &seal);
    else
        Tell(path, "as sealed on " + seal.time, seal);
    return kDone;
}

int SealPath(const std::string& path, const SealOptions& options) {
    if (options.update)
        if (const auto seal = ReadSeal(path)) return Update(path, options, *seal);
    SealWhole(path, options, nullptr);
    return kDone;
}

int RunSeal(const SealOptions& options) {
    if (options.update && options.force)
        throw Error("", "--update keeps the old seals, --force replaces them", "Give one of them.");
    int status = kDone;
    for (const NamedPath& path : ExpandPaths(options.paths)) {
        try {
            status = std::max(status, SealPath(path.path, options));
        } catch (const Error& error) {
            Say(path.given ? error : Error("left out", error, ""));
            if (path.given) status = kTrouble;
        }
    }
    return status;
}

}  // namespace

void DefineSeal(CommandLine& command) {
    const auto options = std::make_shared<SealOptions>();
    command.Arguments("PATH", options->paths, "Files, or directories of files");
    command.ClassOption(options->className);
    command.Flag("--update", options->update,
                 "Check what is sealed already, and add the bodies appended since");
    command.Flag("--force", options->force, "Replace seals that exist");
    command.Explain(
        "Writes NAME.seal next to each file: length, class, mode, time, and the XXH3-128 digest "
        "of\n"
        "every body and of the whole. ls, check, verify and repair use it. Seal a file when no\n"
        "writer is at work on it. A seal shows accidents; who can write the file can write a new\n"
        "seal as well. Files in a directory that are no result files are left out.\n\n"
        "Exit status: 0; 1 when --update found a change in what is sealed, whose seal then stays;\n"
        "2 when a file could not be sealed.\n\n"
        "Examples:\n"
        "  fieldstore seal results/\n"
        "  fieldstore seal --update results/");
    command.Runs([options] { return RunSeal(*options); });
}

}  // namespace fieldstore::tool
