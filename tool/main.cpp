// SPDX-License-Identifier: Apache-2.0
#include <csignal>
#include <exception>
#include <iostream>

#include "tool/Error.h"
#include "tool/Program.h"
#include "tool/RemovedOnSignal.h"
#include "tool/Terminal.h"

namespace fieldstore::tool {
namespace {

int Run(int count, char** arguments) {
    CLI::App program;
    Action action;
    DefineProgram(program, action);
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
    // A closed pipe and a file that may grow no further are errors of the output, not the end.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    RemoveFilesOnSignals();
    try {
        return Run(count, arguments);
    } catch (const Error& error) {
        Say(error);
    } catch (const std::bad_alloc&) {
        Say("there is not enough memory for this file");
    } catch (const std::exception& error) {
        Say(error.what());
    }
    return kTrouble;
}
