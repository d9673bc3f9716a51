// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <charconv>
#include <filesystem>
#include <functional>
#include <string>
#include <system_error>

#include "streams/FileNames.h"
#include "tool/Error.h"
#include "tool/OutputFile.h"
#include "tool/formats/Tables.h"

namespace fieldstore::tool {

bool FileSet::IsDirectory() const {
    return !directory.empty() && (platform::LastNameIn(directory) == directory.size() ||
                                  platform::IsDirectory(directory));
}

std::string FileSet::PathOf(const std::string& name) const {
    if (directory.empty() || directory == "-")
        throw Error("", "this gives several files", "Name a directory for them with -o DIR.");
    std::error_code error;
    std::filesystem::create_directories(platform::PathOf(directory), error);
    if (!platform::IsDirectory(directory))
        throw Error(directory, "is no directory and cannot be made one",
                    "Name a directory with -o DIR.");
    return platform::Joined(directory, name);
}

void FileSet::Write(const std::string& name,
                    const std::function<void(std::ostream&)>& write) const {
    WriteTo(PathOf(name), replace, write);
}

void FileSet::WriteSingle(const std::string& name,
                          const std::function<void(std::ostream&)>& write) const {
    IsDirectory() ? Write(name, write) : WriteTo(directory, replace, write);
}

std::string NumberText(double value) {
    std::array<char, 32> text{};
    return {text.data(), std::to_chars(text.data(), text.data() + text.size(), value).ptr};
}

}  // namespace fieldstore::tool
