// SPDX-License-Identifier: Apache-2.0
#include "tool/Recognition.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstring>
#include <deque>
#include <filesystem>
#include <fstream>
#include <limits>
#include <set>
#include <variant>
#include <vector>

#include "streams/ContainerEncoding.h"
#include "streams/FileExists.h"
#include "streams/FileNames.h"
#include "streams/Platform.h"
#include "tool/BodyWriter.h"
#include "tool/Error.h"
#include "tool/Progress.h"
#include "tool/ReadBodies.h"
#include "tool/TemporaryFile.h"

namespace fieldstore::tool {
namespace fs = std::filesystem;
namespace {

// The bits of a double of ordinary size, taken for an integer, are at least this.
constexpr std::int64_t kLeastOrdinary = std::int64_t{1} << 52;

// Fields of the host in front of the definitions, which have any value.
constexpr std::uint64_t kMetricsHeader = 5 * sizeof(int);

bool IsFrequency(std::int64_t value) {
    return value >= 1 && value < kLeastOrdinary;
}

bool IsSquare(std::uint64_t count) {
    const auto side =
        static_cast<std::uint64_t>(std::llround(std::sqrt(static_cast<double>(count))));
    return side * side == count;
}

/// Whether every number is zero or of ordinary size, and no list is empty.
template <typename T>
bool IsOrdinary(const T& value) {
    if constexpr (IsPair<T>::value) {
        return IsOrdinary(value.first) && IsOrdinary(value.second);
    } else if constexpr (kIsContainer<T>) {
        return !value.empty() && std::all_of(value.begin(), value.end(), [](const auto& element) {
            return IsOrdinary(element);
        });
    } else if constexpr (kIsComplex<T>) {
        return IsOrdinary(value.real()) && IsOrdinary(value.imag());
    } else if constexpr (std::is_floating_point_v<T>) {
        return value == 0 || std::isnormal(value);
    } else {
        return true;
    }
}

template <typename Map>
bool HasFrequencies(const Map& map) {
    return std::all_of(map.begin(), map.end(),
                       [](const auto& entry) { return IsFrequency(entry.first.first); });
}

using Definitions = std::map<int, std::pair<int, int>>;

bool IsSure(const ModeInfoBody& body, const Definitions& /*known*/) {
    return IsOrdinary(body.modes) && HasFrequencies(body.modes);
}

bool IsSure(const CircuitMatricesBody& body, const Definitions& /*known*/) {
    return IsOrdinary(body.matrices) && HasFrequencies(body.matrices) &&
           std::all_of(body.matrices.begin(), body.matrices.end(),
                       [](const auto& entry) { return IsSquare(entry.second.size()); });
}

bool IsSure(const SolutionMetricsBody& body, const Definitions& known) {
    if (known.empty() || body.definitions != known || body.values.empty()) return false;
    return std::all_of(body.values.begin(), body.values.end(), [&known](const auto& entry) {
        const auto definition = known.find(entry.first.first);
        return definition != known.end() &&
               entry.second.size() == static_cast<std::uint32_t>(definition->second.first);
    });
}

bool IsSure(const AssemblyInfoBody& body, const Definitions& /*known*/) {
    constexpr int mostId = std::numeric_limits<int>::max();
    std::set<int> elements;
    for (const int id : body.elements)
        if (!elements.insert(id < 0 ? -std::max(id, -mostId) : id).second) return false;
    const auto has = [&elements](const std::map<int, Ints>& lists) {
        return lists.size() == elements.size() &&
               std::equal(elements.begin(), elements.end(), lists.begin(),
                          [](int id, const auto& list) { return id == list.first; });
    };
    return !elements.empty() && has(body.nodes1) && has(body.nodes2) && has(body.nodes3);
}

template <typename Body>
bool IsSure(const Body& /*body*/, const Definitions& /*known*/) {
    return false;
}

std::uint64_t CountAt(const char* bytes) {
    std::uint64_t count = 0;
    std::memcpy(&count, bytes, sizeof count);
    return count;
}

int IntAt(const char* bytes) {
    int value = 0;
    std::memcpy(&value, bytes, sizeof value);
    return value;
}

/// A line of text, as far as it matters where a body may begin.
struct TextLine {
    std::uint64_t begin = 0;
    int words = 0;
    bool integers = true;
    std::int64_t first = 0;

