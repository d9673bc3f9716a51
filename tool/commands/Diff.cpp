// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <iostream>
#include <iterator>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "objects/Field.h"
#include "streams/ContainerEncoding.h"
#include "streams/FileNames.h"
#include "tool/Bodies.h"
#include "tool/CommandLine.h"
#include "tool/Commands.h"
#include "tool/Directory.h"
#include "tool/Error.h"
#include "tool/Labels.h"
#include "tool/LoadedFile.h"
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

struct DiffOptions {
    std::string first;
    std::string second;
    std::string className;
    double relative = 0;
    double absolute = 0;
    std::size_t limit = 100;
    bool json = false;
    SliceWords slice;
};

struct Difference {
    std::string file;  // its name, where directories are compared
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
        if (options.limit == 0 || shown.size() < options.limit) shown.push_back({file, path, a, b});
    }
    /// The name of the file that the differences to come are in.
    void Enter(const std::string& name) { file = name; }
    void Enter(const Field& next) { field = next.name; }
    /// What the numbers of types mean, for people.
    void Name(Labels labels) { names = std::move(labels); }
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

    /// A number, and what it means.
    template <typename T>
    std::string Text(const T& value, const Label* labels) const;
    /// A key in brackets: [frequency 1000, port 1].
    template <typename K>
    std::string KeyText(const K& key, const Label* labels) const;

    template <typename K, typename V>
    void CompareMaps(const std::map<K, V>& a, const std::map<K, V>& b, const Label* labels);
    template <typename T>
    void CompareSets(const std::set<T>& a, const std::set<T>& b, const Label* labels);
    template <typename T>
    void CompareVectors(const std::vector<T>& a, const std::vector<T>& b, const Label* labels);

    const DiffOptions& options;
    std::optional<Labels> names;
    std::string file;
    std::string_view field;
    std::string path;
    std::size_t count = 0;
    std::vector<Difference> shown;
};

template <typename T>
std::string Comparer::Text(const T& value, const Label* labels) const {
    std::string text = ToJson(value, labels).dump();
    if constexpr (std::is_same_v<T, int>) {
        const auto meaning = names ? names->Meaning(field, labels->name, value) : "";
        if (!meaning.empty()) text += " " + meaning;
    }
    return text;
}

