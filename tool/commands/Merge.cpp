// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "tool/Bodies.h"
#include "tool/BodyReader.h"
#include "tool/BodyWriter.h"
#include "tool/CommandLine.h"
#include "tool/Commands.h"
#include "tool/Copy.h"
#include "tool/Error.h"
#include "tool/HostLoad.h"
#include "tool/Inspection.h"
#include "tool/OutputFile.h"
#include "tool/ReadBodies.h"
#include "tool/ResultFile.h"

namespace fieldstore::tool {
namespace {

struct MergeOptions {
    std::vector<std::string> inputs;
    std::string output;
    std::string className;
    bool force = false;
};

std::vector<ResultFile> InspectAll(const MergeOptions& options) {
    std::vector<ResultFile> files;
    for (const auto& input : options.inputs) {
        files.push_back(InspectWhole(input, options.className));
        const ResultFile& file = files.back();
        if (!file.Info().Appends())
            throw Error(input, "files of class " + file.ClassName() + " have one body",
                        "Only classes whose commits append can be merged.");
        if (file.kind != files.front().kind) {
            throw Error(
                input,
                "is a " + file.ClassName() + ", and the first file a " + files.front().ClassName(),
                "Merge files of one class.");
        }
    }
    return files;
}

int RunMerge(const MergeOptions& options) {
    RequireNotInput(options.output, options.inputs);
    const auto files = InspectAll(options);
    const ResultFile& first = files.front();
    OutputFile output(options.output, options.force);
    const bool oneMode = std::all_of(files.begin(), files.end(), [&first](const ResultFile& file) {
        return file.text == first.text;
    });
    if (oneMode) {
        output.Fill([&](std::ostream& out) {
            for (const auto& file : files) CopyBodies(file, &file == &first, out);
        });
    } else {
        BodyWriter writer(output, first.text, first.version);
        for (const auto& file : files)
            ForEachBody(file, [&](const AnyBody& body, const Layout&) { writer.Write(body); });
        writer.Close();
    }
    RequireLoads(InspectWhole(output.Path(), first.ClassName()), options.output);
    output.Publish();
    return kDone;
}

}  // namespace

void DefineMerge(CommandLine& command) {
    const auto options = std::make_shared<MergeOptions>();
    command.Arguments("FILE", options->inputs, "Files of one appending class");
    command.Value("-o,--output", options->output, "The file to write").Required();
    command.ClassOption(options->className);
    command.ForceOption(options->force);
    command.Explain(
        "The result is what it would be had all writers committed to one file, in that order: a\n"
        "load keeps the first modes and the last matrix of a key, combines metrics, and refuses\n"
        "an element that comes twice, in which case nothing is written. The mode and the version\n"
        "are those of the first file.\n\n"
        "Exit status: 0; 2 when nothing was written.\n\n"
        "Examples:\n"
        "  fieldstore merge rank0/solutiondata.dat rank1/solutiondata.dat -o solutiondata.dat");
    command.Runs([options] { return RunMerge(*options); });
}

}  // namespace fieldstore::tool
