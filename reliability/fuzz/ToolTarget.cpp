// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <string>
#include <vector>

#include "reliability/fuzz/Support.h"
#include "reliability/fuzz/ToolSupport.h"
#include "tests/samples/Samples.h"

using namespace fieldstore::fuzz;

namespace {

using Words = std::vector<std::string>;

// What is put between the command and its file.
const std::array<Words, kToolCommands> kCommands{
    {{"ls"},
     {"check"},
     {"show", "--full"},
     {"show", "--frequency", "1000000000", "--port", "1"},
     {"dump"},
     {"dump", "--format", "csv"},
     {"dump", "--format", "npy"},
     {"dump", "--format", "mtx"},
     {"dump", "--format", "vtu", "--entity", "node=1"},
     {"repair"},
     {"compact"},
     {"convert", "--to", "text"},
     {"convert", "--to", "binary"},
     {"merge"},
     {"diff"},
     {"repair", "--in-place"},
     {"unlock", "--force"},
     {"seal"},
     {"verify"},
     {"watch", "--plot", "--for", "0"},
     {"repair", "--entries", "--trust-last-number"},
     {"dump", "--format", "hdf5"},
     {"dump", "--format", "hdf5", "--type", ":100"},
     {"dump", "--format", "csv", "--frequency", "1000000000:"},
     {"dump", "--format", "npy", "--index", ":1", "--entity", "1:"},
     {"dump", "--block", "1:"}}};

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
    const Words build{
        "build", directory / "first.json", "-o", directory / "built", "--unchecked", "--to",
        "text"};
    RunTool(build);
    Words binary = build;
    binary.back() = "binary";
    Require(RunTool(With(binary, {"--force"})) == 0, "a dump is built");
    Require(dump(directory / "built", "second.json") == 0, "what was built is dumped");
    auto first = ReadFile(directory / "first.json");
    const std::string textMode = "\"mode\": \"text\"", binaryMode = "\"mode\": \"binary\"";
    const auto mode = first.find(textMode);
    if (mode < first.find("bodies")) first.replace(mode, textMode.size(), binaryMode);
    Require(first == ReadFile(directory / "second.json"), "a dump is the same after a build");
}

/// What must hold of the output of a command, which has succeeded; the class is known.
void RequireSoundOutput(const Words& command, const std::string& in, const std::string& out,
                        const Words& classOption) {
    if (command == Words{"dump"}) return RequireSameAfterBuild(in, classOption);
    if (command.back() == "--in-place") return;
    if (command == Words{"dump", "--format", "hdf5"})
        Require(
            RunTool(With({"dump", "--format", "npy", in, "-o", out + "-arrays"}, classOption)) == 0,
            "what HDF5 takes, NumPy files take");
    if (command.front() == "repair")
        Require(RunTool(With({"check", out}, classOption)) != 2, "a repaired file is read");
    // Text has 16 digits, so what is stored in it may be a little different.
    if (command.front() == "compact" || command.front() == "convert")
        Require(RunTool(With({"diff", in, out, "--rtol", "1e-14"}, classOption)) == 0,
                "a compacted or converted file has the same data");
}

/// Zero bytes behind a sound file, as a crash leaves them, are noticed.
void RequireZerosNoticed(const std::string& file, std::string_view content, std::size_t count) {
    if (content.empty() || count == 0) return;
    WriteFile(file, std::string(content) + std::string(count, '\0'));
    Require(RunTool({"check", file}) != 0, "zero bytes behind a sound file are noticed");
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
    const bool named = chosen < names.size(), classKnown = chosen < 2 * names.size();
    const std::string& className = names[chosen % names.size()];
    const std::string in =
        directory / (named ? samples::New(className)->GetFileName() : std::string("file.dat"));
    const std::string out = directory / "out";

    const std::string& action = command.front();
    Words words = With(command, {in});
    if (action == "merge" || action == "diff") {
        const std::size_t cut = input.Number() % (input.Rest().size() + 1);
        words.push_back(directory / "other.dat");
        WriteFile(words.back(), input.Rest().substr(cut));
        WriteFile(in, input.Rest().substr(0, cut));
    } else {
        WriteFile(in, input.Rest());
    }
    const bool reports = action == "ls" || action == "check" || action == "show" ||
                         action == "diff" || action == "unlock" || action == "seal" ||
                         action == "verify" || action == "watch" || command == Words{"dump"} ||
                         command.back() == "--in-place";
    if (!reports) words = With(words, {"-o", out});
    const Words classOption{"--class", className};
    const bool knowsClasses = action != "unlock" && action != "verify";
    const bool classTold = classKnown && !named && knowsClasses;
    const int status = RunTool(classTold ? With(words, classOption) : words);
    if (action == "check") RunTool({"check", "--json", in});
    if (action == "seal" && status == 0)
        Require(RunTool({"verify", in}) == 0, "what was sealed is as it was");
    if (action == "check" && status == 0 && named)
        RequireZerosNoticed(in, input.Rest(), input.Rest().size() % 100);
    if (command.back() == "--in-place" && status == 0)
        Require(ReadFile(in + ".bak") == input.Rest(), "a backup is the damaged bytes");
    if (action == "unlock") Require(ReadFile(in) == input.Rest(), "data are no lock");
    // Without a version line of its own a file of these classes may look as if it had one.
    const bool mayLookVersioned = samples::TraitsOf(className).versionLine;
    if (status == 0 && classKnown && !mayLookVersioned)
        RequireSoundOutput(command, in, out, classOption);
    return 0;
}
