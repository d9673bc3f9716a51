// SPDX-License-Identifier: Apache-2.0
#include "tool/Directory.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "tool/Catalog.h"
#include "tool/Error.h"
#include "tool/Inspection.h"
#include "tool/OutputFile.h"
#include "tool/ResultFile.h"
#include "tool/SideFiles.h"
#include "tool/Terminal.h"

namespace fieldstore::tool {
namespace fs = std::filesystem;

bool IsDirectory(const std::string& path) {
    std::error_code none;
    return fs::is_directory(path, none);
}

std::vector<NamedPath> ExpandPaths(const std::vector<std::string>& paths) {
    std::vector<NamedPath> expanded;
    for (const auto& path : paths) {
        std::error_code none, gone;
        if (!fs::is_directory(path, none)) {
            expanded.push_back({path, true, ""});
            continue;
        }
        std::vector<std::string> found;
        for (const auto& entry : fs::directory_iterator(path, none)) {
            const auto name = entry.path().filename().string();
            if (entry.is_regular_file(gone) && name.front() != '.' && !IsSideFile(name))
                found.push_back(entry.path().string());
        }
        if (none)
            throw Error(path, "the directory cannot be read: " + none.message(),
                        "Check its permissions.");
        std::sort(found.begin(), found.end());
        for (auto& file : found)
            expanded.push_back(
                {file, !KindsOfFileName(fs::path(file).filename().string()).empty(), path});
    }
    return expanded;
}

std::vector<std::string> ResultFilesIn(const std::string& directory, const std::string& className) {
    std::vector<std::string> names;
    for (const NamedPath& found : ExpandPaths({directory})) {
        if (found.given || Inspect(found.path, className).state != State::Unreadable)
            names.push_back(fs::path(found.path).filename().string());
    }
    if (names.empty())
        throw Error(directory, "there is no result file in it", "Name a file, or its class.");
    return names;
}

int ForEachName(const std::vector<std::string>& names,
                const std::function<void(const std::string& name)>& action) {
    int status = kDone;
    for (const std::string& name : names) {
        try {
            action(name);
        } catch (const Error& error) {
            Say(error);
            status = kTrouble;
        }
    }
    return status;
}

std::string PathIn(const std::string& directory, const std::string& name) {
    return (fs::path(directory) / name).string();
}

void MakeOutputDirectory(const std::string& directory, const std::string& input) {
    std::error_code error;
    fs::create_directories(directory, error);
    if (!fs::is_directory(directory))
        throw Error(directory, "is no directory and cannot be made one",
                    "Name a directory with -o DIR.");
    RequireNotInput(directory, {input});
}

int ForFileOrDirectory(
    const std::string& input, const std::string& className, const std::string& output,
    const std::function<void(const std::string& input, const std::string& output)>& action) {
    if (!IsDirectory(input)) {
        action(input, output);
        return kDone;
    }
    const auto names = ResultFilesIn(input, className);
    MakeOutputDirectory(output, input);
    return ForEachName(
        names, [&](const std::string& name) { action(PathIn(input, name), PathIn(output, name)); });
}

}  // namespace fieldstore::tool
