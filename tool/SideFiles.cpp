// SPDX-License-Identifier: Apache-2.0
#include "tool/SideFiles.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <map>
#include <string_view>

#include "core/AppendMark.h"
#include "core/SideFiles.h"
#include "streams/Platform.h"
#include "tool/Error.h"

namespace fieldstore::tool {
namespace fs = std::filesystem;
namespace {

bool IsAlphanumeric(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0;
}

/// What follows the last `suffix` in a name, "" when there is none.
std::string_view Behind(std::string_view name, std::string_view suffix) {
    const auto at = name.rfind(suffix);
    return at == std::string_view::npos ? "" : name.substr(at + suffix.size());
}

bool IsReplacement(std::string_view name) {
    const auto numbers = Behind(name, platform::kReplacementSuffix);
    const auto belongs = [](char c) { return c == '-' || (c >= '0' && c <= '9'); };
    return !numbers.empty() && std::all_of(numbers.begin(), numbers.end(), belongs);
}

bool IsTemporary(std::string_view name) {
    constexpr std::size_t characters = 6;
    const auto random = Behind(name, kTemporarySuffix);
    return random.size() == characters && std::all_of(random.begin(), random.end(), IsAlphanumeric);
}

/// The replacements in a directory; looked for once, as every file of it may ask.
const std::vector<std::string>& ReplacementsIn(const fs::path& directory) {
    static std::map<fs::path, std::vector<std::string>> known;
    const auto [place, added] = known.try_emplace(directory);
    std::error_code error;
    for (fs::directory_iterator entry(directory, error); added && !error && entry != fs::end(entry);
         entry.increment(error))
        if (auto name = entry->path().filename().string(); IsReplacement(name))
            place->second.push_back(std::move(name));
    std::sort(place->second.begin(), place->second.end());
    return place->second;
}

bool IsAppendMarked(const std::string& dataPath) {
    try {
        return AppendMark(dataPath).Stands();
    } catch (const fs::filesystem_error& error) {
        throw Error(AppendMarkPathFor(dataPath), "cannot be looked at: " + error.code().message(),
                    "Check the directory.");
    }
}

}  // namespace

bool IsSideFile(const std::string& name) {
    const auto extension = fs::path(name).extension();
    return extension == ".lck" || extension == ".err" || extension == AppendMarkPathFor("") ||
           IsReplacement(name) || IsTemporary(name);
}

std::vector<std::string> LeftBeside(const std::string& dataPath) {
    std::vector<std::string> lines;
    const auto undo = AppendMarkPathFor(dataPath);
    if (IsAppendMarked(dataPath))
        lines.push_back(undo +
                        ": an append is at work, or its writer died; the next commit under the "
                        "lock puts the file right, and so does fieldstore repair --in-place");
    const fs::path data(dataPath);
    const auto directory = data.has_parent_path() ? data.parent_path() : fs::path(".");
    for (const auto& name : ReplacementsIn(directory)) {
        if (name.substr(0, name.rfind(platform::kReplacementSuffix)) != data.filename()) continue;
        lines.push_back((data.parent_path() / name).string() +
                        ": a writer is replacing the file, or died before it had; the file itself "
                        "is untouched; remove the other one when no writer is left");
    }
    return lines;
}

}  // namespace fieldstore::tool
