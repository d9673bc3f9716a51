// SPDX-License-Identifier: Apache-2.0
#include "tool/CommandLine.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <memory>
#include <numeric>
#include <utility>

#include "tool/Commands.h"
#include "tool/Error.h"
#include "tool/Program.h"
#include "tool/Visible.h"

namespace fieldstore::tool {

Option Option::Required() const {
    option->required();
    return *this;
}

Option Option::Shows(const std::string& placeholder) const {
    option->type_name(placeholder);
    return *this;
}

Option Option::AnyOf(const std::vector<std::string>& choices) const {
    option->check(CLI::IsMember(choices));
    return *this;
}

Option Option::NotNegative() const {
    option->check(CLI::NonNegativeNumber);
    return *this;
}

Option Option::WithPreset() const {
    option->capture_default_str();
    return *this;
}

Option CommandLine::Argument(const std::string& name, std::string& target,
                             const std::string& text) const {
    return Option(app->add_option(name, target, text)).Required();
}

Option CommandLine::OptionalArgument(const std::string& name, std::string& target,
                                     const std::string& text) const {
    return Option(app->add_option(name, target, text));
}

Option CommandLine::Arguments(const std::string& name, std::vector<std::string>& target,
                              const std::string& text) const {
    return Option(app->add_option(name, target, text)->expected(1, -1)).Required();
}

Option CommandLine::Value(const std::string& names, std::string& target,
                          const std::string& text) const {
    return Option(app->add_option(names, target, text));
}

Option CommandLine::Value(const std::string& names, double& target, const std::string& text) const {
    return Option(app->add_option(names, target, text));
}

Option CommandLine::Value(const std::string& names, std::optional<double>& target,
                          const std::string& text) const {
    return Option(app->add_option(names, target, text));
}

Option CommandLine::Value(const std::string& names, std::size_t& target,
                          const std::string& text) const {
    return Option(app->add_option(names, target, text));
}

Option CommandLine::Value(const std::string& names, std::function<void(std::int64_t)> take,
                          const std::string& text) const {
    return Option(app->add_option_function<std::int64_t>(
        names, [take = std::move(take)](std::int64_t value) { take(value); }, text));
}

Option CommandLine::Values(const std::string& names, std::vector<std::string>& target,
                           const std::string& text) const {
    // Without the latter, an argument behind the value would be taken for another one.
    return Option(app->add_option(names, target, text)->allow_extra_args(false));
}

void CommandLine::Flag(const std::string& names, bool& target, const std::string& text) const {
    app->add_flag(names, target, text);
}

void CommandLine::Explain(const std::string& text) const {
    app->footer(text);
}

void CommandLine::AlsoCalled(const std::string& name) const {
    app->alias(name);
}

void CommandLine::Runs(Action run) const {
    app->callback([run = std::move(run), taken = action] { *taken = run; });
}

void CommandLine::ClassOption(std::string& className) const {
    Value("--class", className,
          "Class of the file, as in POModeInfo; else its name tells, or it is tried")
        .Shows("CLASS");
}

void CommandLine::LockDirectoryOption(std::string& lockDirectory) const {
    Value("--lock-directory", lockDirectory,
          "Directory of the writers' locks; by default, next to the data")
        .Shows("DIR");
}

void CommandLine::ForceOption(bool& force) const {
    Flag("--force", force, "Replace an output file that exists");
}

Program::Program() : app(std::make_unique<CLI::App>()) {
    app->name(kProgramName);
    app->allow_windows_style_options(false);  // a path may begin with a slash
    app->description("Look at, check, convert, compare and rescue result files");
    app->set_version_flag("--version", std::string(kProgramName) + " " + VersionNumber());
    app->footer(
        "fieldstore COMMAND --help tells more, with examples; fieldstore help lists extensions "
        "too.\n\n"
        "Exit status: 0 done, 1 check found problems or diff differences, 2 trouble, as with a\n"
        "wrong command line.\n\n"
        "Environment:\n"
        "  NO_COLOR                   when set, no colours on a terminal\n"
        "  FIELDSTORE_PROGRESS_DELAY  milliseconds before a progress bar shows (1000)\n\n"
        "Examples:\n"
        "  fieldstore ls results/\n"
        "  fieldstore check results/\n"
        "  fieldstore repair torn.dat -o whole.dat");
    // What was typed may be a file name of someone else's.
    app->failure_message([](const CLI::App* /*app*/, const CLI::Error& error) {
        return Visible(error.what()) + "\nRun with --help for more information.\n";
    });
    for (const CommandEntry& entry : Commands()) {
        CommandLine command(*app->add_subcommand(entry.name, entry.summary), action);
        entry.define(command);
    }
    app->require_subcommand(1);
}

Program::~Program() = default;

bool Program::Knows(const std::string& name) const {
    const CLI::App& program = *app;
    return !program
                .get_subcommands([&](const CLI::App* command) { return command->check_name(name); })
                .empty();
}

namespace {

/// Letters to be put in, left out or exchanged to make one word of the other.
std::size_t Distance(const std::string& a, const std::string& b) {
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < a.size(); ++i) {
        std::size_t diagonal = std::exchange(row[0], i + 1);
        for (std::size_t j = 0; j < b.size(); ++j) {
            const std::size_t exchanged = diagonal + (a[i] == b[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({exchanged, row[j] + 1, diagonal + 1});
        }
    }
    return row.back();
}

/// The command that someone may have meant; "" when none is like it.
std::string Suggestion(const std::string& word) {
    constexpr std::size_t longest = 20;
    if (word.empty() || word.size() > longest || word.front() == '-') return "";
    std::string nearest;
    std::size_t least = word.size() > 3 ? 3 : 2;  // from here on it is another word
    for (const CommandEntry& entry : Commands()) {
        const std::size_t distance = Distance(word, entry.name);
        if (distance >= least) continue;
        least = distance;
        nearest = entry.name;
    }
    return nearest;
}

}  // namespace

Action Program::Parse(const std::vector<std::string>& arguments) {
    try {
        app->parse(std::vector<std::string>(
            arguments.rbegin(), arguments.rend()));  // the parser wants the last one first
    } catch (const CLI::ParseError& error) {
        const bool chosen = !app->get_subcommands().empty();
        const std::string meant = chosen || arguments.empty() ? "" : Suggestion(arguments.front());
        const int status = app->exit(error) == 0 ? kDone : kTrouble;
        if (!meant.empty()) std::cerr << "Did you mean: fieldstore " << meant << '\n';
        return [status] { return status; };
    }
    return action;
}

}  // namespace fieldstore::tool
