// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <string>
#include <vector>

#include "fuzz/Support.h"
#include "fuzz/ToolSupport.h"
#include "tests/samples.h"

using namespace fieldstore::fuzz;

namespace {

using Words = std::vector<std::string>;

// What is put between the command and its file.
const std::array<Words, 15> kCommands{{{"ls"},
                                       {"check"},
                                       {"show", "--full"},
                                       {"show", "--frequency", "1000000000", "--port", "1"},
                                       {"dump"},
                                       {"dump", "--format", "csv"},
                                       {"dump", "--format", "npy"},
                                       {"dump", "--format", "mtx"},
                                       {"dump", "--format", "vtk"},
                                       {"repair"},
                                       {"compact"},
                                       {"convert", "--to", "text"},
                                       {"convert", "--to", "binary"},
                                       {"merge"},
                                       {"diff"}}};

const WorkDirectory& Directory() {
    static const WorkDirectory directory;
    return directory;
}

Words With(Words words, const Words& more) {
    words.insert(words.end(), more.begin(), more.end());
    return words;
}

/// A dump that is built again and dumped again is the same text.
void RequireSameAfterBuild(const std::string& file, const Words& classOption) {
    const auto& directory = Directory();
    const auto dump = [&](const std::string& from, const std::string& to) {
        return RunTool(With({"dump", from, "-o", directory / to}, classOption));
    };
    if (dump(file, "first.json") != 0) return;
    const Words build{"build", directory / "first.json", "-o", directory / "built", "--unchecked",
                      "--to"};
    Require(RunTool(With(build, {"text", "--force"})) <= 2, "a build ends");
    Require(RunTool(With(build, {"binary", "--force"})) == 0, "a dump is built");
    Require(dump(directory / "built", "second.json") == 0, "what was built is dumped");
    auto first = ReadFile(directory / "first.json");
    const auto text = first.find("\"mode\": \"text\"");
    if (text != std::string::npos) first.replace(text, 14, "\"mode\": \"binary\"");
    Require(first == ReadFile(directory / "second.json"), "a dump is the same after a build");
}

}  // namespace

// Runs a command of the tool on a file. The first byte chooses the command, the second one how the
// class is told: by the file's name, by an option, or not at all. For two files, two more bytes say
// where the rest is cut.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const auto& directory = Directory();
    directory.Empty();
    const Words& command = kCommands[input.Byte() % kCommands.size()];
    const auto& names = samples::ClassNames();
    const std::size_t chosen = input.Byte() % (2 * names.size() + 1);
    Words classOption;
    std::string name = "file.dat";
    if (chosen < names.size())
        name = samples::New(names[chosen])->GetFileName();
    else if (chosen < 2 * names.size())
        classOption = {"--class", names[chosen - names.size()]};

    const std::string& action = command.front();
    Words paths{directory / name};
    if (action == "merge" || action == "diff") {
        const std::size_t cut = input.Number() % (input.Rest().size() + 1);
        paths.push_back(directory / "other.dat");
        WriteFile(paths.back(), input.Rest().substr(cut));
        WriteFile(paths.front(), input.Rest().substr(0, cut));
    } else {
        WriteFile(paths.front(), input.Rest());
    }
    Words words = With(command, paths);
    const std::string out = directory / "out";
    const bool reports = action == "ls" || action == "check" || action == "show" ||
                         action == "diff" || words == Words{"dump", paths.front()};
    if (!reports) words = With(words, {"-o", out});
    const int status = RunTool(With(words, classOption));

    if (action == "check") RunTool(With({"check", "--json", paths.front()}, classOption));
    if (action == "repair" && status == 0)
        Require(RunTool(With({"check", out}, {"--class", names[0]})) <= 2,
                "a repaired file is read");
    if (command == Words{"dump"} && !classOption.empty() && status == 0) {
        const std::string& className = classOption.back();
        const bool mayLookVersioned =
            className == "POBinaryTree" || className == "POSolutionMetrics";
        if (!mayLookVersioned) RequireSameAfterBuild(paths.front(), classOption);
    }
    return 0;
}
