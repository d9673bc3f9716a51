// SPDX-License-Identifier: Apache-2.0
#include <memory>

#include "tool/BodyWriter.h"
#include "tool/Commands.h"
#include "tool/OutputFile.h"
#include "tool/ResultFile.h"
#include "tool/Terminal.h"

namespace fieldstore::tool {
namespace {

struct ConvertOptions {
    std::string input;
    std::string output;
    std::string mode;
    std::string className;
    bool force = false;
};

int RunConvert(const ConvertOptions& options) {
    RequireNotInput(options.output, {options.input});
    const ResultFile file = InspectWhole(options.input, options.className);
    const bool text = options.mode == "text";
    if (text && file.Info().blocked)
        throw Error(file.path, "a DOF list in blocks has no text form", "Keep it binary.");
    OutputFile output(options.output, options.force);
    BodyWriter writer(output, text, file.version);
    ForEachBody(file, [&writer](const AnyBody& body, const Layout&) { writer.Write(body); });
    writer.Close();
    RequireLoads(InspectWhole(output.Path(), file.ClassName()), options.output);
    output.Publish();
    if (text && !file.text) Say("text keeps 16 digits: a value may differ in its last bit");
    return kDone;
}

}  // namespace

void AddConvert(CLI::App& program, Action& action) {
    const auto options = std::make_shared<ConvertOptions>();
    auto* command = program.add_subcommand("convert", "Change between text and binary");
    command->add_option("FILE", options->input, "The result file")->required();
    command->add_option("-o,--output", options->output, "The file to write")->required();
    command->add_option("--to", options->mode, "text or binary")
        ->required()
        ->check(CLI::IsMember({"text", "binary"}));
    AddClassOption(*command, options->className);
    AddForceOption(*command, options->force);
    command->footer(
        "Keeps bodies apart, as they are. Text has 16 digits, so a value may differ in its last\n"
        "bit; a DOF list in blocks is binary alone.\n\n"
        "Exit status: 0; 2 when nothing was written.\n\n"
        "Examples:\n"
        "  fieldstore convert circuitmatrices.dat --to text -o matrices.txt");
    command->callback([=, &action] { action = [=] { return RunConvert(*options); }; });
}

}  // namespace fieldstore::tool
