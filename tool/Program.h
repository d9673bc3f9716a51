// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_PROGRAM_H
#define FIELDSTORE_TOOL_PROGRAM_H

#include <memory>
#include <string>
#include <vector>

#include "tool/CommandLine.h"

namespace fieldstore::tool {

inline constexpr const char* kProgramName = "fieldstore";

/// That of the library and the tool, as 1.0.0.
std::string VersionNumber();

/// The command line of the tool: every command with its options.
class Program {
public:
    Program();
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    /// Takes the arguments behind the program's name and returns what they ask for. Help, a version
    /// and mistakes are written at once; what is returned then gives the status alone.
    /// Requires: a program that lives as long as what it returned, and parses once.
    Action Parse(const std::vector<std::string>& arguments);

    /// Whether a command has that name, or is also called so.
    bool Knows(const std::string& name) const;

    /// For those who write the manual.
    const CLI::App& Definition() const { return *app; }

private:
    std::unique_ptr<CLI::App> app;
    Action action;
};

}  // namespace fieldstore::tool

#endif
