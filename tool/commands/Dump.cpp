// SPDX-License-Identifier: Apache-2.0
#include <memory>
#include <optional>

#include "tool/Commands.h"
#include "tool/OutputFile.h"
#include "tool/Progress.h"
#include "tool/formats/Json.h"
#include "tool/formats/Tables.h"

namespace fieldstore::tool {
namespace {

struct DumpOptions {
    std::string input;
    std::string format = "json";
    std::string output;
    std::string className;
    bool force = false;
};

int RunDump(const DumpOptions& options) {
    const ResultFile file = InspectWhole(options.input, options.className);
    if (!options.output.empty()) RequireNotInput(options.output, {options.input});
    if (options.format == "json") {
        WriteTo(options.output, options.force, [&](std::ostream& out) { DumpJson(file, out); });
        return kDone;
    }
    const AnyBody body = LoadedBody(file);
    std::optional<Progress> progress;
    if (!GoesToTerminal(options.output))
        progress.emplace("Writing " + options.format + " of " + options.input);
    if (options.format == "csv" || options.format == "vtk") {
        WriteTo(options.output, options.force, [&](std::ostream& out) {
            options.format == "csv" ? DumpCsv(body, out) : DumpVtk(body, out);
        });
        return kDone;
    }
    const FileSet files(options.output, options.force);
    options.format == "npy" ? DumpNpy(body, files) : DumpMtx(body, files);
    return kDone;
}

}  // namespace

void AddDump(CLI::App& program, Action& action) {
    const auto options = std::make_shared<DumpOptions>();
    auto* command = program.add_subcommand("dump", "Write the data for other programs");
    command->add_option("FILE", options->input, "The result file")->required();
    command->add_option("--format", options->format, "json, csv, npy, mtx or vtk")
        ->check(CLI::IsMember({"json", "csv", "npy", "mtx", "vtk"}))
        ->capture_default_str();
    command->add_option("-o,--output", options->output,
                        "File to write, standard output without; for npy, and for mtx of several\n"
                        "matrices, a directory");
    AddClassOption(*command, options->className);
    AddForceOption(*command, options->force);
    command->footer(
        "json  every class, the bodies as they are stored; build makes the file again of it\n"
        "csv   modes, circuit matrices, solution metrics, port tables\n"
        "npy   every class, its vectors as NumPy arrays in a directory\n"
        "mtx   DOF maps and circuit matrices as Matrix Market files\n"
        "vtk   the graph of solution metrics with its values\n"
        "All but json give what a host has after a load.\n\n"
        "Exit status: 0; 2 when nothing was written.\n\n"
        "Examples:\n"
        "  fieldstore dump modeinfo.dat --format csv -o modes.csv\n"
        "  fieldstore dump evdofmap.dat --format mtx > map.mtx\n"
        "  fieldstore dump file2.dat --format npy -o arrays/");
    command->callback([=, &action] { action = [=] { return RunDump(*options); }; });
}

}  // namespace fieldstore::tool
