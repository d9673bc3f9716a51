// SPDX-License-Identifier: Apache-2.0
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <system_error>

#include "streams/FileNames.h"
#include "tool/Bodies.h"
#include "tool/BodyWriter.h"
#include "tool/Catalog.h"
#include "tool/CommandLine.h"
#include "tool/Commands.h"
#include "tool/Error.h"
#include "tool/HostLoad.h"
#include "tool/Inspection.h"
#include "tool/OutputFile.h"
#include "tool/Progress.h"
#include "tool/formats/Json.h"

namespace fieldstore::tool {
namespace {

struct BuildOptions {
    std::string input;
    std::string output;
    std::string mode;
    bool unchecked = false;
    bool force = false;
};

/// Fills the output with the document's file; returns the class.
std::string BuildFile(const BuildOptions& options, std::istream& document,
                      const OutputFile& output) {
    std::optional<BodyWriter> writer;
    std::string className;
    try {
        BuildFromJson(
            document,
            [&](const JsonHead& head) {
                const bool text = options.mode.empty() ? head.text : options.mode == "text";
                className = Kinds()[head.kind].ClassName();
                writer.emplace(output, text, head.version);
            },
            [&](const AnyBody& body) { writer->Write(body); });
        writer->Close();
    } catch (const Error& error) {
        throw Error(options.input, error, "docs/json-schema.json tells the form.");
    }
    return className;
}

std::string BuildFile(const BuildOptions& options, const OutputFile& output) {
    std::error_code none;
    const auto size = std::filesystem::file_size(options.input, none);
    const Progress progress("Reading " + options.input, options.input, none ? 0 : size);
    if (options.input == "-") return BuildFile(options, std::cin, output);
    std::ifstream file(platform::PathOf(options.input), std::ios::binary);
    if (!file) throw Error(options.input, "cannot be opened", "Check the path and permissions.");
    return BuildFile(options, file, output);
}

int RunBuild(const BuildOptions& options) {
    RequireNotInput(options.output, {options.input});
    OutputFile output(options.output, options.force);
    const auto className = BuildFile(options, output);
    if (!options.unchecked) RequireLoads(InspectWhole(output.Path(), className), options.output);
    output.Publish();
    return kDone;
}

}  // namespace

void DefineBuild(CommandLine& command) {
    const auto options = std::make_shared<BuildOptions>();
    command.AlsoCalled("load-json");
    command.Argument("JSON", options->input, "JSON as dump writes it; - for standard input");
    command.Value("-o,--output", options->output, "The result file").Required();
    command.Value("--to", options->mode, "Mode instead of the document's")
        .AnyOf({"text", "binary"});
    command.Flag("--unchecked", options->unchecked, "Also what a host could not load");
    command.ForceOption(options->force);
    command.Explain(
        "What dump --format json wrote becomes the same file again, byte for byte.\n\n"
        "Exit status: 0; 2 when nothing was written.\n\n"
        "Examples:\n"
        "  fieldstore dump modeinfo.dat > modes.json\n"
        "  fieldstore build modes.json -o modeinfo.dat --force");
    command.Runs([options] { return RunBuild(*options); });
}

}  // namespace fieldstore::tool
