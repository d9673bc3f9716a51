// SPDX-License-Identifier: Apache-2.0
#include "tool/Extensions.h"

#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <sstream>

#include "tool/Error.h"

namespace fieldstore::tool {
namespace {

namespace fs = std::filesystem;

constexpr const char* kPrefix = "fieldstore-";

/// Letters, digits, dashes and underscores: nothing that leads to another directory, or is an
/// option.
bool IsName(const std::string& text) {
    const auto fits = [](unsigned char letter) {
        return std::isalnum(letter) != 0 || letter == '-' || letter == '_';
    };
    return !text.empty() && text.front() != '-' && std::all_of(text.begin(), text.end(), fits);
}

bool IsProgram(const fs::path& path) {
    std::error_code error;
    return fs::is_regular_file(path, error) && access(path.c_str(), X_OK) == 0;
}

std::vector<fs::path> SearchedDirectories() {
    const char* path = std::getenv("PATH");
    std::vector<fs::path> directories;
    std::istringstream parts(path == nullptr ? "" : path);
    for (std::string part; std::getline(parts, part, ':');)
        if (fs::path(part).is_absolute()) directories.emplace_back(part);
    return directories;
}

/// By name; the project's own.
std::map<std::string, Extension> Known() {
    return {{"plot", {"plot", "Draw one picture of a file", ""}},
            {"report", {"report", "Write one HTML file that shows a directory", ""}}};
}

/// Programs that an extension starts must find this one, wherever it was started from.
void TellOwnPath() {
    std::error_code error;
    const fs::path self = fs::read_symlink("/proc/self/exe", error);
    if (!error) setenv("FIELDSTORE_TOOL", self.c_str(), 1);
}

}  // namespace

std::vector<Extension> Extensions() {
    auto found = Known();
    for (const auto& directory : SearchedDirectories()) {
        std::error_code error;
        for (fs::directory_iterator entry(directory, error), end; !error && entry != end;
             entry.increment(error)) {
            const std::string file = entry->path().filename().string();
            if (file.rfind(kPrefix, 0) != 0 || !IsProgram(entry->path())) continue;
            const std::string name = file.substr(std::strlen(kPrefix));
            if (!IsName(name)) continue;
            Extension& extension = found.try_emplace(name, Extension{name, "", ""}).first->second;
            if (extension.path.empty()) extension.path = entry->path().string();
        }
    }
    std::vector<Extension> extensions;
    extensions.reserve(found.size());
    for (auto& [name, extension] : found) extensions.push_back(std::move(extension));
    return extensions;
}

std::optional<Extension> FindExtension(const std::string& name) {
    if (!IsName(name)) return {};
    const auto known = Known();
    const auto place = known.find(name);
    for (const auto& directory : SearchedDirectories()) {
        const fs::path path = directory / (kPrefix + name);
        if (IsProgram(path))
            return Extension{name, place == known.end() ? "" : place->second.summary,
                             path.string()};
    }
    if (place == known.end()) return {};
    return place->second;
}

void BecomeExtension(const Extension& extension, const std::vector<std::string>& arguments) {
    if (extension.path.empty()) {
        throw Error(extension.name,
                    "no program " + (kPrefix + extension.name) +
                        " is on the PATH; it belongs to the Python package",
                    "Install that: apt install ./python3-fieldstore_*.deb, or pip install ./python "
                    "in the sources.");
    }
    TellOwnPath();
    std::signal(SIGPIPE, SIG_DFL);  // what is ignored here would stay so there
    std::signal(SIGXFSZ, SIG_DFL);
    std::vector<std::string> words{extension.path};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> pointers;
    pointers.reserve(words.size() + 1);
    for (auto& word : words) pointers.push_back(word.data());
    pointers.push_back(nullptr);
    execv(extension.path.c_str(), pointers.data());
    throw Error(extension.path, std::string("cannot be run (") + std::strerror(errno) + ")", "");
}

}  // namespace fieldstore::tool
