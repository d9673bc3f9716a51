// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <complex>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <iostream>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <variant>
#include <vector>

#include "streams/FileNames.h"
#include "tool/Bodies.h"
#include "tool/Catalog.h"
#include "tool/Chart.h"
#include "tool/CommandLine.h"
#include "tool/Commands.h"
#include "tool/Error.h"
#include "tool/Follower.h"
#include "tool/Labels.h"
#include "tool/Progress.h"
#include "tool/SideFiles.h"
#include "tool/System.h"
#include "tool/Terminal.h"
#include "tool/Visible.h"
#include "tool/Waiting.h"

namespace fieldstore::tool {
namespace {

struct WatchOptions {
    std::vector<std::string> paths;
    std::string className;
    std::optional<double> seconds;
    std::size_t last = 10;
    bool plot = false;
};

std::string Text(double value) {
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.6g", value);
    return text.data();
}

std::string FrequencyText(std::int64_t frequency) {
    constexpr std::array<std::pair<double, const char*>, 4> units{
        {{1e12, " THz"}, {1e9, " GHz"}, {1e6, " MHz"}, {1e3, " kHz"}}};
    const auto value = static_cast<double>(frequency);
    for (const auto& [factor, name] : units) {
        if (value < factor) continue;
        std::array<char, 40> text{};
        std::snprintf(text.data(), text.size(), "%.12g%s", value / factor, name);
        return text.data();
    }
    return std::to_string(frequency) + " Hz";
}

template <typename T, typename Show>
std::string Range(const std::set<T>& values, const std::string& one, const std::string& many,
                  const Show& show) {
    if (values.size() == 1) return one + " " + show(*values.begin());
    return std::to_string(values.size()) + " " + many + " " + show(*values.begin()) + " .. " +
           show(*values.rbegin());
}

/// What a body is about, and the number that the chart shows.
struct News {
    std::string text;
    std::optional<double> value;
};

template <typename Map, typename Show>
std::string KeysText(const Map& map, const std::string& one, const std::string& many,
                     const Show& show) {
    std::set<std::int64_t> frequencies, others;
    for (const auto& entry : map) {
        frequencies.insert(entry.first.first);
        others.insert(entry.first.second);
    }
    if (map.empty()) return "no data";
    return Range(frequencies, "frequency", "frequencies", FrequencyText) + ", " +
           Range(others, one, many, show);
}

/// The number of a type, and its name where it has one.
std::string TypeText(const Labels& labels, std::string_view field, std::int64_t type) {
    const std::string meaning = labels.Meaning(field, "type", type);
    return std::to_string(type) + (meaning.empty() ? "" : " " + meaning);
}

News NewsOf(const ModeInfoBody& body, const Labels& /*labels*/) {
    const auto number = [](std::int64_t port) { return std::to_string(port); };
    News news{KeysText(body.modes, "port", "ports", number), {}};
    if (body.modes.empty() || body.modes.rbegin()->second.empty()) return news;
    const Complex value = body.modes.rbegin()->second.front().first.second;
    news.value = std::abs(value);
    news.text += ", first mode " + Text(value.real()) + (value.imag() < 0 ? " - " : " + ") +
                 Text(std::abs(value.imag())) + "i";
    return news;
}

News NewsOf(const CircuitMatricesBody& body, const Labels& labels) {
    const auto name = [&labels](std::int64_t type) { return TypeText(labels, "matrices", type); };
    News news{KeysText(body.matrices, "type", "types", name), {}};
    if (body.matrices.empty()) return news;
    double largest = 0;
    for (const double value : body.matrices.rbegin()->second)
        largest = std::max(largest, std::abs(value));
    news.value = largest;
    news.text += ", largest value " + Text(largest);
    return news;
}

/// The last pass, and the values that most of its entities have: those of elements, as a rule.
News NewsOf(const SolutionMetricsBody& body, const Labels& labels) {
    std::map<int, std::pair<std::uint32_t, std::vector<double>>> passes;
    for (const auto& [key, values] : body.values) {
        auto& [pass, numbers] = passes[key.first];
        const auto index = static_cast<std::uint32_t>(key.second.first);
        if (index > pass) numbers.clear();
        if (index < pass) continue;
        pass = index;
        numbers.insert(numbers.end(), values.begin(), values.end());
    }
    const auto chosen = std::max_element(passes.begin(), passes.end(), [](auto& a, auto& b) {
        return a.second.second.size() < b.second.second.size();
    });
    if (chosen == passes.end() || chosen->second.second.empty()) return {"no values", {}};
    const auto& [pass, numbers] = chosen->second;
    const double largest = *std::max_element(numbers.begin(), numbers.end());
    return {"pass " + std::to_string(pass) + ", type " + TypeText(labels, "values", chosen->first) +
                ": " + Counted(numbers.size(), "value", "values") + ", largest " + Text(largest),
            largest};
}

template <typename Body>
News NewsOf(const Body& body, const Labels& /*labels*/) {
    const auto entries = body.Entries();
    return {Counted(entries, "entry", "entries"), static_cast<double>(entries)};
}

/// Lines as they come, and the chart below them.
class Screen {
public:
    Screen(bool wantsChart, std::size_t mostAtFirst)
        : plot(wantsChart),
          most(mostAtFirst),
          terminal(system::IsTerminal(system::Standard::Output)) {}

