// SPDX-License-Identifier: Apache-2.0
#include <memory>

#include "tool/Commands.h"
#include "tool/Copy.h"
#include "tool/OutputFile.h"
#include "tool/Terminal.h"

namespace fieldstore::tool {
namespace {

struct CompactOptions {
    std::string input;
    std::string output;
    std::string className;
    bool force = false;
};

int RunCompact(const CompactOptions& options) {
    RequireNotInput(options.output, {options.input});
    const ResultFile file = InspectWhole(options.input, options.className);
    OutputFile output(options.output, options.force);
    if (file.Info().Appends())
        StoreLoaded(file, output);
    else
        output.Fill([&file](std::ostream& out) { CopyBodies(file, true, out); });
    output.Publish();
    Say(Counted(file.bodies.size(), "body", "bodies") + " became one");
    return kDone;
}

}  // namespace

void AddCompact(CLI::App& program, Action& action) {
    const auto options = std::make_shared<CompactOptions>();
    auto* command = program.add_subcommand("compact", "Merge appended bodies into one");
    command->add_option("FILE", options->input, "The result file")->required();
    command->add_option("-o,--output", options->output, "The file to write")->required();
    AddClassOption(*command, options->className);
    AddForceOption(*command, options->force);
    command->footer(
        "Loads the file as a host does and stores it again, so that a load of either gives the\n"
        "same. The file of a class that does not append has one body and is copied.\n\n"
        "Exit status: 0; 2 when nothing was written.\n\n"
        "Examples:\n"
        "  fieldstore compact modeinfo.dat -o small.dat");
    command->callback([=, &action] { action = [=] { return RunCompact(*options); }; });
}

}  // namespace fieldstore::tool
