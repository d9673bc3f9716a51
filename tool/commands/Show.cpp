// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <iostream>
#include <iterator>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "core/FrequencyKey.h"
#include "objects/Field.h"
#include "streams/ContainerEncoding.h"
#include "tool/Bodies.h"
#include "tool/CommandLine.h"
#include "tool/Commands.h"
#include "tool/Error.h"
#include "tool/Labels.h"
#include "tool/LoadedFile.h"
#include "tool/LockMarker.h"
#include "tool/Progress.h"
#include "tool/ResultFile.h"
#include "tool/Slice.h"
#include "tool/SliceOptions.h"
#include "tool/Terminal.h"
#include "tool/Visible.h"
#include "tool/Walk.h"
#include "tool/formats/Json.h"

namespace fieldstore::tool {
namespace {

struct ShowOptions {
    std::string input;
    std::string className;
    bool full = false;
    SliceWords slice;
};

template <typename T>
inline constexpr bool kIsReal = std::is_floating_point_v<T> || kIsComplex<T>;
/// Whether values hold real or complex numbers; integers beside these are no values but numbers of
/// something.
template <typename T>
inline constexpr bool kHasReals = kIsReal<T>;
template <typename A, typename B>
inline constexpr bool kHasReals<std::pair<A, B>> = kHasReals<A> || kHasReals<B>;
template <typename T>
inline constexpr bool kHasReals<std::vector<T>> = kHasReals<T>;

std::string Rounded(double value) {
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.6g", value);
    return text.data();
}

/// Smallest, largest and mean of numbers; complex ones count by their magnitude.
class Statistics {
public:
    template <typename T>
    void Take(const T& value) {
        ForNumbers(value, [this](const auto& number) {
            using Number = std::decay_t<decltype(number)>;
            if (kHasReals<T> && !kIsReal<Number>) return;
            double size = 0;
            if constexpr (kIsComplex<Number>)
                size = std::abs(number);
            else
                size = static_cast<double>(number);
            ++count;
            isReal = isReal || kIsReal<Number>;
            if (!std::isfinite(size)) return void(++strange);
            least = std::min(least, size);
            most = std::max(most, size);
            sum += size;
        });
    }
    std::string Range() const {
        if (count == strange) return "";
        return least == most ? Rounded(least) : Rounded(least) + " .. " + Rounded(most);
    }
    std::string Text() const {
        std::string text = Counted(count, "number", "numbers");
        if (count != strange) text += ", " + Range();
        // The mean of ids means nothing.
        if (count != strange && isReal)
            text += ", mean " + Rounded(sum / static_cast<double>(count - strange));
        return strange == 0 ? text : text + ", " + std::to_string(strange) + " not finite";
    }
    std::size_t Count() const { return count; }

private:
    std::size_t count = 0, strange = 0;
    double least = HUGE_VAL, most = -HUGE_VAL, sum = 0;
    bool isReal = false;
};

std::string ComplexText(const Complex& value) {
    const std::string imaginary = Rounded(value.imag());
    return Rounded(value.real()) + (imaginary.front() == '-' ? "" : "+") + imaginary + "j";
}

/// Visitor that prints the fields of a body for people.
class FieldPrinter {
public:
    FieldPrinter(const ShowOptions& chosen, const Slice& wanted, const Labels& named)
        : options(chosen), slice(wanted), names(named) {}
    ~FieldPrinter() { FlushScalars(); }
    FieldPrinter(const FieldPrinter&) = delete;
    FieldPrinter& operator=(const FieldPrinter&) = delete;

    template <typename T>
    void operator()(const Field& field, const T& value) {
        if constexpr (!kIsContainer<T>) {
            if (slice.IsEmpty())
                scalars.Add({std::string(field.name), ToJson(value, field.parts.data()).dump()});
        } else {
            if (!slice.Names(field)) return;
            FlushScalars();
            if constexpr (std::is_same_v<T, decltype(ModeInfoBody::modes)>)
                PrintModes(field, value);
            else
                PrintContainer(field, value);
        }
    }

private:
    static constexpr std::size_t kEnds = 5;  // entries shown at either end

    void FlushScalars() {
        std::cout << scalars.Text();
        scalars = Table();
    }

    void PrintTypes(const Field& field, const std::map<std::int64_t, Statistics>& byType) const {
        for (const auto& [type, ofType] : byType) {
            std::cout << "  type " << type << Meaning(field.name, "type", static_cast<int>(type))
                      << ": " << ofType.Text() << '\n';
        }
    }

