// SPDX-License-Identifier: Apache-2.0
#include <csignal>
#include <exception>
#include <iostream>

#include "fieldstore/version.h"
#include "tool/Commands.h"
#include "tool/Error.h"
#include "tool/RemovedOnSignal.h"
#include "tool/Terminal.h"

namespace fieldstore::tool {
namespace {

std::string VersionText() {
    return "fieldstore " + std::to_string(FIELDSTORE_VERSION_MAJOR) + "." +
           std::to_string(FIELDSTORE_VERSION_MINOR) + "." +
           std::to_string(FIELDSTORE_VERSION_PATCH);
}

void AddCommands(CLI::App& program, Action& action) {
    for (const auto add : {&AddLs, &AddShow, &AddDump, &AddBuild, &AddCheck, &AddRepair,
                           &AddCompact, &AddConvert, &AddMerge, &AddDiff, &AddUnlock})
        add(program, action);
    program.require_subcommand(1);
}

int Run(int count, char** arguments) {
    CLI::App program("Look at, check, convert, compare and rescue result files.", "fieldstore");
    program.set_version_flag("--version", VersionText());
    program.footer("fieldstore COMMAND --help tells more, with examples.");
    Action action;
    AddCommands(program, action);
    try {
        program.parse(count, arguments);
    } catch (const CLI::ParseError& error) {
        return program.exit(error) == 0 ? kDone : kTrouble;
    }
    const int status = action();
    if (std::cout.flush()) return status;
    throw Error("standard output", "cannot be written", "Is the disk full?");
}

}  // namespace
}  // namespace fieldstore::tool

int main(int count, char** arguments) {
    using namespace fieldstore::tool;
    std::signal(SIGPIPE, SIG_IGN);  // a closed pipe is an error of the output, not the end
    RemoveFilesOnSignals();
    try {
        return Run(count, arguments);
    } catch (const std::bad_alloc&) {
        Say("there is not enough memory for this file");
    } catch (const std::exception& error) {
        Say(error.what());
    }
    return kTrouble;
}