    void Body(const std::string& path, const AnyBody& any, std::size_t number) {
        const Labels& names = LabelsOf(path);
        News news = std::visit([&names](const auto& body) { return NewsOf(body, names); }, any);
        auto& series = values[path];
        if (news.value && !series.empty() && series.back() != 0) {
            constexpr double percent = 100;
            std::array<char, 32> change{};
            std::snprintf(change.data(), change.size(), " (%+.3g %%)",
                          (*news.value - series.back()) / std::abs(series.back()) * percent);
            news.text += change.data();
        }
        if (news.value) series.push_back(*news.value);
        charted = path;
        Line(path + ": body " + std::to_string(number) + ": " + news.text);
    }
    void Line(const std::string& line) {
        lines.push_back(Visible(line));
        if (atFirst && lines.size() > most) lines.pop_front();
    }
    /// Shows what has come.
    void Show() {
        atFirst = false;
        if (lines.empty()) return;
        Erase();
        for (const auto& line : lines) std::cout << line << '\n';
        lines.clear();
        if (plot && terminal) Draw();
        FlushOutput();
    }
    void End() {
        Show();
        if (plot && !terminal) Draw();
    }

private:
    /// Read once. A run is followed without names rather than not at all.
    const Labels& LabelsOf(const std::string& path) {
        const auto [found, isNew] = labels.try_emplace(path);
        if (!isNew) return found->second;
        try {
            found->second = Labels::Beside(path);
        } catch (const Error& error) {
            Say(error);
        }
        return found->second;
    }
    void Draw() {
        chart = Chart(values[charted]);
        if (!chart.empty()) chart = Visible(charted) + "\n" + chart;
        std::cout << chart;
    }
    void Erase() {
        const auto height = std::count(chart.begin(), chart.end(), '\n');
        if (height != 0 && terminal) std::cout << "\033[" << height << "A\033[J";
        chart.clear();
    }

    bool plot;
    std::size_t most;
    bool terminal;
    bool atFirst = true;
    std::deque<std::string> lines;
    std::map<std::string, std::vector<double>> values;
    std::map<std::string, Labels> labels;
    std::string charted, chart;
};

/// The files that the paths stand for, those that appear in directories too.
class Watched {
public:
    explicit Watched(const WatchOptions& options) : className(options.className) {
        for (const auto& path : options.paths) {
            if (platform::IsDirectory(path)) {
                directories.insert(path);
                searched.push_back(path);
            } else {
                directories.insert(platform::DirectoryOf(path));
                followers.emplace_back(path, className);
            }
        }
    }
    const std::set<std::string>& Directories() const { return directories; }
    void Look(Screen& screen, const Interrupt& interrupt) {
        for (const auto& directory : searched) Search(directory);
        for (Follower& follower : followers) {
            if (interrupt.Came()) return;
            const auto& path = follower.Path();
            follower.Look(
                {[&](const AnyBody& body, std::size_t number) { screen.Body(path, body, number); },
                 [&](const std::string& what) {
                     screen.Line(std::string(path).append(": ").append(what));
                 }});
        }
    }

private:
    void Search(const std::string& directory) {
        std::error_code error;
        std::set<std::string> found;
        for (const auto& name : platform::NamesIn(directory, error)) {
            const bool ours = !KindsOfFileName(name).empty() ||
                              (!className.empty() && !IsSideFile(name) && name.front() != '.');
            const auto path = platform::Joined(directory, name);
            if (ours && known.insert(path).second) found.insert(path);
        }
        for (const auto& path : found) followers.emplace_back(path, className);
    }

    std::string className;
    std::set<std::string> directories, known;
    std::vector<std::string> searched;
    std::list<Follower> followers;
};

int RunWatch(const WatchOptions& options) {
    using Clock = std::chrono::steady_clock;
    if (!options.className.empty()) KindsOfClass(options.className);  // raises once, for no class
    const Interrupt interrupt;
    const Progress::Silence silence;
    Watched watched(options);
    const Changes changes(watched.Directories());
    Screen screen(options.plot, options.last);
    constexpr double always = 1e9;
    const auto end =
        Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(
                           std::min(options.seconds.value_or(always), always)));
    while (!interrupt.Came()) {
        watched.Look(screen, interrupt);
        screen.Show();
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now());
        if (left.count() <= 0) break;
        changes.Wait(interrupt, left);
    }
    screen.End();
    return kDone;
}

}  // namespace

void DefineWatch(CommandLine& command) {
    const auto options = std::make_shared<WatchOptions>();
    command.Arguments("PATH", options->paths, "Files, or directories of files");
    command.ClassOption(options->className);
    command.Flag("--plot", options->plot,
                 "A chart below the lines: indicator, first mode or largest value by body");
    command.Value("--last", options->last, "Bodies to show of those that are there already")
        .WithPreset();
    command.Value("--for", options->seconds, "Seconds after which it ends; else with Ctrl-C")
        .NotNegative();
    command.Explain(
        "Follows files as they grow, with a line for each new body: frequencies and ports, or the\n"
        "pass and its largest indicator with the change since the last one. Reads only what is "
        "new,\n"
        "takes no locks, and goes on when a file is replaced, torn or not there yet.\n\n"
        "Exit status: 0 after Ctrl-C or --for.\n\n"
        "Examples:\n"
        "  fieldstore watch results/\n"
        "  fieldstore watch --plot results/solutiondata.dat");
    command.Runs([options] { return RunWatch(*options); });
}

}  // namespace fieldstore::tool
