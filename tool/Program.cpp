// SPDX-License-Identifier: Apache-2.0
#include "tool/Program.h"

#include "fieldstore/version.h"
#include "tool/Visible.h"

namespace fieldstore::tool {

std::string VersionNumber() {
    return std::to_string(FIELDSTORE_VERSION_MAJOR) + "." +
           std::to_string(FIELDSTORE_VERSION_MINOR) + "." +
           std::to_string(FIELDSTORE_VERSION_PATCH);
}

void DefineProgram(CLI::App& program, Action& action) {
    program.name(kProgramName);
    program.description("Look at, check, convert, compare and rescue result files");
    program.set_version_flag("--version", std::string(kProgramName) + " " + VersionNumber());
    program.footer(
        "fieldstore COMMAND --help tells more, with examples.\n\n"
        "Exit status: 0 done, 1 check found problems or diff differences, 2 trouble, as with a\n"
        "wrong command line.\n\n"
        "Environment:\n"
        "  NO_COLOR                   when set, no colours on a terminal\n"
        "  TMPDIR                     where show, diff and dump put a merged object for a moment\n"
        "  FIELDSTORE_PROGRESS_DELAY  milliseconds before a progress bar shows (1000)\n\n"
        "Examples:\n"
        "  fieldstore ls results/\n"
        "  fieldstore check results/\n"
        "  fieldstore repair torn.dat -o whole.dat");
    // What was typed may be a file name of someone else's.
    program.failure_message([](const CLI::App* /*app*/, const CLI::Error& error) {
        return Visible(error.what()) + "\nRun with --help for more information.\n";
    });
    for (const auto add : {&AddLs, &AddShow, &AddDump, &AddBuild, &AddCheck, &AddRepair,
                           &AddCompact, &AddConvert, &AddMerge, &AddDiff, &AddUnlock})
        add(program, action);
    program.require_subcommand(1);
}

}  // namespace fieldstore::tool