    template <typename T>
    void PrintContainer(const Field& field, const T& value) {
        std::vector<const typename T::value_type*> chosen;
        Statistics statistics;
        std::map<std::int64_t, Statistics> byType;
        {
            const Progress progress("Summing up " + std::string(field.name));
            for (const auto& entry : value) {
                chosen.push_back(&entry);
                TakeValues(entry, statistics);
                if constexpr (IsMap<T>::value)
                    if (const auto type = TypeOf(field, entry.first))
                        TakeValues(entry, byType[*type]);
            }
        }
        std::cout << field.name << ": " << Counted(chosen.size(), "entry", "entries");
        // Quantities of several types have no statistics in common.
        if (byType.size() < 2 && statistics.Count() != 0) std::cout << "; " << statistics.Text();
        std::cout << '\n';
        if (byType.size() > 1) PrintTypes(field, byType);
        if constexpr (std::is_arithmetic_v<typename T::value_type>) return PrintNumbers(value);
        PrintRanges(field, chosen);
        Table table;
        AddHeader<typename T::value_type>(table, field);
        for (std::size_t i = 0; i < chosen.size(); ++i) {
            if (!options.full && i == kEnds && chosen.size() > 2 * kEnds) {
                table.Add({"..."});
                i = chosen.size() - kEnds;
            }
            AddEntry(table, field, i, *chosen[i]);
        }
        std::cout << table.Text("  ");
    }

    /// The part of a key that tells what the values are; nothing when they are alike.
    template <typename K>
    static std::optional<std::int64_t> TypeOf(const Field& field, const K& key) {
        std::optional<std::int64_t> type;
        if (field.name == "definitions") return type;
        ForLeaves(key, [&](const auto& part, std::size_t i) {
            if (field.parts[i].name == "type") type = static_cast<std::int64_t>(part);
        });
        return type;
    }

    /// Quantity by quantity, and what an engineer compares over frequency.
    void PrintModes(const Field& field, const decltype(ModeInfoBody::modes)& modes) const {
        Statistics gamma, voltage, current;
        std::vector<
            const std::pair<const std::pair<std::int64_t, int>, std::vector<ModeInfoBody::Record>>*>
            chosen;
        std::size_t rows = 0;
        std::optional<Progress> progress("Summing up " + std::string(field.name));
        for (const auto& entry : modes) {
            chosen.push_back(&entry);
            for (const auto& [head, data] : entry.second) {
                const std::size_t half = data.size() / 2;
                gamma.Take(head.second);
                for (std::size_t i = 0; i < half; ++i) {
                    voltage.Take(data[i]);
                    current.Take(data[half + i]);
                }
                rows += std::max<std::size_t>(half, 1);
            }
        }
        progress.reset();
        std::cout << field.name << ": " << Counted(modes.size(), "entry", "entries") << '\n';
        PrintRanges(field, chosen);
        if (gamma.Count() == 0) return;
        std::cout << "  |gamma|: " << gamma.Text() << "\n  |V|: " << voltage.Text()
                  << "\n  |I|: " << current.Text() << '\n';
        Table table;
        table.Add({"frequency", "port", "mode", "group", "gamma", "index", "V", "I", "Z"});
        std::size_t row = 0;
        for (const auto* entry : chosen)
            for (std::size_t mode = 0; mode < entry->second.size(); ++mode)
                AddModeRows(entry->first, mode, entry->second[mode], rows, row, table);
        std::cout << table.Text("  ");
    }

    /// Several rows for a mode with several voltages.
    void AddModeRows(const std::pair<std::int64_t, int>& key, std::size_t mode,
                     const ModeInfoBody::Record& record, std::size_t rows, std::size_t& row,
                     Table& table) const {
        const auto& [head, data] = record;
        const std::size_t half = data.size() / 2;
        for (std::size_t i = 0; i < std::max<std::size_t>(half, 1); ++i, ++row) {
            if (!options.full && rows > 2 * kEnds && row >= kEnds && row < rows - kEnds) {
                if (row == kEnds) table.Add({"..."});
                continue;
            }
            std::vector<std::string> cells{std::to_string(key.first), std::to_string(key.second),
                                           std::to_string(mode), std::to_string(head.first),
                                           ComplexText(head.second)};
            if (half != 0) {
                cells.insert(
                    cells.end(),
                    {std::to_string(i), ComplexText(data[i]), ComplexText(data[half + i]),
                     data[half + i] == Complex() ? "-" : ComplexText(data[i] / data[half + i])});
            }
            table.Add(cells);
        }
    }

    template <typename T>
    void PrintNumbers(const T& value) const {
        constexpr std::size_t few = 2 * kEnds;
        std::size_t i = 0;
        std::cout << ' ';
        for (const auto& number : value) {
            const bool hidden =
                !options.full && value.size() > 2 * few && i >= few && i < value.size() - few;
            if (!hidden) std::cout << ' ' << number;
            if (i++ == few && hidden) std::cout << " ...";
        }
        std::cout << '\n';
    }

    /// The values are what a key leads to, or else the entry itself.
    template <typename Entry>
    static void TakeValues(const Entry& entry, Statistics& statistics) {
        statistics.Take(entry);
    }
    template <typename K, typename V>
    static void TakeValues(const std::pair<const K, V>& entry, Statistics& statistics) {
        statistics.Take(entry.second);
    }

