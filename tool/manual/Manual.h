// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_MANUAL_MANUAL_H
#define FIELDSTORE_TOOL_MANUAL_MANUAL_H

#include <iosfwd>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace fieldstore::tool {

/// An option, or what a command takes without one.
struct Argument {
    std::vector<std::string> names;    // as -o and --output, or the name in the usage
    std::string value;                 // what stands for the value, as FILE; empty for a flag
    std::vector<std::string> choices;  // the values worth offering, where these are few
    std::string text;
    std::string preset;
    bool required = false;
    bool several = false;
    bool isFile = false;
    bool isClosed = false;  // takes its choices alone
};

/// A part of a help text: "Exit status: 0 ..." or a block under a heading; none for plain text.
struct Section {
    std::string heading;
    std::string text;
};

struct Command {
    std::string name;
    std::vector<std::string> aliases;
    std::string summary;
    std::vector<Argument> positionals;
    std::vector<Argument> options;
    std::vector<Section> sections;
};

/// What the command line's definition says, taken apart.
struct Manual {
    Command program;
    std::vector<Command> commands;
};

/// Raises when the help of a command lacks its exit status or an example.
Manual TakeApart(const CLI::App& program);

std::string Joined(const std::vector<std::string>& texts, const std::string& separator);

// Each writes one file; `command` is a command's page, or with null that of the program.
void WritePage(const Manual& manual, const Command* command, const std::string& date,
               std::ostream& out);
void WriteBashCompletion(const Manual& manual, std::ostream& out);
void WriteZshCompletion(const Manual& manual, std::ostream& out);

}  // namespace fieldstore::tool

#endif
