// SPDX-License-Identifier: Apache-2.0
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "streams/FileNames.h"
#include "streams/Writer.h"
#include "tool/CommandLine.h"
#include "tool/Commands.h"
#include "tool/Error.h"
#include "tool/LockMarker.h"
#include "tool/SideFiles.h"
#include "tool/System.h"
#include "tool/Terminal.h"
#include "tool/Visible.h"
#include "tool/formats/Json.h"

namespace fieldstore::tool {
namespace {

struct UnlockOptions {
    std::string path;
    std::string lockDirectory;
    bool force = false;
    bool json = false;
};

void Report(const UnlockOptions& options, const std::optional<LockMarker>& marker,
            const std::vector<std::string>& writers, bool removed) {
    if (options.json) {
        Json json{{"path", options.path}, {"locked", marker.has_value()}, {"removed", removed}};
        if (marker) {
            json["marker"] = marker->path;
            json["age"] = marker->age.count();
            json["writers"] = writers;
        }
        std::cout << ReportText(json);
    } else if (removed) {
        std::cout << "removed " << Visible(marker->path) << '\n';
    }
    FlushOutput("cannot be written", removed ? "The lock was removed." : "Is the disk full?");
    if (removed)
        Say("the next commit under the lock checks the end of the file, and takes back what the "
            "dead writer had begun");
}

void Remove(const LockMarker& marker) {
    if (!marker.isEmptyFile)
        throw Error(marker.path, "not removed, as it is no lock: a lock is an empty file",
                    "Someone's data may be in it. Look, and move it out of the way by hand.");
    const auto error = platform::Remove(marker.path);
    if (error && error != std::errc::no_such_file_or_directory)
        throw Error(marker.path, "cannot be removed: " + error.message(),
                    "Check the permissions of its directory.");
}

/// Who is at work, and whether one of them certainly is.
struct AtWork {
    std::vector<std::string> names;
    bool oneRuns = false;
};

AtWork LookForWriters(const LockMarker& marker, const std::string& path) {
    AtWork found;
    for (const Writer& writer : WritersUnder(marker.path, path)) {
        const auto state = writer.Now();
        const char* what = state == Writer::State::Runs   ? ", which is at work"
                           : state == Writer::State::Gone ? ", which is gone"
                                                          : "";
        found.names.push_back(NameOf(writer) + what);
        if (state == Writer::State::Runs) found.oneRuns = true;
    }
    return found;
}

int RunUnlock(const UnlockOptions& options) {
    const auto marker = FindMarker(MarkerPathFor(options.path, options.lockDirectory));
    const AtWork writers = marker ? LookForWriters(*marker, options.path) : AtWork();
    if (!options.json) {
        std::cout << Visible(options.path) << ": "
                  << (marker ? "locked for " + ReadableTime(marker->age) : "not locked");
        for (const auto& name : writers.names) std::cout << ", by " << name;
        std::cout << '\n';
    }
    if (writers.oneRuns && !options.force)
        throw Error(marker->path, "not removed, as its writer is at work",
                    "Wait for it, or end it. --force removes the lock all the same.");
    const bool terminal = system::IsTerminal(system::Standard::Input);
    const bool agreed =
        marker &&
        (options.force || Confirmed("Is no writer left, and may " + marker->path + " be removed?"));
    if (agreed) Remove(*marker);
    Report(options, marker, writers.names, agreed);
    if (!marker || agreed || terminal) return kDone;
    throw Error(marker->path, "not removed, as there is no terminal to ask on",
                "Make sure that no writer is left, and give --force.");
}

}  // namespace

void DefineUnlock(CommandLine& command) {
    const auto options = std::make_shared<UnlockOptions>();
    command.Argument("PATH", options->path, "The data file, or its .lck marker");
    command.LockDirectoryOption(options->lockDirectory);
    command.Flag("--force", options->force, "Remove the marker without asking");
    command.Flag("--json", options->json, "A JSON object for programs");
    command.Explain(
        "Shows the marker's age, and the writers that their side files name, and asks before it\n"
        "removes it; not while one of these runs on this machine. A writer holds its lock from "
        "the\n"
        "opening of the file to its closing, rarely for more than seconds; a lock that is taken\n"
        "from a living writer lets another one spoil the file. The next commit under the lock\n"
        "checks the end of the file, and takes back what a dead writer had begun to append. What\n"
        "has a marker's name and is no empty file stays, with --force as well.\n\n"
        "Exit status: 0 not locked, removed, or kept as you wished; 2 when it could not be "
        "removed\n"
        "or there is no terminal to ask on.\n\n"
        "Examples:\n"
        "  fieldstore unlock results/modeinfo.dat\n"
        "  fieldstore unlock --force results/modeinfo.lck");
    command.Runs([options] { return RunUnlock(*options); });
}

}  // namespace fieldstore::tool
