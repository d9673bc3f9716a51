// SPDX-License-Identifier: Apache-2.0
#include "tool/Extensions.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <map>
#include <system_error>
#include <utility>

#include "streams/FileNames.h"
#include "tool/Error.h"
#include "tool/System.h"

namespace fieldstore::tool {
namespace {

constexpr const char* kPrefix = "fieldstore-";

/// Letters, digits, dashes and underscores: nothing that leads to another directory, or is an
/// option.
bool IsName(const std::string& text) {
    const auto fits = [](unsigned char letter) {
        return std::isalnum(letter) != 0 || letter == '-' || letter == '_';
    };
    return !text.empty() && text.front() != '-' && std::all_of(text.begin(), text.end(), fits);
}

/// By name; the project's own.
std::map<std::string, Extension> Known() {
    return {{"plot", {"plot", "Draw one picture of a file", ""}},
            {"report", {"report", "Write one HTML file that shows a directory", ""}}};
}

/// The name of an extension by that of its program's file; "" for other files.
std::string NameIn(const std::string& file) {
    const std::string ending = system::kProgramEnding;
    const std::size_t around = std::strlen(kPrefix) + ending.size();
    if (file.size() <= around || file.rfind(kPrefix, 0) != 0) return "";
    if (file.compare(file.size() - ending.size(), ending.size(), ending) != 0) return "";
    const std::string name = file.substr(std::strlen(kPrefix), file.size() - around);
    return IsName(name) ? name : "";
}

}  // namespace

std::vector<Extension> Extensions() {
    auto found = Known();
    for (const auto& directory : system::ProgramDirectories()) {
        std::error_code error;
        for (const std::string& file : platform::NamesIn(directory, error)) {
            const std::string name = NameIn(file), path = platform::Joined(directory, file);
            if (name.empty() || !system::IsProgram(path)) continue;
            Extension& extension = found.try_emplace(name, Extension{name, "", ""}).first->second;
            if (extension.path.empty()) extension.path = path;
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
    for (const auto& directory : system::ProgramDirectories()) {
        const auto path = platform::Joined(directory, kPrefix + name + system::kProgramEnding);
        if (system::IsProgram(path))
            return Extension{name, place == known.end() ? "" : place->second.summary, path};
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
    // Programs that an extension starts must find this one, wherever it was started from.
    system::TellOwnPath("FIELDSTORE_TOOL");
    const auto error = system::Become(extension.path, arguments);
    throw Error(extension.path, "cannot be run (" + error.message() + ")", "");
}

}  // namespace fieldstore::tool