    bool IsCount() const { return words == 1 && integers && first >= 1 && first < kLeastOrdinary; }
    bool IsKey() const { return words == 2 && integers && IsFrequency(first); }
};

/// Reads lines without keeping them, as damage may have taken their ends.
class TextLines {
public:
    TextLines(const std::string& path, std::uint64_t begin)
        : in(path, std::ios::binary), position(begin) {
        in.seekg(static_cast<std::streamoff>(begin));
    }
    /// False at the end; a line without its end is none.
    bool Next(TextLine& line) {
        line = TextLine();
        line.begin = position;
        bool inWord = false;
        for (int c; (c = in.get()) != std::char_traits<char>::eof();) {
            ++position;
            if (c == '\n') return true;
            const bool space = c == ' ' || (c >= '\t' && c <= '\r');
            if (!space && !inWord) ++line.words;
            inWord = !space;
            if (!space) Note(line, c);
        }
        return false;
    }

private:
    static void Note(TextLine& line, int c) {
        constexpr int base = 10;
        if (c == '-' || (c >= '0' && c <= '9')) {
            if (line.words != 1 || c == '-') {
                if (line.words == 1) line.first = -kLeastOrdinary;  // good for no count
                return;
            }
            if (line.first >= 0)
                line.first = std::min(line.first * base + (c - '0'), kLeastOrdinary);
        } else {
            line.integers = false;
        }
    }

