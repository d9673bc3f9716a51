// SPDX-License-Identifier: Apache-2.0
#include <ostream>
#include <string>
#include <vector>

#include "tool/manual/Manual.h"

namespace fieldstore::tool {
namespace {

std::vector<std::string> Names(const Command& command) {
    std::vector<std::string> names;
    for (const Argument& option : command.options)
        names.insert(names.end(), option.names.begin(), option.names.end());
    return names;
}

/// What to offer after an option that takes a value.
std::string Offer(const Argument& option) {
    if (option.isFile) return "return ;;\n";  // files are the default
    if (option.choices.empty()) return "compopt +o default 2>/dev/null; return ;;\n";
    return "words='" + Joined(option.choices, " ") + "' ;;\n";
}

void WriteCommand(const Command& command, std::ostream& out) {
    std::vector<std::string> names{command.name};
    names.insert(names.end(), command.aliases.begin(), command.aliases.end());
    out << "        " << Joined(names, " | ") << ")\n"
        << "            options='" << Joined(Names(command), " ") << "'\n"
        << "            case $previous in\n";
    for (const Argument& option : command.options)
        if (!option.value.empty())
            out << "                " << Joined(option.names, " | ") << ") " << Offer(option);
    out << "            esac ;;\n";
}

}  // namespace

void WriteBashCompletion(const Manual& manual, std::ostream& out) {
    const std::string& name = manual.program.name;
    std::vector<std::string> commands;
    for (const Command& command : manual.commands) commands.push_back(command.name);
    out << "# Completion of " << name << "(1) for bash, made from its own options.\n_" << name
        << R"(() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local command='' options words='' word
    COMPREPLY=()
    # --to=text comes as three words.
    if [[ $current == '=' ]]; then
        current=''
    elif [[ $previous == '=' ]]; then
        previous=${COMP_WORDS[COMP_CWORD - 2]}
    fi
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        [[ $word == -* ]] || { command=$word && break; }
    done
    case $command in
        '')
)"
        << "            options='" << Joined(Names(manual.program), " ") << "'\n"
        << "            words='" << Joined(commands, " ") << "' ;;\n";
    for (const Command& command : manual.commands) WriteCommand(command, out);
    out << R"(    esac
    [[ $current == -* ]] && words=$options
    [[ -z $words ]] || mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
}
complete -o default -F _)"
        << name << ' ' << name << '\n';
}

}  // namespace fieldstore::tool
