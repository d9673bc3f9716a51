// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_COMMANDS_H
#define FIELDSTORE_TOOL_COMMANDS_H

#include <CLI/CLI.hpp>
#include <functional>
#include <string>

#include "tool/Error.h"

namespace fieldstore::tool {

/// What the command line asks for; returns the exit status. Empty until a command was parsed.
using Action = std::function<int()>;

// Each adds its command to the program and sets `action` when that command is given.
// Requires: an `action` that lives as long as the program.
void AddLs(CLI::App& program, Action& action);
void AddShow(CLI::App& program, Action& action);
void AddDump(CLI::App& program, Action& action);
void AddBuild(CLI::App& program, Action& action);
void AddCheck(CLI::App& program, Action& action);
void AddRepair(CLI::App& program, Action& action);
void AddCompact(CLI::App& program, Action& action);
void AddConvert(CLI::App& program, Action& action);
void AddMerge(CLI::App& program, Action& action);
void AddDiff(CLI::App& program, Action& action);
void AddUnlock(CLI::App& program, Action& action);

// Options that commands share. Requires: a variable that lives as long as the program.
inline void AddClassOption(CLI::App& command, std::string& className) {
    command
        .add_option("--class", className,
                    "Class of the file, as in POModeInfo; else its name tells, or it is tried")
        ->type_name("CLASS");
}
inline void AddLockDirectoryOption(CLI::App& command, std::string& lockDirectory) {
    command
        .add_option("--lock-directory", lockDirectory,
                    "Directory of the writers' locks; else they stand beside the data")
        ->type_name("DIR");
}
inline void AddForceOption(CLI::App& command, bool& force) {
    command.add_flag("--force", force, "Replace an output file that exists");
}

}  // namespace fieldstore::tool

#endif