template <typename K>
std::string Comparer::KeyText(const K& key, const Label* labels) const {
    std::string text;
    ForLeaves(key, [&](const auto& part, std::size_t i) {
        text += (i == 0 ? "[" : ", ") + std::string(labels[i].name) + " " + Text(part, labels + i);
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
        Differ(Text(a, labels), Text(b, labels));
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
    const Slice& slice;
    template <typename T>
    void operator()(const Field& field, const T& value) {
        if (!slice.Names(field)) return;
        comparer.Enter(field);
        comparer.At(std::string(field.name), [&] {
            comparer.Compare(value, *static_cast<const T*>(other.fields.at(field.name)),
                             field.parts.data());
        });
    }
};

void CompareFiles(const std::string& pathA, const std::string& pathB, const DiffOptions& options,
                  const Slice& slice, Comparer& comparer) {
    const LoadedFile loadedA = LoadWhole(pathA, options.className, slice);
    const LoadedFile loadedB = LoadWhole(pathB, options.className, slice);
    const ResultFile& a = loadedA.file;
    const ResultFile& b = loadedB.file;
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
    if (!options.json) {
        const Labels names = Labels::Beside(pathA);
        comparer.Name(names.NamesTypes() ? names : Labels::Beside(pathB));
    }
    const AnyBody first = loadedA.InMemory();
    const AnyBody second = loadedB.InMemory();
    const Progress progress("Comparing " + a.path + " with " + b.path);
    FieldFinder finder;
    std::visit([&finder](const auto& body) { body.Visit(body, finder); }, second);
    FieldComparer visitor{comparer, finder, slice};
    std::visit([&visitor](const auto& body) { body.Visit(body, visitor); }, first);
}

/// Pairs the files of two directories by name. Returns the status but for differences.
int CompareDirectories(const DiffOptions& options, const Slice& slice, Comparer& comparer) {
    const auto first = ResultFilesIn(options.first, options.className);
    const auto second = ResultFilesIn(options.second, options.className);
    std::vector<std::string> names;
    std::set_union(first.begin(), first.end(), second.begin(), second.end(),
                   std::back_inserter(names));
    return ForEachName(names, [&](const std::string& name) {
        comparer.Enter(name);
        if (!std::binary_search(second.begin(), second.end(), name))
            return comparer.Differ("present", "missing");
        if (!std::binary_search(first.begin(), first.end(), name))
            return comparer.Differ("missing", "present");
        try {
            CompareFiles(platform::Joined(options.first, name),
                         platform::Joined(options.second, name), options, slice, comparer);
        } catch (const NoSuchKey&) {
            // The slice is one of other files.
        }
    });
}

int Compare(const DiffOptions& options, Comparer& comparer) {
    const Slice slice = ParseSlice(options.slice);
    if (platform::IsDirectory(options.first) && platform::IsDirectory(options.second))
        return CompareDirectories(options, slice, comparer);
    CompareFiles(options.first, options.second, options, slice, comparer);
    return kDone;
}

int RunDiff(const DiffOptions& options) {
    Comparer comparer(options);
    const int status = Compare(options, comparer);
    Json json{{"same", comparer.Count() == 0 && status == kDone},
              {"count", comparer.Count()},
              {"differences", Json::array()}};
    for (const auto& [file, path, a, b] : comparer.Shown()) {
        std::string where = file;
        where += file.empty() || path.empty() ? "" : ": ";
        where += path;
        if (!options.json)
            std::cout << Visible(where) << ": " << Visible(a) << " | " << Visible(b) << '\n';
        Json difference{{"path", path}, {"first", a}, {"second", b}};
        if (!file.empty()) difference["file"] = file;
        json["differences"].push_back(difference);
    }
    if (options.json)
        std::cout << ReportText(json);
    else if (comparer.Count() > comparer.Shown().size())
        std::cout << "... " << Counted(comparer.Count(), "difference", "differences")
                  << " in all; --limit 0 shows them\n";
    if (status != kDone) return status;
    return comparer.Count() == 0 ? kDone : kFound;
}

}  // namespace

void DefineDiff(CommandLine& command) {
    const auto options = std::make_shared<DiffOptions>();
    command.Argument("A", options->first, "A result file, or a directory of them");
    command.Argument("B", options->second, "Another one of the class, or another directory");
    command.ClassOption(options->className);
    command.Value("--rtol", options->relative, "Relative tolerance: |a-b| <= atol + rtol*|b|")
        .NotNegative();
    command.Value("--atol", options->absolute, "Absolute tolerance").NotNegative();
    command.Value("--limit", options->limit, "Differences shown at most; 0 shows all").WithPreset();
    command.Flag("--json", options->json, "A JSON object for programs");
    DescribeSlice(command, options->slice);
    command.Explain(
        "Compares what a host has after a load, so that neither the mode nor the number of bodies\n"
        "matters. Not-a-numbers are equal. Files of directories are paired by name. Of a slice, "
        "only\n"
        "fields whose entries have such keys are compared. Types have the names of a labels.json "
        "next\n"
        "to A, or else to B, but not with --json.\n\n"
        "Exit status: 0 same, 1 different, 2 trouble.\n\n"
        "Examples:\n"
        "  fieldstore diff before/modeinfo.dat after/modeinfo.dat --rtol 1e-9\n"
        "  fieldstore diff a.dat b.dat --class POModeInfo --json\n"
        "  fieldstore diff before/ after/ --frequency 10GHz");
    command.Runs([options] { return RunDiff(*options); });
}

}  // namespace fieldstore::tool
