// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iostream>
#include <memory>

#include "core/FrequencyKey.h"
#include "tool/Commands.h"
#include "tool/LockMarker.h"
#include "tool/Progress.h"
#include "tool/Terminal.h"
#include "tool/formats/Json.h"

namespace fieldstore::tool {
namespace {

struct ShowOptions {
    std::string input;
    std::string className;
    bool full = false;
    std::optional<double> frequency;
    std::map<std::string, std::int64_t> parts;  // wanted values of the keys' parts, by label
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
        if (count != strange)
            text +=
                ", " + Range() + ", mean " + Rounded(sum / static_cast<double>(count - strange));
        return strange == 0 ? text : text + ", " + std::to_string(strange) + " not finite";
    }
    std::size_t Count() const { return count; }

private:
    std::size_t count = 0, strange = 0;
    double least = HUGE_VAL, most = -HUGE_VAL, sum = 0;
};

/// Visitor that prints the fields of a body for people.
class FieldPrinter {
public:
    explicit FieldPrinter(const ShowOptions& chosen) : options(chosen) {}
    ~FieldPrinter() { FlushScalars(); }
    FieldPrinter(const FieldPrinter&) = delete;
    FieldPrinter& operator=(const FieldPrinter&) = delete;

    template <typename T>
    void operator()(const Field& field, const T& value) {
        if constexpr (!kIsContainer<T>) {
            if (options.parts.empty())
                scalars.Add({std::string(field.name), ToJson(value, field.parts.data()).dump()});
        } else {
            if (!IsWanted(field)) return;
            matched = true;
            FlushScalars();
            PrintContainer(field, value);
        }
    }
    /// Whether a field had the parts that are asked for.
    bool Matched() const { return matched; }

private:
    static constexpr std::size_t kEnds = 5;  // entries shown at either end

    bool IsWanted(const Field& field) const {
        return std::all_of(options.parts.begin(), options.parts.end(), [&field](const auto& part) {
            return std::any_of(field.parts.begin(), field.parts.end(),
                               [&part](const Label& label) { return label.name == part.first; });
        });
    }

    void FlushScalars() {
        std::cout << scalars.Text();
        scalars = Table();
    }

    template <typename T>
    void PrintContainer(const Field& field, const T& value) {
        std::vector<const typename T::value_type*> chosen;
        Statistics statistics;
        {
            const Progress progress("Summing up " + std::string(field.name));
            for (const auto& entry : value) {
                if (!EntryIsWanted(field, entry)) continue;
                chosen.push_back(&entry);
                TakeValues(entry, statistics);
            }
        }
        std::cout << field.name << ": " << Counted(chosen.size(), "entry", "entries");
        if (statistics.Count() != 0) std::cout << "; " << statistics.Text();
        std::cout << '\n';
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

    template <typename Entry>
    bool EntryIsWanted(const Field& field, const Entry& entry) const {
        bool wanted = true;
        if constexpr (IsPair<Entry>::value) {
            ForLeaves(entry, [&](const auto& part, std::size_t i) {
                if constexpr (std::is_integral_v<std::decay_t<decltype(part)>>) {
                    const auto found = options.parts.find(std::string(field.parts[i].name));
                    const std::int64_t value =
                        field.parts[i].isId
                            ? static_cast<std::int64_t>(static_cast<std::uint32_t>(part))
                            : static_cast<std::int64_t>(part);
                    if (found != options.parts.end() && found->second != value) wanted = false;
                }
            });
        }
        return wanted;
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
        });
        table.Add(cells);
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
    Table scalars;
    bool matched = false;
};

int RunShow(ShowOptions options) {
    if (options.frequency) {
        const auto key = FrequencyKey(*options.frequency);
        if (!key) throw Error("", "this frequency cannot be stored", "");
        options.parts["frequency"] = *key;
    }
    const ResultFile file = InspectWhole(options.input, options.className);
    std::cout << Visible(file.path) << ": " << file.ClassName() << (file.guessed ? " (guess)" : "")
              << ", " << file.Mode() << ", " << Counted(file.bodies.size(), "body", "bodies")
              << ", " << ReadableSize(file.size);
    if (file.version) std::cout << ", version \"" << Visible(*file.version) << '"';
    if (const auto lock = FindLock(file.path))
        std::cout << ", locked for " << ReadableTime(lock->age);
    std::cout << '\n';
    const AnyBody body = LoadedBody(file);
    FieldPrinter printer(options);
    std::visit([&printer](const auto& fields) { fields.Visit(fields, printer); }, body);
    if (options.parts.empty() || printer.Matched()) return kDone;
    throw Error(file.path, "a " + file.ClassName() + " has no such key",
                "Select by what its tables show; --block wants a list stored in blocks.");
}

}  // namespace

void AddShow(CLI::App& program, Action& action) {
    const auto options = std::make_shared<ShowOptions>();
    auto* command = program.add_subcommand("show", "Show the data for people");
    command->add_option("FILE", options->input, "The result file")->required();
    AddClassOption(*command, options->className);
    command->add_flag("--full", options->full, "All entries and values, not the first and last");
    command->add_option("--frequency", options->frequency, "Only this frequency");
    const auto select = [&](const std::string& name, const std::string& text) {
        command->add_option_function<std::int64_t>(
            "--" + name, [options, name](std::int64_t value) { options->parts[name] = value; },
            text);
    };
    select("port", "Only this port");
    select("block", "Only this block of a DOF list");
    select("entity", "Only this entity of solution metrics");
    command->footer(
        "Shows what a host has after a load, so appended bodies are merged: sizes, ranges, the\n"
        "first and last entries, and statistics of the values. Complex values count by their\n"
        "magnitude. For programs there is dump.\n\n"
        "Exit status: 0; 2 when the file cannot be read.\n\n"
        "Examples:\n"
        "  fieldstore show solutiondata.dat\n"
        "  fieldstore show modeinfo.dat --frequency 10e9 --port 1 --full");
    command->callback([=, &action] { action = [=] { return RunShow(*options); }; });
}

}  // namespace fieldstore::tool
