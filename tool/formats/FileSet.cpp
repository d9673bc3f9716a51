// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <charconv>
#include <filesystem>

#include "tool/Error.h"
#include "tool/OutputFile.h"
#include "tool/formats/Tables.h"

namespace fieldstore::tool {
namespace fs = std::filesystem;

bool FileSet::IsDirectory() const {
    std::error_code none;
    return !directory.empty() && (directory.back() == '/' || fs::is_directory(directory, none));
}

std::string FileSet::PathOf(const std::string& name) const {
    if (directory.empty() || directory == "-")
        throw Error("", "this gives several files", "Name a directory for them with -o DIR.");
    std::error_code error;
    fs::create_directories(directory, error);
    if (!fs::is_directory(directory))
        throw Error(directory, "is no directory and cannot be made one",
                    "Name a directory with -o DIR.");
    return (fs::path(directory) / name).string();
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
