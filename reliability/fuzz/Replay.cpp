// SPDX-License-Identifier: Apache-2.0
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "reliability/fuzz/Support.h"

namespace {

std::vector<std::string> FilesOf(const std::string& path) {
    std::vector<std::string> files;
    if (!std::filesystem::exists(path)) return files;  // a target that has never found anything
    if (!std::filesystem::is_directory(path)) return {path};
    for (const auto& entry : std::filesystem::recursive_directory_iterator(path))
        if (entry.is_regular_file()) files.push_back(entry.path().string());
    return files;
}

}  // namespace

// Gives a target the inputs of files and directories, without a fuzzer. Whatever is wrong with one
// ends the process; its name is the last one printed.
int main(int count, char** arguments) {
    int replayed = 0;
    for (int i = 1; i < count; ++i) {
        for (const auto& path : FilesOf(arguments[i])) {
            std::ifstream file(path, std::ios::binary);
            std::ostringstream content;
            content << file.rdbuf();
            const std::string bytes = content.str();
            std::printf("%s\n", path.c_str());
            std::fflush(stdout);
            LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()),
                                   bytes.size());
            ++replayed;
        }
    }
    std::printf("%d inputs\n", replayed);
    return replayed != 0 ? 0 : 1;
}
