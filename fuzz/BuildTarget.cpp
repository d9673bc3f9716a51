// SPDX-License-Identifier: Apache-2.0
#include <string>
#include <vector>

#include "fuzz/Support.h"
#include "fuzz/ToolSupport.h"

// Builds a result file from JSON. The first byte chooses the mode and whether what a host could not
// load is refused.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace fieldstore::fuzz;
    static const WorkDirectory directory;
    directory.Empty();
    Input input(data, size);
    const std::uint8_t selector = input.Byte();
    WriteFile(directory / "in.json", input.Rest());
    const std::string built = directory / "built", again = directory / "again";
    std::vector<std::string> words{"build", directory / "in.json", "-o", built};
    if (selector % 2 != 0) words.emplace_back("--unchecked");
    if (selector / 2 % 2 != 0) words.insert(words.end(), {"--to", "text"});
    if (RunTool(words) != 0) return 0;
    // A small file may fit several classes, so no more than an end is asked of these.
    RunTool({"check", built});
    RunTool({"dump", built, "-o", directory / "out.json"});
    return 0;
}
