// SPDX-License-Identifier: Apache-2.0
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "fuzz/Support.h"
#include "fuzz/ToolSupport.h"

using namespace fieldstore::fuzz;

namespace {

/// The class of a document from which a file was built.
std::string ClassNamedIn(std::string_view document) {
    return nlohmann::json::parse(document).at("class").get<std::string>();
}

}  // namespace

// Builds a result file from JSON. The first byte chooses the mode and whether what a host could not
// load is refused.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const WorkDirectory directory;
    directory.Empty();
    Input input(data, size);
    const std::uint8_t selector = input.Byte();
    WriteFile(directory / "in.json", input.Rest());
    const std::string built = directory / "built", dumped = directory / "out.json";
    std::vector<std::string> words{"build", directory / "in.json", "-o", built};
    const bool text = selector / 2 % 2 != 0;
    words.insert(words.end(), {"--to", text ? "text" : "binary"});
    if (selector % 2 != 0) words.emplace_back("--unchecked");
    if (RunTool(words) != 0) return 0;

    const std::string name = ClassNamedIn(input.Rest());
    RunTool({"check", built});
    if (RunTool({"dump", built, "--class", name, "-o", dumped}) != 0) return 0;
    const std::string again = directory / "again";
    Require(RunTool({"build", dumped, "-o", again, "--unchecked"}) == 0, "a dump is built");
    Require(ReadFile(built) == ReadFile(again), "a dump is built to the same file");
    return 0;
}