    std::ifstream in;
    std::uint64_t position;
};

}  // namespace

AnyBody ReadDamaged(const ResultFile& file, std::uint64_t begin) {
    AnyBody partial;
    const ResultFile rest = ReadFrom(file, begin, file.size, {}, &partial);
    return rest.bodies.empty() && begin < file.size ? partial : file.Info().make();
}

std::uint64_t SameBytes(const std::string& a, std::uint64_t fromA, const std::string& b,
                        std::uint64_t fromB, std::uint64_t count) {
    std::ifstream first(platform::PathOf(a), std::ios::binary),
        second(platform::PathOf(b), std::ios::binary);
    first.seekg(static_cast<std::streamoff>(fromA));
    second.seekg(static_cast<std::streamoff>(fromB));
    for (std::uint64_t same = 0; same < count; ++same) {
        const int c = first.get();
        if (c == std::char_traits<char>::eof() || c != second.get()) return same;
    }
    return count;
}

Recognition::Recognition(const ResultFile& damagedFile, const AnyBody& damaged)
    : file(damagedFile) {
    const auto* metrics = std::get_if<SolutionMetricsBody>(&damaged);
    if (metrics == nullptr) return;
    if (file.bodies.empty()) {
        definitions = metrics->definitions;
        return;
    }
    ReadFrom(file, file.bodies.front().begin, file.bodies.front().end,
             [this](const AnyBody& any, const Layout&) {
                 definitions = std::get<SolutionMetricsBody>(any).definitions;
             });
}

std::optional<BodyPlace> Recognition::At(std::uint64_t begin) {
    std::optional<BodyPlace> found;
    // One body is enough: the next one may be damaged.
    struct Enough {};
    std::uint64_t reached = begin;
    try {
        const ResultFile rest =
            ReadFrom(file, begin, file.size, [&](const AnyBody& any, const Layout& layout) {
                reached = layout.end;
                if (layout.begin == begin && IsBeyondDoubt(any, layout))
                    found = {layout.begin, layout.end,
                             std::visit([](const auto& body) { return body.Entries(); }, any)};
                throw Enough();
            });
        if (rest.fault) reached = std::max(reached, rest.fault->offset);
    } catch (const Enough&) {
    }
    constexpr std::uint64_t opening = 4096;  // costs as much as reading that
    if (!found) effort += reached - begin + opening;
    return found;
}

bool Recognition::MayLackBeginning(const BodyPlace& body, std::uint64_t end) const {
    return file.Info().traits == &SolutionMetricsLayout::kTraits &&
           end <= body.begin + kMetricsHeader;
}

bool Recognition::EndsForSure(const BodyPlace& body, std::uint64_t next) const {
    constexpr std::uint64_t leastBody = 28;  // in binary: a count, a key, another count
    if (file.Info().traits == &SolutionMetricsLayout::kTraits) {
        AnyBody begun = file.Info().make();
        struct Enough {};
        try {
            ReadFrom(
                file, body.end, file.size,
                [&begun](AnyBody& any, const Layout&) {
                    begun = std::move(any);
                    throw Enough();
                },
                &begun);
        } catch (const Enough&) {
        }
        return std::get<SolutionMetricsBody>(begun).definitions == definitions;
    }
    if (!file.text) return next - body.end >= leastBody;
    TextLines in(file.path, body.end);
    TextLine count, key;
    while (in.Next(count) && count.words == 0) {
    }
    return count.IsCount() && in.Next(key) && key.IsKey();
}

/// A file may look as if bodies began all over it.
std::uint64_t Recognition::MostEffort() const {
    constexpr std::uint64_t times = 8, always = std::uint64_t{1} << 26;
    return times * file.size + always;
}

std::optional<BodyPlace> Recognition::Next(std::uint64_t behind) {
    const Progress progress("Looking for whole bodies in " + file.path);
    return file.text ? NextText(behind) : NextBinary(behind);
}

/// Cheap, as it is asked of every byte.
bool Recognition::MayBegin(const char* bytes, std::uint64_t begin, std::uint64_t available) const {
    constexpr std::uint64_t word = sizeof(std::uint64_t), head = kMetricsHeader;
    constexpr std::uint64_t keyed = 2 * word + sizeof(int);  // up to the count of the first entry
    const std::uint64_t left = file.size - begin;
    const auto isCount = [left](std::uint64_t count) { return count >= 1 && count < left; };
    const auto& traits = *file.Info().traits;
    if (&traits == &SolutionMetricsLayout::kTraits)
        return !definitions.empty() && available >= head + word + sizeof(int) &&
               CountAt(bytes + head) == definitions.size() &&
               IntAt(bytes + head + word) == definitions.begin()->first;
    if (available < keyed + word || !isCount(CountAt(bytes))) return false;
    if (&traits == &AssemblyInfoLayout::kTraits) {
        // The same number stands again behind the elements.
        const std::uint64_t again = word + CountAt(bytes) * sizeof(int);
        return again > available - word || CountAt(bytes + again) == CountAt(bytes);
    }
    return IsFrequency(static_cast<std::int64_t>(CountAt(bytes + word))) &&
           isCount(CountAt(bytes + keyed));
}

std::optional<BodyPlace> Recognition::NextBinary(std::uint64_t behind) {
    constexpr std::size_t step = std::size_t{1} << 16, seen = 64;
    platform::File in = platform::OpenForReading(file.path);
    std::vector<char> window(step + seen);
    for (std::uint64_t at = behind + 1; at < file.size; at += step) {
        std::size_t filled = 0;
        if (!in.IsOpen() || in.Seek(static_cast<std::int64_t>(at)) < 0) break;
        for (std::ptrdiff_t read = 1; read > 0 && filled < window.size();) {
            read = in.Read(window.data() + filled, window.size() - filled);
            if (read < 0) throw Error(file.path, "cannot be read to its end", "Is the disk sound?");
            filled += static_cast<std::size_t>(read);
        }
        for (std::size_t i = 0; i < std::min(step, filled); ++i) {
            if (!MayBegin(window.data() + i, at + i, filled - i)) continue;
            if (effort > MostEffort()) return std::nullopt;
            if (const auto found = At(at + i)) return found;
        }
    }
    return std::nullopt;
}

std::optional<BodyPlace> Recognition::NextText(std::uint64_t behind) {
    constexpr std::size_t memory = 8;  // header, count, key and definition of metrics
    const bool metrics = file.Info().traits == &SolutionMetricsLayout::kTraits;
    const bool matrices = file.Info().traits == &CircuitMatricesLayout::kTraits;
    std::deque<TextLine> lines(memory);
    // Of the matrix read last: the lines behind its key, and what the first of these announces.
    std::int64_t behindKey = 0, announced = kLeastOrdinary;
    TextLines in(file.path, behind);
    for (TextLine line; in.Next(line);) {
        lines.pop_front();
        lines.push_back(line);
        std::optional<std::uint64_t> candidate;
        const TextLine &last = lines[memory - 1], &key = lines[memory - 2];
        const TextLine& count = lines[memory - 3];
        if (metrics && last.words == 2 &&
            std::all_of(lines.begin(), lines.end() - 1,
                        [](auto& one) { return one.words == 1 && one.integers; }))
            candidate = lines.front().begin;
        if (!metrics && count.IsCount() && key.IsKey() && last.IsCount() &&
            (!matrices || behindKey == announced + 2))
            candidate = count.begin;
        if (candidate && *candidate > behind) {
            if (effort > MostEffort()) return std::nullopt;
            if (const auto found = At(*candidate)) return found;
        }
        // The line behind a key announces values; the key before is done with only now.
        if (key.IsKey() && last.words == 1) {
            announced = last.first;
            behindKey = 1;
        } else if (!last.IsKey()) {
            ++behindKey;
        }
    }
    return std::nullopt;
}

bool Recognition::IsBeyondDoubt(const AnyBody& any, const Layout& layout) const {
    const bool ordered = std::all_of(
        layout.fields.begin(), layout.fields.end(),
        [](const FieldPlace& place) { return place.repeated.empty() && place.disordered.empty(); });
    return ordered &&
           std::visit([this](const auto& body) { return IsSure(body, definitions); }, any) &&
           (!file.text ||
            (!std::holds_alternative<AssemblyInfoBody>(any) && IsAsWritten(any, layout)));
}

bool Recognition::IsAsWritten(const AnyBody& any, const Layout& layout) const {
    TemporaryFile scratch(platform::NameOf(fs::temp_directory_path() / "fieldstore-"));
    BodyWriter writer(scratch, true, std::nullopt);
    writer.Write(any);
    writer.Close();
    const auto length = FileSize(scratch.Path());
    return SameBytes(file.path, layout.begin, scratch.Path(), 0, length) == length;
}

}  // namespace fieldstore::tool
