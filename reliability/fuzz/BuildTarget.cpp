// SPDX-License-Identifier: Apache-2.0
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "reliability/fuzz/Support.h"
#include "reliability/fuzz/ToolSupport.h"

using namespace fieldstore::fuzz;

namespace {

/// The class of a document from which a file was built.
std::string ClassNamedIn(std::string_view document) {
    return nlohmann::json::parse(document).at("class").get<std::string>();
}

/// The input with what short ones cannot hold: byte 2, which JSON never has, stands for the byte
/// behind it, as often as 4096 times the one behind that says.
std::string Expanded(std::string_view input) {
    constexpr std::size_t most = std::size_t{2} << 20, step = 4096;
    std::string document;
    for (std::size_t i = 0; i < input.size(); ++i) {
        if (input[i] != 2 || i + 2 >= input.size() || document.size() > most) {
            document += input[i];
            continue;
        }
        document.append(static_cast<unsigned char>(input[i + 2]) * step, input[i + 1]);
        i += 2;
    }
    return document;
}

}  // namespace

// Builds a result file from JSON, long runs of a byte included. The first byte chooses the mode and
// whether what a host could not load is refused.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const WorkDirectory directory;
    directory.Empty();
    Input input(data, size);
    const std::uint8_t selector = input.Byte();
    const std::string document = Expanded(input.Rest());
    WriteFile(directory / "in.json", document);
    const std::string built = directory / "built", dumped = directory / "out.json";
    std::vector<std::string> words{"build", directory / "in.json", "-o", built};
    const bool text = selector / 2 % 2 != 0;
    words.insert(words.end(), {"--to", text ? "text" : "binary"});
    if (selector % 2 != 0) words.emplace_back("--unchecked");
    if (RunTool(words) != 0) return 0;

    const std::string name = ClassNamedIn(document);
    RunTool({"check", built});
    if (RunTool({"dump", built, "--class", name, "-o", dumped}) != 0) return 0;
    const std::string again = directory / "again";
    Require(RunTool({"build", dumped, "-o", again, "--unchecked"}) == 0, "a dump is built");
    Require(ReadFile(built) == ReadFile(again), "a dump is built to the same file");
    return 0;
}