    /// What the parts of a map's keys reach over.
    template <typename Entry>
    void PrintRanges(const Field& /*field*/, const std::vector<const Entry*>& /*chosen*/) const {}
    template <typename K, typename V>
    void PrintRanges(const Field& field,
                     const std::vector<const std::pair<const K, V>*>& chosen) const {
        std::array<std::set<std::int64_t>, kLeaves<K>> seen;
        for (const auto* entry : chosen) {
            ForLeaves(entry->first, [&](const auto& part, std::size_t i) {
                seen[i].insert(field.parts[i].isId
                                   ? static_cast<std::int64_t>(static_cast<std::uint32_t>(part))
                                   : static_cast<std::int64_t>(part));
            });
        }
        for (std::size_t i = 0; i < seen.size(); ++i)
            if (!seen[i].empty())
                std::cout << "  " << field.parts[i].name << ": " << *seen[i].begin() << " .. "
                          << *seen[i].rbegin() << ", " << seen[i].size() << " different\n";
    }

    template <typename Entry>
    void AddHeader(Table& table, const Field& field) const {
        std::vector<std::string> cells{"#"};
        if constexpr (IsPair<Entry>::value)
            for (std::size_t i = 0; i < kLeaves<Entry>; ++i)
                cells.emplace_back(field.parts[i].name);
        table.Add(cells);
    }

    template <typename Entry>
    void AddEntry(Table& table, const Field& field, std::size_t number, const Entry& entry) const {
        std::vector<std::string> cells{std::to_string(number)};
        ForLeaves(entry, [&](const auto& part, std::size_t i) {
            const bool inner = kIsContainer<std::decay_t<decltype(part)>> && !field.parts[i].isId;
            const Label* labels = field.parts.data() + (inner ? kLeaves<Entry> : i);
            cells.push_back(PartText(part, IsPair<Entry>::value ? labels : field.parts.data()));
            if constexpr (std::is_same_v<std::decay_t<decltype(part)>, int>)
                cells.back() += Meaning(field.name, field.parts[i].name, part);
        });
        table.Add(cells);
    }

    /// The name of a number behind it, where it has one.
    std::string Meaning(std::string_view field, std::string_view part, int value) const {
        const std::string meaning = names.Meaning(field, part, value);
        return meaning.empty() ? "" : " " + Visible(meaning);
    }

    template <typename T>
    std::string PartText(const T& part, const Label* labels) const {
        constexpr std::size_t few = 4;
        if constexpr (kIsContainer<T>) {
            // Pairs have names, which make even a few of them long.
            if (!options.full && (part.size() > few || IsPair<typename T::value_type>::value)) {
                Statistics statistics;
                statistics.Take(part);
                return std::to_string(part.size()) + " (" + statistics.Text() + ")";
            }
        }
        return ToJson(part, labels).dump();
    }

    const ShowOptions& options;
    const Slice& slice;
    const Labels& names;
    Table scalars;
};

int RunShow(const ShowOptions& options) {
    const Slice slice = ParseSlice(options.slice);
    const LoadedFile loaded = LoadWhole(options.input, options.className, slice);
    const ResultFile& file = loaded.file;
    const Labels labels = Labels::Beside(file.path);
    std::cout << Visible(file.path) << ": " << file.ClassName() << (file.guessed ? " (guess)" : "")
              << ", " << file.Mode() << ", " << Counted(file.bodies.size(), "body", "bodies")
              << ", " << ReadableSize(file.size);
    if (file.version) std::cout << ", version \"" << Visible(*file.version) << '"';
    if (const auto lock = FindLock(file.path))
        std::cout << ", locked for " << ReadableTime(lock->age);
    std::cout << '\n';
    const AnyBody body = loaded.InMemory();
    FieldPrinter printer(options, slice, labels);
    std::visit([&printer](const auto& fields) { fields.Visit(fields, printer); }, body);
    return kDone;
}

}  // namespace

void DefineShow(CommandLine& command) {
    const auto options = std::make_shared<ShowOptions>();
    command.Argument("FILE", options->input, "The result file");
    command.ClassOption(options->className);
    command.Flag("--full", options->full, "All entries and values, not the first and last");
    DescribeSlice(command, options->slice);
    command.Explain(
        "Shows what a host has after a load, so appended bodies are merged: sizes, ranges, the\n"
        "first and last entries, and statistics of each quantity; of modes, gamma, V, I and Z.\n"
        "Complex values count by their magnitude. Of a slice, only fields whose entries have such\n"
        "keys are shown. Types have the names of a labels.json next to the file. For programs "
        "there\n"
        "is dump.\n\n"
        "Exit status: 0; 2 when the file cannot be read.\n\n"
        "Examples:\n"
        "  fieldstore show solutiondata.dat\n"
        "  fieldstore show modeinfo.dat --frequency 8GHz:12GHz --port 1 --full");
    command.Runs([options] { return RunShow(*options); });
}

}  // namespace fieldstore::tool
