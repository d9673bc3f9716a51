// SPDX-License-Identifier: Apache-2.0
#include "tool/Inspection.h"

#include <filesystem>
#include <fstream>
#include <string_view>
#include <utility>

#include "streams/FileExists.h"
#include "streams/FileNames.h"
#include "tool/Catalog.h"
#include "tool/Error.h"
#include "tool/System.h"

namespace fieldstore::tool {
namespace fs = std::filesystem;
namespace {

/// How well a reading explains the file, from the worst to the best.
enum class Rank { Untried, Nonsense, EndsEarly, SomeData, WholeWithoutData, WholeWithData };

Rank RankOf(const ResultFile& file) {
    if (file.size == 0 && (file.guessed || !file.Info().Appends())) return Rank::Nonsense;
    const bool data = file.Entries() != 0;
    if (!file.fault) return data ? Rank::WholeWithData : Rank::WholeWithoutData;
    if (data) return Rank::SomeData;
    return file.fault->cut ? Rank::EndsEarly : Rank::Nonsense;
}

/// How far a reading made sense.
std::uint64_t Reach(const ResultFile& file) {
    return file.fault ? file.fault->offset : file.WholeEnd();
}

State StateOf(Rank rank, bool guessed) {
    if (rank >= Rank::WholeWithoutData) return State::Whole;
    // Too little of a guess: almost any bytes could be the beginning of something.
    return rank == Rank::SomeData || (rank == Rank::EndsEarly && !guessed) ? State::Torn
                                                                           : State::Unreadable;
}

/// What the first bytes tell of how a file may be read.
struct Front {
    bool text;         // it begins with a number
    bool textVersion;  // or with a version line, of either mode
    bool binaryVersion;

    explicit Front(const std::string& path) {
        constexpr std::size_t most = 64;
        std::string bytes(most, '\0');
        std::ifstream file(platform::PathOf(path), std::ios::binary);
        file.read(bytes.data(), most);
        bytes.resize(static_cast<std::size_t>(file.gcount()));
        const auto number = bytes.find_first_not_of(" \t\n\v\f\r");
        text = number == std::string::npos ||
               std::string_view("+-0123456789").find(bytes[number]) != std::string_view::npos;
        textVersion = !bytes.empty() && bytes.front() == '!';
        binaryVersion = bytes.size() > sizeof(int) && bytes[sizeof(int)] == '!';
    }
    bool Allows(const Reading& reading) const {
        if (reading.versioned) return reading.text ? textVersion : binaryVersion;
        return text || !reading.text;
    }
};

std::vector<Reading> ReadingsOf(const std::vector<std::size_t>& kinds) {
    std::vector<Reading> readings;
    for (const bool versioned : {true, false}) {
        for (const bool text : {false, true}) {
            for (const std::size_t kind : kinds) {
                if (versioned && !Kinds()[kind].traits->versionLine) continue;
                if (text && Kinds()[kind].blocked) continue;
                readings.push_back({kind, text, versioned});
            }
        }
    }
    return readings;
}

void RequireFile(const std::string& path) {
    std::error_code error;
    const auto type = platform::TypeOf(path, platform::Links::Follow, error);
    if (type == fs::file_type::none || type == fs::file_type::not_found)
        throw Error(path, "there is no such file", "Check the path.");
    if (type == fs::file_type::directory)
        throw Error(
            path, "is a directory",
            "Name a file in it; ls, check, diff, dump, convert and compact take directories.");
    if (type != fs::file_type::regular)
        throw Error(path, "is not a regular file", "Copy what it gives to a file first.");
    if ((error = system::WhyUnreadable(path)))
        throw Error(path, "cannot be read: " + error.message(), "Check its permissions.");
}

}  // namespace

std::vector<std::size_t> KindsNamed(const std::string& path, const std::string& className) {
    return className.empty() ? KindsOfFileName(path.substr(platform::LastNameIn(path)))
                             : KindsOfClass(className);
}

ResultFile BestReading(const ResultFile& unread, std::vector<std::size_t> kinds,
                       const TryReading& read) {
    ResultFile best = unread;
    RequireFile(best.path);
    best.size = FileSize(best.path);
    best.guessed = kinds.empty();
    if (kinds.empty()) kinds = AllKinds();
    best.kind = kinds.front();
    const ResultFile blank = best;
    Rank bestRank = Rank::Untried;
    const Front front(best.path);
    for (const Reading& reading : ReadingsOf(kinds)) {
        if (!front.Allows(reading)) continue;
        ResultFile file = blank;
        const auto keep = read(file, reading);
        if (reading.versioned && !file.version) continue;
        const Rank rank = RankOf(file);
        const bool farther = rank == bestRank && Reach(file) > Reach(best);
        if (rank > bestRank || farther) {
            bestRank = rank;
            best = std::move(file);
            keep();
        }
        if (bestRank == Rank::WholeWithData) break;
    }
    best.state = StateOf(bestRank, best.guessed);
    if (best.size == 0 && best.state == State::Unreadable)
        best.fault.emplace(0, true, "it is empty");
    return best;
}

void RequireNotTorn(const ResultFile& file) {
    if (file.state != State::Torn) return;
    RaiseFault(file, "Save its whole bodies first: fieldstore repair " + file.path + " -o OUT");
}

ResultFile Inspect(const std::string& path, const std::string& className, LastNumber lastNumber) {
    ResultFile unread;
    unread.path = path;
    unread.named = !className.empty();
    unread.lastNumber = lastNumber;
    return BestReading(unread, KindsNamed(path, className),
                       [](ResultFile& file, const Reading& reading) {
                           ReadBodies<AnyBody>(file, reading);
                           return [] {};
                       });
}

ResultFile InspectReadable(const std::string& path, const std::string& className) {
    ResultFile file = Inspect(path, className);
    if (file.state == State::Unreadable) RaiseFault(file, "");
    return file;
}

ResultFile InspectWhole(const std::string& path, const std::string& className) {
    ResultFile file = InspectReadable(path, className);
    RequireNotTorn(file);
    return file;
}

}  // namespace fieldstore::tool
