// SPDX-License-Identifier: Apache-2.0
#include <ostream>
#include <string>
#include <vector>

#include "tool/manual/Manual.h"

namespace fieldstore::tool {
namespace {

/// The text with a backslash before each of the marks, in single quotes for the shell.
std::string Quoted(const std::string& text, const std::string& marks) {
    std::string result;
    for (const char letter : text) {
        if (marks.find(letter) != std::string::npos) result += '\\';
        if (letter == '\'')
            result += "'\\''";
        else
            result += letter;
    }
    return result;
}

/// What completes a value: a message with its name, and how to find it.
std::string Completer(const Argument& argument, const std::string& name) {
    std::string how = " ";
    if (!argument.choices.empty()) how = "(" + Joined(argument.choices, " ") + ")";
    if (argument.isFile) how = "_files";
    return ":" + Quoted(name, ":") + ":" + how;
}

void WriteOption(const Argument& option, const std::string& indent, std::ostream& out) {
    for (const auto& name : option.names) {
        out << indent << '\'';
        if (option.names.size() > 1) out << '(' << Joined(option.names, " ") << ')';
        out << name;
        if (!option.value.empty()) out << (name[1] == '-' ? "=" : "+");
        out << '[' << Quoted(option.text, "[]") << ']';
        if (!option.value.empty()) out << Completer(option, option.value);
        out << '\'';
    }
}

void WriteCommand(const Command& command, std::ostream& out) {
    std::vector<std::string> names{command.name};
    names.insert(names.end(), command.aliases.begin(), command.aliases.end());
    out << "                " << Joined(names, "|") << ")\n                    _arguments";
    const std::string indent = " \\\n                        ";
    for (const Argument& option : command.options) WriteOption(option, indent, out);
    int position = 0;
    for (const Argument& argument : command.positionals) {
        out << indent << '\'' << (argument.several ? "*" : std::to_string(++position))
            << Completer(argument, argument.names.front()) << '\'';
    }
    out << " ;;\n";
}

}  // namespace

void WriteZshCompletion(const Manual& manual, std::ostream& out) {
    const std::string& name = manual.program.name;
    out << "#compdef " << name << "\n# Completion of " << name
        << "(1) for zsh, made from its own options.\n_" << name << R"(() {
    local curcontext=$curcontext state line
    typeset -A opt_args
    local -a commands=()";
    for (const Command& command : manual.commands)
        out << "\n        '" << command.name << ':' << Quoted(command.summary, "\\:") << '\'';
    out << ")\n    _arguments -C";
    for (const Argument& option : manual.program.options) WriteOption(option, " \\\n        ", out);
    out << R"( \
        '1:command:->command' '*::argument:->argument'
    case $state in
        command) _describe command commands ;;
        argument)
            case $line[1] in
)";
    for (const Command& command : manual.commands) WriteCommand(command, out);
    out << R"(            esac ;;
    esac
}
_)" << name
        << " \"$@\"\n";
}

}  // namespace fieldstore::tool
