// SPDX-License-Identifier: Apache-2.0
#include "tool/SideFiles.h"

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstddef>
#include <filesystem>
#include <optional>
#include <set>
#include <string_view>
#include <system_error>
#include <unordered_map>
#include <utility>

#include "core/AppendMark.h"
#include "core/SideFiles.h"
#include "streams/FileNames.h"
#include "streams/LockClaim.h"
#include "streams/Writer.h"
#include "tool/Error.h"
#include "tool/Labels.h"

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

bool IsTemporary(std::string_view name) {
    constexpr std::size_t characters = 6;
    const auto random = Behind(name, kTemporarySuffix);
    return random.size() == characters && std::all_of(random.begin(), random.end(), IsAlphanumeric);
}

/// Replacements by the name of the file that each was to replace.
using Replacements = std::unordered_map<std::string, std::vector<std::string>>;

/// Those in a directory; looked for once, as every file of it may ask.
const Replacements& ReplacementsIn(const std::string& directory) {
    static std::unordered_map<std::string, Replacements> known;
    const auto [place, added] = known.try_emplace(directory);
    Replacements& found = place->second;
    if (!added) return found;
    std::error_code error;
    for (std::string& name : platform::NamesIn(directory, error)) {
        const auto replacement = ParseReplacementName(name);
        if (replacement) found[std::string(replacement->target)].push_back(std::move(name));
    }
    for (auto& [replaced, names] : found) std::sort(names.begin(), names.end());
    return found;
}

AppendMark MarkAt(const std::string& path) {
    try {
        return AppendMark::At(path);
    } catch (const fs::filesystem_error& error) {
        throw Error(path, "cannot be looked at: " + error.code().message(), "Check the directory.");
    }
}

fs::path ExtensionOf(const std::string& name) {
    return platform::PathOf(name).extension();
}

bool IsLock(const fs::path& name) {
    return name.extension() == LockPathFor("");
}

/// What the writer of a side file does, or did, and the rest when it may be gone.
std::string Told(const std::optional<Writer>& writer, const std::string& what,
                 const std::string& whenGone) {
    if (!writer) return "a writer is " + what + ", or died; " + whenGone;
    const std::string who = NameOf(*writer);
    switch (writer->Now()) {
        case Writer::State::Runs:
            return who + " is " + what;
        case Writer::State::Gone:
            return who + " died while it was " + what + "; " + whenGone;
        default:
            return who + " is " + what + ", or died; " + whenGone;
    }
}

}  // namespace

bool IsSideFile(const std::string& name) {
    const fs::path path = platform::PathOf(name), extension = path.extension();
    const bool isClaim = extension == kClaimSuffix && IsLock(path.stem());
    return isClaim || IsLock(path) || extension == ".err" || extension == kSealSuffix ||
           extension == AppendMarkPathFor("") || ParseReplacementName(name) || IsTemporary(name) ||
           name == kLabelsName;
}

std::string NameOf(const Writer& writer) {
    return "process " + std::to_string(writer.process) + " on " + writer.host;
}

std::vector<std::string> LeftBeside(const std::string& dataPath) {
    std::vector<std::string> lines;
    const std::string whole = platform::WholePath(dataPath);
    for (const auto& owner : {dataPath, LockPathFor(dataPath)}) {
        const auto place = AppendMarkPathFor(owner);
        const AppendMark mark = MarkAt(place);
        if (!mark.CountsFor(whole, owner == dataPath)) continue;
        lines.push_back(place + ": " +
                        Told(mark.record.writer, "appending",
                             "the next commit under the lock puts the file right, and so does "
                             "fieldstore repair --in-place --lock-directory DIR"));
    }
    const std::size_t begin = platform::LastNameIn(dataPath);
    const auto& all = ReplacementsIn(platform::DirectoryOf(dataPath));
    const auto found = all.find(dataPath.substr(begin));
    if (found == all.end()) return lines;
    for (const auto& name : found->second) {
        lines.push_back(dataPath.substr(0, begin) + name + ": " +
                        Told(ParseReplacementName(name)->writer, "replacing the file",
                             "the file itself is untouched; remove the other one when no writer is "
                             "left"));
    }
    return lines;
}

std::vector<Writer> WritersUnder(const std::string& marker, const std::string& dataPath) {
    const std::string name = marker.substr(platform::LastNameIn(marker));
    const std::string ending = AppendMarkPathFor("");
    std::set<std::string> directories;
    for (const auto& path : {marker, dataPath})
        directories.insert(path.substr(0, platform::LastNameIn(path)));
    std::vector<Writer> writers;
    for (const auto& directory : directories) {
        std::error_code error;
        for (const auto& file : platform::NamesIn(directory.empty() ? "." : directory, error)) {
            const auto replacement = ParseReplacementName(file);
            const bool isMark = ExtensionOf(file) == ending;
            const auto owner = replacement
                                   ? std::string(replacement->target)
                                   : file.substr(0, file.size() - (isMark ? ending.size() : 0));
            if ((!replacement && !isMark) || (owner != name && LockPathFor(owner) != name))
                continue;
            const auto writer =
                replacement ? replacement->writer : MarkAt(directory + file).record.writer;
            if (writer) writers.push_back(*writer);
        }
    }
    return writers;
}

}  // namespace fieldstore::tool
