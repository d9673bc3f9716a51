// SPDX-License-Identifier: Apache-2.0
#include "tool/manual/Manual.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstddef>
#include <regex>
#include <stdexcept>

#include "tool/Catalog.h"

namespace fieldstore::tool {
namespace {

std::vector<std::string> ClassNames() {
    std::vector<std::string> names;
    for (const Kind& kind : Kinds()) names.emplace_back(kind.ClassName());
    names.erase(std::unique(names.begin(), names.end()), names.end());  // one has two forms
    return names;
}

/// Reads a type as CLI11 shows it: FLOAT, or TEXT:{text,binary} where few values are allowed.
void TakeType(const std::string& type, Argument& argument) {
    const auto open = type.find('{');
    argument.value = type.substr(0, type.find(':'));
    if (open != std::string::npos) {
        argument.choices = CLI::detail::split(type.substr(open + 1, type.size() - open - 2), ',');
        argument.value = "VALUE";
        argument.isClosed = true;
    }
    if (argument.value == "CLASS") argument.choices = ClassNames();
    // Any text that is neither chosen from a list nor a class is a path.
    if (argument.value == "TEXT") argument.value = "FILE";
    argument.isFile = argument.value == "FILE";
}

Argument TakeArgument(const CLI::Option& option) {
    Argument argument;
    for (const auto& name : option.get_snames()) argument.names.push_back("-" + name);
    for (const auto& name : option.get_lnames()) argument.names.push_back("--" + name);
    if (option.get_positional()) argument.names = {option.get_name(true)};
    argument.text = std::regex_replace(option.get_description(), std::regex("\n"), " ");
    argument.preset = option.get_default_str();
    argument.required = option.get_required();
    argument.several = option.get_items_expected_max() > 1;
    if (option.get_items_expected_max() > 0) TakeType(option.get_type_name(), argument);
    return argument;
}

/// A paragraph that begins with "Exit status:" or "Examples:" is a section with that heading.
Section TakeSection(const std::string& paragraph) {
    std::smatch parts;
    if (std::regex_match(paragraph, parts, std::regex("([A-Z][a-z ]+):\\s((?:.|\n)*)")))
        return {parts[1], parts[2]};
    return {"", paragraph};
}

std::vector<Section> TakeSections(const std::string& footer) {
    std::vector<Section> sections;
    std::size_t begin = 0;
    for (std::size_t end = 0; end != std::string::npos; begin = end + 2) {
        end = footer.find("\n\n", begin);
        sections.push_back(TakeSection(footer.substr(begin, end - begin)));
    }
    return sections;
}

Command TakeCommand(const CLI::App& app) {
    Command command;
    command.name = app.get_name();
    command.aliases = app.get_aliases();
    command.summary = app.get_description();
    for (const CLI::Option* option : app.get_options())
        (option->get_positional() ? command.positionals : command.options)
            .push_back(TakeArgument(*option));
    command.sections = TakeSections(app.get_footer());
    for (const std::string heading : {"Exit status", "Examples"})
        if (std::none_of(command.sections.begin(), command.sections.end(),
                         [&](const Section& section) { return section.heading == heading; }))
            throw std::runtime_error("the help of " + command.name + " lacks its " + heading);
    return command;
}

}  // namespace

Manual TakeApart(const CLI::App& program) {
    Manual manual{TakeCommand(program), {}};
    for (const CLI::App* command : program.get_subcommands([](const CLI::App*) { return true; }))
        manual.commands.push_back(TakeCommand(*command));
    return manual;
}

std::string Joined(const std::vector<std::string>& texts, const std::string& separator) {
    return CLI::detail::join(texts, separator);
}

}  // namespace fieldstore::tool
