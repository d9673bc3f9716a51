// SPDX-License-Identifier: Apache-2.0
#include "tool/Rescue.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <numeric>
#include <optional>
#include <string>
#include <variant>

#include "streams/FileExists.h"
#include "streams/FileNames.h"
#include "tool/BodyReader.h"
#include "tool/BodyWriter.h"
#include "tool/Copy.h"
#include "tool/Error.h"
#include "tool/ReadBodies.h"
#include "tool/Recognition.h"
#include "tool/TemporaryFile.h"

namespace fieldstore::tool {
namespace fs = std::filesystem;
namespace {

/// Where the white space ends that follows a body of a text file.
std::uint64_t BehindSpace(const ResultFile& file, std::uint64_t at) {
    if (!file.text) return at;
    std::ifstream in(platform::PathOf(file.path), std::ios::binary);
    in.seekg(static_cast<std::streamoff>(at));
    for (int c; (c = in.get()) == ' ' || (c >= '\t' && c <= '\r');) ++at;
    return at;
}

/// What lies between the kept bodies, before and behind them.
std::vector<LostRange> RangesBetween(const ResultFile& file, const std::vector<BodyPlace>& bodies) {
    std::vector<LostRange> lost;
    std::uint64_t at = file.begin;
    const auto note = [&](std::uint64_t end) {
        at = std::min(BehindSpace(file, at), end);
        if (at < end) lost.push_back({at, end, file.Info().make(), 0});
    };
    for (const BodyPlace& body : bodies) {
        note(body.begin);
        at = body.end;
    }
    note(file.size);
    return lost;
}

/// A sealed body where its bytes are now, if they are still there.
std::optional<std::uint64_t> Find(const ResultFile& file, const Seal& seal,
                                  const SealedBody& body) {
    const auto isAt = [&](std::uint64_t begin) {
        return begin + body.length <= file.size &&
               DigestOf(file.path, begin, body.length) == body.digest;
    };
    if (isAt(body.begin)) return body.begin;
    // Bytes that were lost or added before it have moved it as much as the end of the file.
    const std::uint64_t moved = body.begin + file.size - seal.length;
    if (file.size != seal.length && moved < file.size && isAt(moved)) return moved;
    return std::nullopt;
}

std::size_t EntriesOf(const AnyBody& any) {
    return std::visit([](const auto& body) { return body.Entries(); }, any);
}

/// The bodies that follow each other from a byte on; the reading may fail at any of them.
std::vector<BodyPlace> BodiesFrom(const ResultFile& file, std::uint64_t begin, std::uint64_t end) {
    return begin < end ? ReadFrom(file, begin, end).bodies : std::vector<BodyPlace>();
}

/// The only map of the body, whose entries stand alone; nothing for another class.
template <typename Visit>
bool VisitLoneEntries(AnyBody& any, const Visit& visit) {
    if (auto* modes = std::get_if<ModeInfoBody>(&any)) return visit(modes->modes), true;
    if (auto* matrices = std::get_if<CircuitMatricesBody>(&any))
        return visit(matrices->matrices), true;
    return false;
}

void Write(const AnyBody& body, const TemporaryFile& scratch) {
    BodyWriter writer(scratch, true, std::nullopt);
    writer.Write(body);
    writer.Close();
}

TemporaryFile MakeScratch() {
    return TemporaryFile(platform::NameOf(fs::temp_directory_path() / "fieldstore-"));
}

std::uint64_t BehindFirstLine(const std::string& path, std::uint64_t begin) {
    std::ifstream in(platform::PathOf(path), std::ios::binary);
    in.seekg(static_cast<std::streamoff>(begin));
    for (int c; (c = in.get()) != std::char_traits<char>::eof();) {
        ++begin;
        if (c == '\n') break;
    }
    return begin;
}

/// How many of the entries are, one after another, what the library writes for them. Damage that
/// leaves numbers shows there, as lines then break in other places.
std::size_t EntriesAsWritten(const ResultFile& file, const LostRange& range, const AnyBody& body) {
    const TemporaryFile scratch = MakeScratch();
    Write(body, scratch);
    ResultFile written = file;
    written.path = scratch.Path();
    const auto size = FileSize(scratch.Path());
    const auto begin = BehindFirstLine(scratch.Path(), 0);
    const auto same = SameBytes(file.path, BehindFirstLine(file.path, range.begin), scratch.Path(),
                                begin, size - begin);
    std::size_t count = 0;
    ReadFrom(written, 0, size, [&](const AnyBody& /*any*/, const Layout& layout) {
        const auto& entries = layout.fields.front().entries;
        for (std::size_t i = 0; i < entries.size(); ++i) {
            const auto end = i + 1 < entries.size() ? entries[i + 1] : size;
            if (end <= begin + same) count = i + 1;
        }
    });
    return count;
}

}  // namespace

std::size_t Rescue::Entries() const {
    const auto ofBodies =
        std::accumulate(bodies.begin(), bodies.end(), std::size_t{0},
                        [](std::size_t sum, const BodyPlace& body) { return sum + body.entries; });
    return std::accumulate(
        lost.begin(), lost.end(), ofBodies,
        [](std::size_t sum, const LostRange& range) { return sum + range.saved; });
}

std::uint64_t Rescue::LostBytes() const {
    return std::accumulate(
        lost.begin(), lost.end(), std::uint64_t{0},
        [](std::uint64_t sum, const LostRange& range) { return sum + range.end - range.begin; });
}

/// What damage has left may read as bodies as well. In front of it, those that are no bodies beyond
/// doubt are lost, back to the first that is one; where none is near, doubt is how this file is.
void DropDoubtful(Recognition& recognition, std::vector<BodyPlace>& bodies, std::uint64_t next) {
    constexpr std::size_t near = 16;
    const auto end = bodies.size() > near ? bodies.rbegin() + near + 1 : bodies.rend();
    const auto kept = std::find_if(bodies.rbegin(), end, [&](const BodyPlace& body) {
        const auto found = recognition.At(body.begin);
        return found && found->end == body.end;
    });
    const auto doubtful = static_cast<std::size_t>(kept - bodies.rbegin());
    if (doubtful <= near)
        bodies.erase(bodies.end() - static_cast<std::ptrdiff_t>(doubtful), bodies.end());
    if (!bodies.empty() && !recognition.EndsForSure(bodies.back(), next)) bodies.pop_back();
}

Rescue RescueBySeal(const ResultFile& file, const Seal& seal) {
    Rescue rescue;
    std::uint64_t end = seal.length;
    for (const SealedBody& sealed : seal.bodies) {
        const auto begin = Find(file, seal, sealed);
        if (!begin) continue;
        // The number of entries stands in the data alone.
        const auto bodies = BodiesFrom(file, *begin, *begin + sealed.length);
        if (bodies.size() != 1) continue;
        rescue.bodies.push_back(bodies.front());
        end = *begin + sealed.length;
    }
    if (rescue.bodies.empty())
        throw Error(
            file.path, "no body is as it was sealed",
            "If the file was written anew since, remove its seal, " + SealPathFor(file.path) + ".");
    // What follows the place of the last sealed body was appended since, if that is still there.
    const bool hasLast = Find(file, seal, seal.bodies.back()).has_value();
    if (hasLast)
        for (const BodyPlace& body : BodiesFrom(file, end, file.size))
            rescue.bodies.push_back(body);
    rescue.lost = RangesBetween(file, rescue.bodies);
    return rescue;
}

Rescue RescueByRecognition(const ResultFile& file) {
    Rescue rescue;
    rescue.bodies = file.bodies;
    if (file.fault && file.Info().Appends()) {
        // Damage reads as bodies without data where it has left zeros.
        while (!rescue.bodies.empty() && rescue.bodies.back().entries == 0)
            rescue.bodies.pop_back();
        Recognition recognition(file, ReadDamaged(file, file.WholeEnd()));
        auto& bodies = rescue.bodies;
        // From within the last body on: when its counts are damaged it has taken what follows.
        std::uint64_t behind = bodies.empty() ? file.begin : bodies.back().begin;
        while (auto found = recognition.Next(behind)) {
            behind = found->begin;
            if (!bodies.empty() && found->begin < bodies.back().end) {
                const bool lacks = recognition.MayLackBeginning(*found, bodies.back().end);
                bodies.pop_back();
                if (lacks) continue;  // one of the two has lost bytes, and nobody knows which
            }
            DropDoubtful(recognition, bodies, found->begin);
            for (; found; found = recognition.At(BehindSpace(file, bodies.back().end)))
                bodies.push_back(*found);
            behind = bodies.back().begin;
            if (BehindSpace(file, bodies.back().end) >= file.size) break;
        }
    }
    rescue.lost = RangesBetween(file, rescue.bodies);
    return rescue;
}

void SaveEntries(const ResultFile& file, Rescue& rescue) {
    AnyBody any = file.Info().make();
    if (!file.text || !VisitLoneEntries(any, [](auto&) {}))
        throw Error(file.path, "entries can be saved only of modes and matrices in text",
                    "Leave --entries out: whole bodies are kept.");
    for (LostRange& range : rescue.lost) {
        range.entries = ReadDamaged(file, range.begin);
        const auto count = EntriesAsWritten(file, range, range.entries);
        VisitLoneEntries(range.entries, [count](auto& map) {
            map.erase(std::next(map.begin(), static_cast<std::ptrdiff_t>(count)), map.end());
        });
        range.saved = EntriesOf(range.entries);
    }
}

void CopyRescued(const ResultFile& file, const Rescue& rescue, std::ostream& out) {
    CopyBytes(file.path, 0, file.begin, out);
    auto range = rescue.lost.begin();
    const auto saveUpTo = [&](std::uint64_t at) {
        for (; range != rescue.lost.end() && range->begin < at; ++range) {
            if (range->saved == 0) continue;
            const TemporaryFile scratch = MakeScratch();
            Write(range->entries, scratch);
            CopyBytes(scratch.Path(), 0, FileSize(scratch.Path()), out);
        }
    };
    for (const BodyPlace& body : rescue.bodies) {
        saveUpTo(body.begin);
        CopyBytes(file.path, body.begin, body.end, out);
        if (file.text) out << '\n';  // a load takes a number only with the separator behind it
    }
    saveUpTo(file.size);
}

}  // namespace fieldstore::tool
