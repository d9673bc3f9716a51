// SPDX-License-Identifier: Apache-2.0
#include <memory>
#include <string>

#include "tool/Bodies.h"
#include "tool/BodyReader.h"
#include "tool/BodyWriter.h"
#include "tool/CommandLine.h"
#include "tool/Commands.h"
#include "tool/Directory.h"
#include "tool/Error.h"
#include "tool/HostLoad.h"
#include "tool/Inspection.h"
#include "tool/OutputFile.h"
#include "tool/ReadBodies.h"
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

void ConvertFile(const std::string& input, const std::string& out, const ConvertOptions& options) {
    RequireNotInput(out, {input});
    const ResultFile file = InspectWhole(input, options.className);
    const bool text = options.mode == "text";
    if (text && file.Info().blocked)
        throw Error(file.path, "a DOF list in blocks has no text form", "Keep it binary.");
    OutputFile output(out, options.force);
    BodyWriter writer(output, text, file.version);
    ForEachBody(file, [&writer](const AnyBody& body, const Layout&) { writer.Write(body); });
    writer.Close();
    RequireLoads(InspectWhole(output.Path(), file.ClassName()), out);
    output.Publish();
    if (text && !file.text)
        Say((input == options.input ? "" : input + ": ") +
            "text keeps 16 digits: a value may differ in its last bit");
}

int RunConvert(const ConvertOptions& options) {
    return ForFileOrDirectory(options.input, options.className, options.output,
                              [&options](const std::string& input, const std::string& output) {
                                  ConvertFile(input, output, options);
                              });
}

}  // namespace

void DefineConvert(CommandLine& command) {
    const auto options = std::make_shared<ConvertOptions>();
    command.Argument("FILE", options->input, "The result file, or a directory of them");
    command.Value("-o,--output", options->output, "The file to write, or the directory").Required();
    command.Value("--to", options->mode, "text or binary").Required().AnyOf({"text", "binary"});
    command.ClassOption(options->className);
    command.ForceOption(options->force);
    command.Explain(
        "Keeps bodies apart, as they are. Text has 16 digits, so a value may differ in its last\n"
        "bit; a DOF list in blocks is always binary. Of a directory, every result file gives one "
        "of\n"
        "its name.\n\n"
        "Exit status: 0; 2 when nothing was written.\n\n"
        "Examples:\n"
        "  fieldstore convert circuitmatrices.dat --to text -o matrices.txt\n"
        "  fieldstore convert results/ --to binary -o binary/");
    command.Runs([options] { return RunConvert(*options); });
}

}  // namespace fieldstore::tool
