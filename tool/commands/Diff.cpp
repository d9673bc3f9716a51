// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cmath>
#include <iostream>
#include <memory>

#include "tool/Commands.h"
#include "tool/Progress.h"
#include "tool/Terminal.h"
#include "tool/formats/Json.h"

namespace fieldstore::tool {
namespace {

struct DiffOptions {
    std::string first;
    std::string second;
    std::string className;
    double relative = 0;
    double absolute = 0;
    std::size_t limit = 100;
    bool json = false;
};

struct Difference {
    std::string path;
    std::string first;
    std::string second;
};

/// Compares values of one type and remembers where they differ.
class Comparer {
public:
    explicit Comparer(const DiffOptions& chosen) : options(chosen) {}

    template <typename T>
    void Compare(const T& a, const T& b, const Label* labels);
    /// Does `action` with the path one step longer.
    template <typename Do>
    void At(const std::string& step, const Do& action) {
        const auto length = path.size();
        path += step;
        action();
        path.resize(length);
    }
    void Differ(const std::string& a, const std::string& b) {
        ++count;
        if (options.limit == 0 || shown.size() < options.limit) shown.push_back({path, a, b});
    }
    std::size_t Count() const { return count; }
    const std::vector<Difference>& Shown() const { return shown; }

private:
    bool Same(double a, double b) const {
        if (a == b || (std::isnan(a) && std::isnan(b))) return true;
        return std::abs(a - b) <= options.absolute + options.relative * std::abs(b);
    }
    bool Same(const Complex& a, const Complex& b) const {
        return Same(a.real(), b.real()) && Same(a.imag(), b.imag());
    }
    template <typename T>
    bool Same(const T& a, const T& b) const {
        return a == b;
    }

    template <typename K, typename V>
    void CompareMaps(const std::map<K, V>& a, const std::map<K, V>& b, const Label* labels);
    template <typename T>
    void CompareSets(const std::set<T>& a, const std::set<T>& b, const Label* labels);
    template <typename T>
    void CompareVectors(const std::vector<T>& a, const std::vector<T>& b, const Label* labels);

