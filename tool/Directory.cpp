// SPDX-License-Identifier: Apache-2.0
#include "tool/Directory.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "streams/FileNames.h"
#include "tool/Catalog.h"
#include "tool/Error.h"
#include "tool/Inspection.h"
#include "tool/OutputFile.h"
#include "tool/ResultFile.h"
#include "tool/SideFiles.h"
#include "tool/Terminal.h"

namespace fieldstore::tool {
namespace fs = std::filesystem;

std::vector<NamedPath> ExpandPaths(const std::vector<std::string>& paths) {
    std::vector<NamedPath> expanded;
    for (const auto& path : paths) {
        std::error_code error, gone;
        if (!platform::IsDirectory(path)) {
            expanded.push_back({path, true, ""});
            continue;
        }
        std::vector<std::string> found;
        for (const auto& name : platform::NamesIn(path, error)) {
            if (name.front() == '.' || IsSideFile(name)) continue;
            std::string whole = platform::Joined(path, name);
            if (platform::TypeOf(whole, platform::Links::Follow, gone) == fs::file_type::regular)
                found.push_back(std::move(whole));
        }
        if (error)
            throw Error(path, "the directory cannot be read: " + error.message(),
                        "Check its permissions.");
        std::sort(found.begin(), found.end());
        for (auto& file : found)
            expanded.push_back(
                {file, !KindsOfFileName(file.substr(platform::LastNameIn(file))).empty(), path});
    }
    return expanded;
}

std::vector<std::string> ResultFilesIn(const std::string& directory, const std::string& className) {
    std::vector<std::string> names;
    for (const NamedPath& found : ExpandPaths({directory})) {
        if (found.given || Inspect(found.path, className).state != State::Unreadable)
            names.push_back(found.path.substr(platform::LastNameIn(found.path)));
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

void MakeOutputDirectory(const std::string& directory, const std::string& input) {
    std::error_code error;
    std::filesystem::create_directories(platform::PathOf(directory), error);
    if (!platform::IsDirectory(directory))
        throw Error(directory, "is no directory and cannot be made one",
                    "Name a directory with -o DIR.");
    RequireNotInput(directory, {input});
}

int ForFileOrDirectory(
    const std::string& input, const std::string& className, const std::string& output,
    const std::function<void(const std::string& input, const std::string& output)>& action) {
    if (!platform::IsDirectory(input)) {
        action(input, output);
        return kDone;
    }
    const auto names = ResultFilesIn(input, className);
    MakeOutputDirectory(output, input);
    return ForEachName(names, [&](const std::string& name) {
        action(platform::Joined(input, name), platform::Joined(output, name));
    });
}

}  // namespace fieldstore::tool
