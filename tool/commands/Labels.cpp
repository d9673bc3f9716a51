// SPDX-License-Identifier: Apache-2.0
#include "tool/Labels.h"

#include <memory>
#include <set>
#include <system_error>
#include <variant>

#include "streams/FileNames.h"
#include "tool/Bodies.h"
#include "tool/BodyReader.h"
#include "tool/CommandLine.h"
#include "tool/Commands.h"
#include "tool/Directory.h"
#include "tool/Error.h"
#include "tool/Inspection.h"
#include "tool/OutputFile.h"
#include "tool/ReadBodies.h"
#include "tool/ResultFile.h"
#include "tool/Terminal.h"

namespace fieldstore::tool {
namespace {

struct LabelsOptions {
    std::string directory;
    std::string output;
    bool force = false;
};

/// The numbers that a directory's files hold.
struct NumbersFound {
    std::set<int> matrixTypes, combinations, functions;

    void Take(const CircuitMatricesBody& body) {
        for (const auto& entry : body.matrices) matrixTypes.insert(entry.first.second);
    }
    void Take(const SolutionMetricsBody& body) {
        for (const auto& [combination, definition] : body.definitions) {
            combinations.insert(combination);
            functions.insert(definition.second);
        }
        for (const auto& entry : body.values) combinations.insert(entry.first.first);
    }
    template <typename Body>
    void Take(const Body& /*body*/) {}  // has no types
};

bool MayHaveTypes(const ResultFile& file) {
    return file.Info().traits == &CircuitMatricesBody::kTraits ||
           file.Info().traits == &SolutionMetricsBody::kTraits;
}

/// Files that are no result files do not matter here, and of a torn one the whole bodies do.
void TakeFile(const std::string& path, NumbersFound& found) {
    const ResultFile file = Inspect(path);
    if (file.state == State::Unreadable || !MayHaveTypes(file)) return;
    if (file.guessed && file.state != State::Whole) return;
    ForEachBody(file, [&found](const AnyBody& any, const Layout&) {
        std::visit([&found](const auto& body) { found.Take(body); }, any);
    });
}

/// Names to be replaced, which say no more than the numbers do.
Labels LabelsFor(const NumbersFound& found) {
    Labels labels;
    for (const int type : found.matrixTypes)
        labels.Set(Labels::eMatrixTypes, type, {"matrix " + std::to_string(type), "", {}});
    for (const int combination : found.combinations) {
        const auto entity = std::to_string(EntityTypeOf(combination));
        labels.Set(Labels::eEntityTypes, EntityTypeOf(combination), {"entity " + entity, "", {}});
        labels.Set(Labels::eValueTypes, combination,
                   {"value " + std::to_string(ValueTypeOf(combination)) + " of " + entity, "", {}});
    }
    for (const int function : found.functions)
        if (labels.Find(Labels::eResolveFunctions, function) == nullptr)
            labels.Set(Labels::eResolveFunctions, function,
                       {"function " + std::to_string(function), "", {}});
    return labels;
}

int RunLabels(const LabelsOptions& options) {
    std::error_code none;
    if (!platform::IsDirectory(options.directory))
        throw Error(options.directory, "is no directory", "Name the directory of the results.");
    NumbersFound found;
    for (const NamedPath& named : ExpandPaths({options.directory})) TakeFile(named.path, found);
    if (found.matrixTypes.empty() && found.combinations.empty())
        throw Error(options.directory, "no file in it has types to be named",
                    "Circuit matrices and solution metrics have them.");
    const std::string output =
        options.output.empty() ? platform::Joined(options.directory, kLabelsName) : options.output;
    WriteTo(output, options.force, [&](std::ostream& out) { out << LabelsFor(found).Document(); });
    if (output != "-") Say("wrote " + output + "; put your names into it");
    return kDone;
}

}  // namespace

void DefineLabels(CommandLine& command) {
    const auto options = std::make_shared<LabelsOptions>();
    command.Argument("DIR", options->directory, "The directory of the result files");
    command.Value("-o,--output", options->output,
                  "File to write, - for standard output; else labels.json in the directory");
    command.ForceOption(options->force);
    command.Explain(
        "Circuit matrices and solution metrics know their types by numbers. A labels.json beside\n"
        "them says what the numbers mean: show and dump then give names and units. This command\n"
        "starts one with every number that the files of the directory hold; docs/labels.md tells\n"
        "its form. The entity types named node, element and edge place values in a picture.\n\n"
        "Exit status: 0; 2 when nothing was written.\n\n"
        "Examples:\n"
        "  fieldstore labels results/\n"
        "  fieldstore labels results/ -o -");
    command.Runs([options] { return RunLabels(*options); });
}

}  // namespace fieldstore::tool
