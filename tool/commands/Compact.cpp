// SPDX-License-Identifier: Apache-2.0
#include <memory>
#include <string>

#include "tool/CommandLine.h"
#include "tool/Commands.h"
#include "tool/Copy.h"
#include "tool/Directory.h"
#include "tool/Error.h"
#include "tool/HostLoad.h"
#include "tool/Inspection.h"
#include "tool/OutputFile.h"
#include "tool/ResultFile.h"
#include "tool/Terminal.h"

namespace fieldstore::tool {
namespace {

struct CompactOptions {
    std::string input;
    std::string output;
    std::string className;
    bool force = false;
};

void CompactFile(const std::string& input, const std::string& out, const CompactOptions& options) {
    RequireNotInput(out, {input});
    const ResultFile file = InspectWhole(input, options.className);
    OutputFile output(out, options.force);
    if (file.Info().Appends())
        StoreLoaded(file, output);
    else
        output.Fill([&file](std::ostream& stream) { CopyBodies(file, true, stream); });
    output.Publish();
    Say((input == options.input ? "" : input + ": ") +
        Counted(file.bodies.size(), "body", "bodies") + " became one");
}

int RunCompact(const CompactOptions& options) {
    return ForFileOrDirectory(options.input, options.className, options.output,
                              [&options](const std::string& input, const std::string& output) {
                                  CompactFile(input, output, options);
                              });
}

}  // namespace

void DefineCompact(CommandLine& command) {
    const auto options = std::make_shared<CompactOptions>();
    command.Argument("FILE", options->input, "The result file, or a directory of them");
    command.Value("-o,--output", options->output, "The file to write, or the directory").Required();
    command.ClassOption(options->className);
    command.ForceOption(options->force);
    command.Explain(
        "Loads the file as a host does and stores it again, so that a load of either gives the\n"
        "same. The file of a class that does not append has one body and is copied. Of a "
        "directory,\n"
        "every result file gives one of its name.\n\n"
        "Exit status: 0; 2 when nothing was written.\n\n"
        "Examples:\n"
        "  fieldstore compact modeinfo.dat -o small.dat\n"
        "  fieldstore compact results/ -o small/");
    command.Runs([options] { return RunCompact(*options); });
}

}  // namespace fieldstore::tool
