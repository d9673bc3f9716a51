// SPDX-License-Identifier: Apache-2.0
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <iostream>
#include <memory>

#include "tool/Commands.h"
#include "tool/LockMarker.h"
#include "tool/Terminal.h"
#include "tool/formats/Json.h"

namespace fieldstore::tool {
namespace {

struct UnlockOptions {
    std::string path;
    bool force = false;
    bool json = false;
};

void Report(const UnlockOptions& options, const std::optional<LockMarker>& marker, bool removed) {
    if (options.json) {
        Json json{{"path", options.path}, {"locked", marker.has_value()}, {"removed", removed}};
        if (marker) {
            json["marker"] = marker->path;
            json["age"] = marker->age.count();
        }
        std::cout << ReportText(json);
    } else if (removed) {
        std::cout << "removed " << marker->path << '\n';
    }
    if (removed)
        Say("the next commit under the lock checks the end of the file, and takes back what the "
            "dead writer had begun");
}

int RunUnlock(const UnlockOptions& options) {
    const auto marker = FindLock(options.path);
    if (!options.json)
        std::cout << options.path << ": "
                  << (marker ? "locked for " + ReadableTime(marker->age) : "not locked") << '\n';
    const bool terminal = isatty(STDIN_FILENO) != 0;
    const bool agreed =
        marker &&
        (options.force || Confirmed("Is no writer left, and may " + marker->path + " be removed?"));
    if (agreed && unlink(marker->path.c_str()) != 0 && errno != ENOENT)
        throw Error(marker->path, std::string("cannot be removed: ") + std::strerror(errno),
                    "Check the permissions of its directory.");
    Report(options, marker, agreed);
    if (!marker || agreed || terminal) return kDone;
    throw Error(marker->path, "not removed, as there is no terminal to ask on",
                "Make sure that no writer is left, and give --force.");
}

}  // namespace

void AddUnlock(CLI::App& program, Action& action) {
    const auto options = std::make_shared<UnlockOptions>();
    auto* command = program.add_subcommand("unlock", "Remove the lock that a dead writer left");
    command->add_option("PATH", options->path, "The data file, or its .lck marker")->required();
    command->add_flag("--force", options->force, "Remove the marker without asking");
    command->add_flag("--json", options->json, "A JSON object for programs");
    command->footer(
        "Shows the marker's age and asks before it removes it. A writer holds its lock from the\n"
        "opening of the file to its closing, rarely for more than seconds; a lock that is taken\n"
        "from a living writer lets another one spoil the file. The next commit under the lock\n"
        "checks the end of the file, and takes back what a dead writer had begun to append.\n\n"
        "Exit status: 0 not locked, removed, or kept as you wished; 2 when it could not be "
        "removed\n"
        "or there is no terminal to ask on.\n\n"
        "Examples:\n"
        "  fieldstore unlock results/modeinfo.dat\n"
        "  fieldstore unlock --force results/modeinfo.lck");
    command->callback([=, &action] { action = [=] { return RunUnlock(*options); }; });
}

}  // namespace fieldstore::tool
