// SPDX-License-Identifier: Apache-2.0
#include <iostream>
#include <memory>
#include <string>

#include "tool/CommandLine.h"
#include "tool/Commands.h"
#include "tool/Error.h"
#include "tool/Extensions.h"
#include "tool/Program.h"
#include "tool/Terminal.h"
#include "tool/Visible.h"

namespace fieldstore::tool {
namespace {

struct HelpOptions {
    std::string command;
};

void ShowExtensions() {
    Table table;
    for (const Extension& extension : Extensions()) {
        table.Add({Visible(extension.name),
                   extension.path.empty()
                       ? extension.summary + " (not installed: package python3-fieldstore)"
                   : extension.summary.empty() ? Visible(extension.path)
                                               : extension.summary});
    }
    std::cout << "\nExtensions, programs fieldstore-NAME on the PATH:\n" << table.Text("  ");
}

int RunHelp(const HelpOptions& options) {
    Program program;
    if (options.command.empty()) {
        const int status = program.Parse({"--help"})();
        ShowExtensions();
        return status;
    }
    if (program.Knows(options.command)) return program.Parse({options.command, "--help"})();
    if (const auto extension = FindExtension(options.command))
        BecomeExtension(*extension, {"--help"});
    throw Error(options.command, "there is no such command",
                "fieldstore help lists commands and extensions.");
}

}  // namespace

void DefineHelp(CommandLine& command) {
    const auto options = std::make_shared<HelpOptions>();
    command.OptionalArgument("COMMAND", options->command,
                             "Command or extension; else all are listed");
    command.Explain(
        "fieldstore NAME runs the program fieldstore-NAME where NAME is no command of its own.\n"
        "Such extensions are looked for in the absolute directories of PATH.\n\n"
        "Exit status: 0; 2 when there is no such command.\n\n"
        "Examples:\n"
        "  fieldstore help\n"
        "  fieldstore help dump");
    command.Runs([options] { return RunHelp(*options); });
}

}  // namespace fieldstore::tool