    const DiffOptions& options;
    std::string path;
    std::size_t count = 0;
    std::vector<Difference> shown;
};

/// A key in brackets: [frequency 1000, port 1].
template <typename K>
std::string KeyText(const K& key, const Label* labels) {
    std::string text;
    ForLeaves(key, [&](const auto& part, std::size_t i) {
        text += (i == 0 ? "[" : ", ") + std::string(labels[i].name) + " " +
                ToJson(part, labels + i).dump();
    });
    return text + "]";
}

template <typename K, typename V>
void Comparer::CompareMaps(const std::map<K, V>& a, const std::map<K, V>& b, const Label* labels) {
    const Label* inner = labels + kLeaves<K>;
    if constexpr (IsVector<V>::value)
        if (IsPair<typename V::value_type>::value)
            ++inner;  // its elements have labels of their own
    auto i = a.begin();
    auto j = b.begin();
    while (i != a.end() || j != b.end()) {
        if (j == b.end() || (i != a.end() && i->first < j->first)) {
            At(KeyText(i++->first, labels), [this] { Differ("present", "missing"); });
        } else if (i == a.end() || j->first < i->first) {
            At(KeyText(j++->first, labels), [this] { Differ("missing", "present"); });
        } else {
            At(KeyText(i->first, labels), [&] { Compare(i->second, j->second, inner); });
            ++i;
            ++j;
        }
    }
}

template <typename T>
void Comparer::CompareSets(const std::set<T>& a, const std::set<T>& b, const Label* labels) {
    std::vector<T> onlyA, onlyB;
    std::set_difference(a.begin(), a.end(), b.begin(), b.end(), std::back_inserter(onlyA));
    std::set_difference(b.begin(), b.end(), a.begin(), a.end(), std::back_inserter(onlyB));
    const auto text = [labels](const T& element) {
        return "[" + ToJson(element, labels).dump() + "]";
    };
    for (const T& element : onlyA) At(text(element), [this] { Differ("present", "missing"); });
    for (const T& element : onlyB) At(text(element), [this] { Differ("missing", "present"); });
}

template <typename T>
void Comparer::CompareVectors(const std::vector<T>& a, const std::vector<T>& b,
                              const Label* labels) {
    if (a.size() != b.size())
        Differ(Counted(a.size(), "value", "values"), Counted(b.size(), "value", "values"));
    for (std::size_t i = 0; i < std::min(a.size(), b.size()); ++i) {
        // Equal numbers, nearly all of them, need no path.
        if constexpr (std::is_arithmetic_v<T> || kIsComplex<T>)
            if (Same(a[i], b[i])) continue;
        At("[" + std::to_string(i) + "]", [&] { Compare(a[i], b[i], labels); });
    }
}

template <typename T>
void Comparer::Compare(const T& a, const T& b, const Label* labels) {
    if constexpr (IsMap<T>::value) {
        CompareMaps(a, b, labels);
    } else if constexpr (IsSet<T>::value) {
        CompareSets(a, b, labels);
    } else if constexpr (IsVector<T>::value) {
        CompareVectors(a, b, labels);
    } else if constexpr (IsPair<T>::value) {
        using First = std::remove_const_t<typename T::first_type>;
        const auto part = [&](const auto& x, const auto& y, const Label* own) {
            if constexpr (IsPair<std::decay_t<decltype(x)>>::value)
                Compare(x, y, own);
            else
                At("." + std::string(own->name), [&] { Compare(x, y, own); });
        };
        part(a.first, b.first, labels);
        part(a.second, b.second, labels + kLeaves<First>);
    } else if (!Same(a, b)) {
        Differ(ToJson(a, labels).dump(), ToJson(b, labels).dump());
    }
}

/// Visitor that remembers where the fields of a body are.
struct FieldFinder {
    std::map<std::string_view, const void*> fields;
    template <typename T>
    void operator()(const Field& field, const T& value) {
        fields[field.name] = &value;
    }
};

/// Visitor that compares the fields of a body with those of another one of the same type.
struct FieldComparer {
    Comparer& comparer;
    const FieldFinder& other;
    template <typename T>
    void operator()(const Field& field, const T& value) {
        comparer.At(std::string(field.name), [&] {
            comparer.Compare(value, *static_cast<const T*>(other.fields.at(field.name)),
                             field.parts.data());
        });
    }
};

void CompareFiles(const ResultFile& a, const ResultFile& b, Comparer& comparer) {
    if (a.kind != b.kind) {
        const auto name = [](const ResultFile& file) {
            return file.ClassName() + (file.Info().blocked ? " in blocks" : "");
        };
        return comparer.At("class", [&] { comparer.Differ(name(a), name(b)); });
    }
    if (a.version != b.version)
        comparer.At("version", [&] {
            comparer.Differ(a.version.value_or("none"), b.version.value_or("none"));
        });
    const AnyBody first = LoadedBody(a);
    const AnyBody second = LoadedBody(b);
    const Progress progress("Comparing " + a.path + " with " + b.path);
    FieldFinder finder;
    std::visit([&finder](const auto& body) { body.Visit(body, finder); }, second);
    FieldComparer visitor{comparer, finder};
    std::visit([&visitor](const auto& body) { body.Visit(body, visitor); }, first);
}

int RunDiff(const DiffOptions& options) {
    Comparer comparer(options);
    CompareFiles(InspectWhole(options.first, options.className),
                 InspectWhole(options.second, options.className), comparer);
    Json json{{"same", comparer.Count() == 0},
              {"count", comparer.Count()},
              {"differences", Json::array()}};
    for (const auto& [path, a, b] : comparer.Shown()) {
        if (!options.json)
            std::cout << Visible(path) << ": " << Visible(a) << " | " << Visible(b) << '\n';
        json["differences"].push_back({{"path", path}, {"first", a}, {"second", b}});
    }
    if (options.json)
        std::cout << ReportText(json);
    else if (comparer.Count() > comparer.Shown().size())
        std::cout << "... " << Counted(comparer.Count(), "difference", "differences")
                  << " in all; --limit 0 shows them\n";
    return comparer.Count() == 0 ? kDone : kFound;
}

}  // namespace

void AddDiff(CLI::App& program, Action& action) {
    const auto options = std::make_shared<DiffOptions>();
    auto* command = program.add_subcommand("diff", "Tell what differs between two files");
    command->add_option("A", options->first, "A result file")->required();
    command->add_option("B", options->second, "Another one of the class")->required();
    AddClassOption(*command, options->className);
    command->add_option("--rtol", options->relative, "Relative tolerance: |a-b| <= atol + rtol*|b|")
        ->check(CLI::NonNegativeNumber);
    command->add_option("--atol", options->absolute, "Absolute tolerance")
        ->check(CLI::NonNegativeNumber);
    command->add_option("--limit", options->limit, "Differences shown at most; 0 shows all")
        ->capture_default_str();
    command->add_flag("--json", options->json, "A JSON object for programs");
    command->footer(
        "Compares what a host has after a load, so that neither the mode nor the number of bodies\n"
        "matters. Not-a-numbers are equal.\n\n"
        "Exit status: 0 same, 1 different, 2 trouble.\n\n"
        "Examples:\n"
        "  fieldstore diff before/modeinfo.dat after/modeinfo.dat --rtol 1e-9\n"
        "  fieldstore diff a.dat b.dat --class POModeInfo --json");
    command->callback([=, &action] { action = [=] { return RunDiff(*options); }; });
}

}  // namespace fieldstore::tool
