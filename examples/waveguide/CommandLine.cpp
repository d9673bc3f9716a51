// SPDX-License-Identifier: Apache-2.0
#include "CommandLine.h"

#include <CLI/CLI.hpp>

#include "SolveOptions.h"

namespace waveguide {
namespace {

constexpr const char* statusHelp =
    "Exit status: 0 success, 1 the report found a mismatch, 2 wrong command line,\n"
    "3 store directory missing, not writable, damaged or in use, 4 mesh file not\n"
    "understood, 5 solver or worker process failed.";

}  // namespace

Command ParseCommandLine(int argc, const char* const* argv) {
    Command command;
    Typed typed;
    CLI::App app("Modes of hollow metallic waveguides by finite elements, kept in a result store.",
                 "waveguide");
    app.require_subcommand(1);
    app.footer(statusHelp);

    CLI::App* solve = app.add_subcommand("solve", "Solve a section and store all results in DIR");
    solve->add_option("DIR", command.solve.directory, "store directory")->required();
    AddSectionOptions(*solve, typed, command.solve);
    AddSolverOptions(*solve, typed, command.solve);
    solve->callback([&] {
        Finish(typed, solve->count("--shape") > 0, command.solve);
        command.kind = Command::Kind::Solve;
    });

    CLI::App* report = app.add_subcommand("report", "Load DIR, compute again, compare");
    report->add_option("DIR", command.directory, "store directory")->required();
    report->callback([&] { command.kind = Command::Kind::Report; });

    // An empty group keeps the processes that `solve` starts out of the help.
    CLI::App* work = app.add_subcommand("worker", "Store a share of the sweep")->group("");
    work->add_option("DIR", command.directory)->required();
    work->add_option("--share", command.share)->required()->check(CLI::Range(0, 63));
    work->add_option("--of", command.shareCount)->required()->check(CLI::Range(1, 64));
    work->callback([&] { command.kind = Command::Kind::Work; });

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        command.kind = Command::Kind::Nothing;
        command.status = app.exit(error) == 0 ? Status::Success : Status::Usage;
    }
    return command;
}

}  // namespace waveguide
