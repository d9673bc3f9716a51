// SPDX-License-Identifier: Apache-2.0
#include <filesystem>
#include <iostream>
#include <memory>

#include "tool/Commands.h"
#include "tool/Copy.h"
#include "tool/LockMarker.h"
#include "tool/OutputFile.h"
#include "tool/Terminal.h"
#include "tool/formats/Json.h"

namespace fieldstore::tool {
namespace fs = std::filesystem;
namespace {

struct RepairOptions {
    std::string input;
    std::string output;
    std::string className;
    bool inPlace = false;
    bool force = false;
    bool json = false;
};

/// A second name for what the file was; the first of FILE.bak, FILE.bak1 ... that is free.
std::string KeepBackup(const std::string& path) {
    constexpr int most = 1000;
    for (int number = 0; number < most; ++number) {
        std::string backup = path + ".bak" + (number == 0 ? "" : std::to_string(number));
        std::error_code error;
        if (fs::exists(fs::symlink_status(backup, error))) continue;
        fs::create_hard_link(path, backup, error);
        if (error) fs::copy_file(path, backup, error);  // some file systems have no links
        if (!error) return backup;
        throw Error(backup, "the backup cannot be made: " + error.message(),
                    "Repair into another file with -o.");
    }
    throw Error(path, "has too many backups", "Remove some of " + path + ".bak*");
}

void Report(const RepairOptions& options, const ResultFile& file, const std::string& backup,
            bool loads) {
    const std::uint64_t lost = file.state == State::Torn ? file.size - file.WholeEnd() : 0;
    if (options.json) {
        Json json{{"path", file.path},
                  {"class", file.ClassName()},
                  {"mode", file.Mode()},
                  {"keptBodies", file.bodies.size()},
                  {"keptEntries", file.Entries()},
                  {"keptBytes", file.WholeEnd()},
                  {"lostBytes", lost},
                  {"loads", loads}};
        if (file.fault) json["cause"] = file.fault->what();
        if (!backup.empty()) json["backup"] = backup;
        std::cout << json.dump(2) << '\n';
    } else {
        std::cout << "kept " << Counted(file.bodies.size(), "body", "bodies") << " with "
                  << Counted(file.Entries(), "entry", "entries") << ", bytes 0 to "
                  << file.WholeEnd() << '\n';
        if (lost != 0) {
            std::cout << "lost bytes " << file.WholeEnd() << " to " << file.size << " ("
                      << ReadableSize(lost) << "): at byte " << file.fault->offset << ", "
                      << file.fault->what() << '\n';
        } else {
            std::cout << "lost nothing: the file was whole\n";
        }
        if (!backup.empty()) std::cout << "backup " << backup << '\n';
    }
    if (!loads) Say("a host cannot load what was kept; fieldstore check tells why");
}

int RunRepair(const RepairOptions& options) {
    if (options.inPlace == !options.output.empty())
        throw Error("", "repair wants an output", "Give -o OUT, or --in-place.");
    if (!options.inPlace) RequireNotInput(options.output, {options.input});
    std::optional<HeldLock> lock;
    if (options.inPlace) lock.emplace(options.input);  // a writer at work looks like a torn tail
    const ResultFile file = InspectReadable(options.input, options.className);
    if (file.bodies.empty() && file.state == State::Torn)
        RaiseFault(file, "No whole body comes before, so there is nothing to keep.");
    OutputFile output(options.inPlace ? options.input : options.output,
                      options.force || options.inPlace);
    output.Fill([&file](std::ostream& out) { CopyBodies(file, true, out); });
    const bool loads = LoadResult(InspectWhole(output.Path(), file.ClassName())) == 0;
    const std::string backup = options.inPlace ? KeepBackup(options.input) : "";
    output.Publish();
    Report(options, file, backup, loads);
    return kDone;
}

}  // namespace

void AddRepair(CLI::App& program, Action& action) {
    const auto options = std::make_shared<RepairOptions>();
    auto* command = program.add_subcommand("repair", "Keep the whole bodies, drop a torn tail");
    command->add_option("FILE", options->input, "The damaged file")->required();
    command->add_option("-o,--output", options->output, "The repaired file");
    command->add_flag("--in-place", options->inPlace,
                      "Replace FILE, which stays as FILE.bak; takes the writers' lock");
    AddClassOption(*command, options->className);
    AddForceOption(*command, options->force);
    command->add_flag("--json", options->json, "What was kept and lost, for programs");
    command->footer(
        "Tells what was kept and what was lost. Bytes are copied, never changed.\n\n"
        "Exit status: 0; 2 when nothing was written, as when no body is whole.\n\n"
        "Examples:\n"
        "  fieldstore repair solutiondata.dat -o saved.dat\n"
        "  fieldstore repair --in-place modeinfo.dat");
    command->callback([=, &action] { action = [=] { return RunRepair(*options); }; });
}

}  // namespace fieldstore::tool
