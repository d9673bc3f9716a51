// SPDX-License-Identifier: Apache-2.0
#include "tool/Seal.h"

#include <xxhash.h>

#include <algorithm>
#include <array>
#include <ctime>
#include <fstream>
#include <memory>
#include <new>
#include <sstream>
#include <string_view>
#include <system_error>

#include "streams/FileNames.h"
#include "streams/Platform.h"
#include "tool/Catalog.h"
#include "tool/Error.h"
#include "tool/OutputFile.h"
#include "tool/Progress.h"
#include "tool/ReadBodies.h"
#include "tool/SideFiles.h"
#include "tool/Terminal.h"
#include "tool/formats/Json.h"

namespace fieldstore::tool {
namespace {

constexpr int kVersion = 1;

/// A digest that grows with the bytes it is given.
class Digest {
public:
    Digest() : state(XXH3_createState()) {
        if (state == nullptr) throw std::bad_alloc();
        XXH3_128bits_reset(state.get());
    }
    void Add(const char* bytes, std::size_t count) {
        XXH3_128bits_update(state.get(), bytes, count);
    }
    /// That of all bytes since the last call, in hexadecimal digits.
    std::string Take() {
        XXH128_canonical_t bytes;
        XXH128_canonicalFromHash(&bytes, XXH3_128bits_digest(state.get()));
        XXH3_128bits_reset(state.get());
        constexpr std::string_view digits = "0123456789abcdef";
        constexpr unsigned base = 16;
        std::string text;
        for (const unsigned byte : bytes.digest) {
            text += digits[byte / base];
            text += digits[byte % base];
        }
        return text;
    }

private:
    struct Free {
        void operator()(XXH3_state_t* used) const { XXH3_freeState(used); }
    };
    std::unique_ptr<XXH3_state_t, Free> state;
};

/// The digests of parts of a file that follow each other; those that it does not hold are missing.
struct Digests {
    std::vector<std::string> parts;
    std::optional<std::string> whole;  // of all parts
};

/// `bounds` ascend: where the first part begins, and where each ends.
Digests DigestParts(const std::string& path, const std::vector<std::uint64_t>& bounds) {
    constexpr std::size_t step = std::size_t{1} << 16;  // stays in the cache
    platform::File file = platform::OpenForReading(path);
    if (!file.IsOpen() || file.Seek(static_cast<std::int64_t>(bounds.front())) < 0)
        throw Error(path, "cannot be read: " + file.Error().message(), "Check its permissions.");
    const Progress progress("Hashing " + path, path, bounds.back());
    const bool isOne = bounds.size() == 2;
    Digests digests;
    Digest part, whole;
    std::vector<char> buffer(step);
    std::uint64_t at = bounds.front();
    for (auto bound = bounds.begin() + 1; bound != bounds.end();) {
        for (; bound != bounds.end() && *bound == at; ++bound) digests.parts.push_back(part.Take());
        if (bound == bounds.end()) break;
        const auto wanted = std::min<std::uint64_t>(step, *bound - at);
        const auto read = file.Read(buffer.data(), static_cast<std::size_t>(wanted));
        if (read < 0)
            throw Error(path, "cannot be read to its end", "Is the disk or the network in order?");
        if (read == 0) return digests;
        part.Add(buffer.data(), static_cast<std::size_t>(read));
        if (!isOne) whole.Add(buffer.data(), static_cast<std::size_t>(read));
        at += static_cast<std::uint64_t>(read);
    }
    digests.whole = isOne ? digests.parts.front() : whole.Take();
    return digests;
}

/// The head and the bodies.
std::vector<std::uint64_t> BoundsOf(const Seal& seal) {
    std::vector<std::uint64_t> bounds{0};
    for (const SealedBody& body : seal.bodies) bounds.push_back(body.begin);
    bounds.push_back(seal.length);
    return bounds;
}

std::string Now() {
    const std::time_t now = std::time(nullptr);
    const std::tm utc = *std::gmtime(&now);  // no other thread asks
    std::array<char, 32> text{};
    return {text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &utc)};
}

std::string LastLine(std::size_t count, const std::string& lines) {
    Digest digest;
    digest.Add(lines.data(), lines.size());
    return Json{{"lines", count}, {"xxh3_128", digest.Take()}}.dump() + "\n";
}

[[noreturn]] void RaiseDamaged(const std::string& path, const std::string& cause) {
    throw Error(path, "the seal itself is damaged: " + cause,
                "Seal the file again if you trust it: fieldstore seal --force");
}

std::string ReadAll(const std::string& path) {
    std::ifstream file(platform::PathOf(path), std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    if (!file.is_open() || file.bad())
        throw Error(path, "cannot be read", "Check its permissions.");
    return content.str();
}

/// The lines of a seal but for the last one, which vouches for them.
std::vector<Json> SoundLines(const std::string& path) {
    const std::string content = ReadAll(path);
    std::vector<Json> lines;
    std::size_t begin = 0, lastBegin = 0;
    for (std::size_t end; (end = content.find('\n', begin)) != std::string::npos; begin = end + 1) {
        lastBegin = begin;
        lines.push_back(Json::parse(content.substr(begin, end - begin)));
    }
    if (begin != content.size() || lines.size() < 2) RaiseDamaged(path, "its end is missing");
    lines.pop_back();
    if (content.substr(lastBegin) != LastLine(lines.size(), content.substr(0, lastBegin)))
        RaiseDamaged(path, "its last line does not fit the others");
    return lines;
}

Seal FromLines(const std::string& path, const std::vector<Json>& lines) {
    const Json& head = lines.front();
    if (head.at("fieldstore_seal") != kVersion)
        throw Error(path, "a seal of another version", "Take the tool that has made it.");
    Seal seal;
    seal.className = head.at("class").get<std::string>();
    seal.text = head.at("mode") == "text";
    seal.time = head.at("time").get<std::string>();
    seal.length = head.at("length").get<std::uint64_t>();
    seal.digest = head.at("xxh3_128").get<std::string>();
    seal.headDigest = head.at("head_xxh3_128").get<std::string>();
    for (std::size_t i = 1; i < lines.size(); ++i)
        seal.bodies.push_back(
            {lines[i].at("begin").get<std::uint64_t>(), lines[i].at("length").get<std::uint64_t>(),
             lines[i].at("xxh3_128").get<std::string>(), lines[i].at("time").get<std::string>()});
    const auto bounds = BoundsOf(seal);
    for (std::size_t i = 0; i < seal.bodies.size(); ++i)
        if (bounds[i + 1] < bounds[i] || seal.bodies[i].length != bounds[i + 2] - bounds[i + 1])
            RaiseDamaged(path, "its bodies do not follow each other");
    return seal;
}

}  // namespace

std::string SealPathFor(const std::string& dataPath) {
    return dataPath + kSealSuffix;
}

Seal MakeSeal(const ResultFile& file, const Seal* earlier) {
    Seal seal;
    seal.className = file.ClassName();
    seal.text = file.text;
    seal.time = Now();
    seal.length = file.size;
    for (const BodyPlace& body : file.bodies) seal.bodies.push_back({body.begin, 0, "", seal.time});
    const auto bounds = BoundsOf(seal);
    const auto digests = DigestParts(file.path, bounds);
    std::error_code none;
    if (!digests.whole || platform::SizeOf(file.path, none) != file.size)
        throw Error(file.path, "has changed while it was sealed", "Is it being written?");
    seal.digest = *digests.whole;
    seal.headDigest = digests.parts.front();
    for (std::size_t i = 0; i < seal.bodies.size(); ++i) {
        seal.bodies[i].length = bounds[i + 2] - bounds[i + 1];
        seal.bodies[i].digest = digests.parts[i + 1];
        const bool known = earlier != nullptr && i < earlier->bodies.size() &&
                           earlier->bodies[i].digest == seal.bodies[i].digest;
        if (known) seal.bodies[i].time = earlier->bodies[i].time;
    }
    return seal;
}

void WriteSeal(const std::string& dataPath, const Seal& seal, bool replace) {
    const std::string name = dataPath.substr(platform::LastNameIn(dataPath));
    std::string lines = Json{{"fieldstore_seal", kVersion}, {"file", name},
                             {"class", seal.className},     {"mode", seal.Mode()},
                             {"time", seal.time},           {"length", seal.length},
                             {"xxh3_128", seal.digest},     {"head_xxh3_128", seal.headDigest}}
                            .dump(-1, ' ', true, Json::error_handler_t::replace) +
                        "\n";
    std::size_t number = 0;
    for (const SealedBody& body : seal.bodies) {
        lines += Json{{"body", ++number},
                      {"begin", body.begin},
                      {"length", body.length},
                      {"xxh3_128", body.digest},
                      {"time", body.time}}
                     .dump() +
                 "\n";
    }
    OutputFile output(SealPathFor(dataPath), replace);
    output.Fill([&](std::ostream& out) { out << lines << LastLine(number + 1, lines); });
    output.Publish();
}

std::optional<Seal> ReadSeal(const std::string& dataPath) {
    const auto path = SealPathFor(dataPath);
    std::error_code none;
    if (!platform::Exists(path)) return std::nullopt;
    try {
        return FromLines(path, SoundLines(path));
    } catch (const Json::exception& error) {
        RaiseDamaged(path, "not what a seal consists of");
    }
}

Comparison Compare(const std::string& dataPath, const Seal& seal) {
    Comparison comparison;
    std::error_code none;
    const auto size = platform::SizeOf(dataPath, none);
    if (!none && size > seal.length) comparison.behind = size - seal.length;
    ResultFile known;
    known.path = dataPath;
    known.kind = KindsOfClass(seal.className).front();
    known.text = seal.text;
    comparison.mayGrow = known.Info().Appends();
    if (comparison.behind != 0 && comparison.mayGrow) {
        const ResultFile rest = ReadFrom(known, seal.length, size);
        comparison.appendedBodies = rest.bodies.size();
        comparison.tail = rest.fault;
    }
    // Of a file that is as it was, one digest is enough.
    if (DigestOf(dataPath, 0, seal.length) == seal.digest) return comparison;
    const auto digests = DigestParts(dataPath, BoundsOf(seal));
    for (std::size_t i = 0; i < seal.bodies.size(); ++i)
        if (i + 1 >= digests.parts.size() || digests.parts[i + 1] != seal.bodies[i].digest)
            comparison.changed.push_back(i + 1);
    comparison.headChanged = digests.parts.empty() || digests.parts.front() != seal.headDigest;
    return comparison;
}

const char* Comparison::Word() const {
    if (HasChanged()) return "changed";
    return behind != 0 ? "appended" : "intact";
}

std::vector<Finding> FindingsOf(const Seal& seal, const Comparison& comparison) {
    std::vector<Finding> findings;
    if (comparison.headChanged)
        findings.push_back(
            {0, 0, true,
             "what comes before the first body has changed since it was sealed on " + seal.time});
    for (const std::size_t number : comparison.changed) {
        const SealedBody& body = seal.bodies[number - 1];
        findings.push_back({body.begin, 0, true,
                            "body " + std::to_string(number) +
                                " has changed since it was sealed on " + body.time});
    }
    if (comparison.behind == 0) return findings;
    const std::string since = "since the file was sealed on " + seal.time;
    if (!comparison.mayGrow)
        findings.push_back({seal.length, 0, true,
                            Counted(comparison.behind, "byte was", "bytes were") + " added " +
                                since + ", and its class has one body"});
    if (comparison.appendedBodies != 0)
        findings.push_back({seal.length, 0, false,
                            Counted(comparison.appendedBodies, "body was", "bodies were") +
                                " appended " + since + "; fieldstore seal --update adds them"});
    if (comparison.tail)
        findings.push_back(
            {comparison.tail->offset, 0, true,
             "what was appended " + since + " is no whole body: " + comparison.tail->what()});
    return findings;
}

std::optional<std::string> DigestOf(const std::string& path, std::uint64_t begin,
                                    std::uint64_t length) {
    return DigestParts(path, {begin, begin + length}).whole;
}

}  // namespace fieldstore::tool
