// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "streams/FileNames.h"
#include "tool/Bodies.h"
#include "tool/CommandLine.h"
#include "tool/Commands.h"
#include "tool/Directory.h"
#include "tool/Error.h"
#include "tool/Inspection.h"
#include "tool/Labels.h"
#include "tool/LoadedFile.h"
#include "tool/OutputFile.h"
#include "tool/Progress.h"
#include "tool/ResultFile.h"
#include "tool/Slice.h"
#include "tool/SliceOptions.h"
#include "tool/Terminal.h"
#include "tool/formats/Hdf5.h"
#include "tool/formats/Json.h"
#include "tool/formats/Tables.h"
#include "tool/formats/Touchstone.h"
#include "tool/formats/Vtu.h"

namespace fieldstore::tool {
namespace {

struct DumpOptions {
    std::string input;
    std::string format = "json";
    std::string output;
    std::string className;
    bool force = false;
    SliceWords slice;
    TouchstoneOptions touchstone;
    VtuOptions vtu;

    bool IsTouchstone() const { return format == "touchstone" || format == "touchstone2"; }
};

void RequireOptionsFit(const DumpOptions& options) {
    const auto require = [](bool fits, const std::string& names, const std::string& format) {
        if (!fits) throw Error("", names + " belong to " + format, "Give --format " + format + ".");
    };
    require(options.IsTouchstone() || !options.touchstone.AnyGiven(),
            "--parameter, --reference, --ports, --unit and --notation", "touchstone");
    require(options.format == "vtu" || !options.vtu.AnyGiven(), "--entity and --assembly", "vtu");
}

bool GoesToStandardOutput(const DumpOptions& options) {
    return options.output.empty() || options.output == "-";
}

void DumpFile(const DumpOptions& options, const Slice& slice) {
    if (options.format == "json" && slice.IsEmpty()) {
        const ResultFile file = InspectWhole(options.input, options.className);
        return WriteTo(options.output, options.force,
                       [&](std::ostream& out) { DumpJson(file, out); });
    }
    const LoadedFile loaded = LoadWhole(options.input, options.className, slice);
    const FileSet files(options.output, options.force);
    std::optional<Progress> progress;
    if (!GoesToTerminal(options.output))
        progress.emplace("Writing " + options.format + " of " + options.input);
    const Labels labels = Labels::Beside(options.input);
    if (options.format == "npy") return DumpNpy(loaded.data, labels, files);
    if (options.format == "csv")
        return WriteTo(options.output, options.force,
                       [&](std::ostream& out) { DumpCsv(loaded.data, labels, out); });
    const AnyBody body = loaded.InMemory();
    if (options.format == "mtx") return DumpMtx(body, labels, files);
    if (options.format == "vtu") return DumpVtu(body, options.input, labels, options.vtu, files);
    if (options.IsTouchstone())
        return DumpTouchstone(body, options.input, labels, options.touchstone, options.output,
                              files);
    WriteTo(options.output, options.force,
            [&](std::ostream& out) { DumpJson(loaded.file, body, out); });
}

/// One file for all: a group for each file of a directory.
int WriteHdf5(const DumpOptions& options, const Slice& slice) {
    if (GoesToStandardOutput(options))
        throw Error("", "HDF5 needs a file to go to", "Name one with -o FILE.");
    const bool several = platform::IsDirectory(options.input);
    const auto names = several ? ResultFilesIn(options.input, options.className)
                               : std::vector<std::string>{options.input};
    OutputFile output(options.output, options.force);
    Hdf5File file(output.Path());
    const Progress progress("Writing hdf5 of " + options.input);
    const auto add = [&](const std::string& name) {
        const std::string path = several ? platform::Joined(options.input, name) : name;
        try {
            file.Add(several ? name : "/", LoadWhole(path, options.className, slice),
                     Labels::Beside(path));
        } catch (const NoSuchKey& error) {
            if (!several) throw;
            Say("left out: " + error.Lines().front());
        }
    };
    int status = kDone;
    if (several)
        status = ForEachName(names, add);
    else
        add(options.input);
    file.Close();
    output.Publish();
    return status;
}

/// A file, or a directory of arrays, for each file of a directory.
int DumpDirectory(const DumpOptions& options, const Slice& slice) {
    if (GoesToStandardOutput(options))
        throw Error("", "this gives several files", "Name a directory for them with -o DIR.");
    const auto names = ResultFilesIn(options.input, options.className);
    MakeOutputDirectory(options.output, options.input);
    return ForEachName(names, [&](const std::string& name) {
        DumpOptions one = options;
        one.input = platform::Joined(options.input, name);
        const bool hasOwnDirectory =
            options.IsTouchstone() ||
            std::set<std::string>{"npy", "mtx", "vtu"}.count(options.format) != 0;
        one.output = platform::Joined(options.output, name) +
                     (hasOwnDirectory ? std::string("/") : "." + options.format);
        try {
            DumpFile(one, slice);
        } catch (const NoSuchKey& error) {
            Say("left out: " + error.Lines().front());
        } catch (const NoForm& error) {
            Say(one.input + ": left out, " + error.Lines().front());
        }
    });
}

/// --entity means two things: the role of a type begins with its name, an entity of the slice is a
/// number or a range of them.
void TakeEntities(DumpOptions& options) {
    auto& given = options.vtu.entities;
    const auto numbers = std::stable_partition(
        given.begin(), given.end(),
        [](const std::string& word) { return word.find_first_of("-0123456789:") != 0; });
    if (given.end() - numbers > 1)
        throw Error("", "--entity chooses twice", "Give one number, or a range as in 3:7.");
    if (numbers != given.end()) options.slice["entity"] = *numbers;
    given.erase(numbers, given.end());
}

int RunDump(DumpOptions options) {
    TakeEntities(options);
    RequireOptionsFit(options);
    options.touchstone.version2 = options.format == "touchstone2";
    const Slice slice = ParseSlice(options.slice);
    if (!options.output.empty()) RequireNotInput(options.output, {options.input});
    if (options.format == "hdf5") return WriteHdf5(options, slice);
    if (platform::IsDirectory(options.input)) return DumpDirectory(options, slice);
    DumpFile(options, slice);
    return kDone;
}

}  // namespace

void DefineDump(CommandLine& command) {
    const auto options = std::make_shared<DumpOptions>();
    command.Argument("FILE", options->input, "The result file, or a directory of them");
    command.Value("--format", options->format, "One of those below")
        .AnyOf({"json", "csv", "npy", "hdf5", "mtx", "touchstone", "touchstone2", "vtu"})
        .WithPreset();
    command.Value("-o,--output", options->output,
                  "File to write, standard output without; for npy, for mtx and vtu of several\n"
                  "matrices or passes, and for a directory in any format but hdf5, a directory");
    command.ClassOption(options->className);
    DescribeTouchstone(command, options->touchstone);
    DescribeVtu(command, options->vtu);
    command.ForceOption(options->force);
    DescribeSlice(command, options->slice, "entity");
    command.Explain(
        "json         every class, the bodies as they are stored; build makes the file again\n"
        "csv          modes, circuit matrices, solution metrics, port tables\n"
        "npy          every class, its fields as NumPy arrays in a directory\n"
        "hdf5         every class, its fields as groups; of a directory, one file\n"
        "mtx          DOF maps and circuit matrices as Matrix Market files\n"
        "touchstone   S-parameters of circuit matrices, Touchstone version 1 (.sNp)\n"
        "touchstone2  the same in version 2 (.ts), where each port may have its own reference\n"
        "vtu          the mesh of solution metrics with its values, for VTK and ParaView: a file\n"
        "             for each index and metrics.pvd, which lists them\n"
        "All but json give what a host has after a load, and so does json of a slice. Entries "
        "that\n"
        "a slice does not want are passed over; fields without such a key stay whole.\n\n"
        "Exit status: 0; 2 when nothing was written.\n\n"
        "Examples:\n"
        "  fieldstore dump modeinfo.dat --format csv -o modes.csv\n"
        "  fieldstore dump evdofmap.dat --format mtx > map.mtx\n"
        "  fieldstore dump file2.dat --format npy -o arrays/\n"
        "  fieldstore dump circuitmatrices.dat --format touchstone --parameter z=0,1 -o "
        "guide.s12p\n"
        "  fieldstore dump circuitmatrices.dat --format touchstone2 --parameter y=2,3 --ports 0,6 "
        "\\\n"
        "      --reference 75 --unit MHz --notation DB -o guide.ts\n"
        "  fieldstore dump solutiondata.dat --format vtu --entity element=3 --entity node=5 -o "
        "pictures/\n"
        "  fieldstore dump results/ --format hdf5 -o results.h5\n"
        "  fieldstore dump modeinfo.dat --frequency 8GHz:12GHz --port 1 --format csv");
    command.Runs([options] { return RunDump(*options); });
}

}  // namespace fieldstore::tool
