// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_COMMANDLINE_H
#define FIELDSTORE_TOOL_COMMANDLINE_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

// The argument parser's header alone takes ten seconds to compile: one source includes it.
namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace fieldstore::tool {

/// What a command line asks for; returns the exit status.
using Action = std::function<int()>;

/// An argument or option that is being described; each call returns the same option again.
class Option {
public:
    explicit Option(CLI::Option* described) : option(described) {}

    Option Required() const;
    /// What stands for the value in the help, as FILE.
    Option Shows(const std::string& placeholder) const;
    Option AnyOf(const std::vector<std::string>& choices) const;
    Option NotNegative() const;
    /// The help names the value that holds when the option is not given.
    Option WithPreset() const;

private:
    CLI::Option* option;
};

/// One command of the program while its arguments are described. A target takes its value when the
/// command line is parsed. Requires: targets that live until then.
class CommandLine {
public:
    CommandLine(CLI::App& described, Action& parsed) : app(&described), action(&parsed) {}

    /// An argument without a dash.
    Option Argument(const std::string& name, std::string& target, const std::string& text) const;
    Option OptionalArgument(const std::string& name, std::string& target,
                            const std::string& text) const;
    /// One or more of them.
    Option Arguments(const std::string& name, std::vector<std::string>& target,
                     const std::string& text) const;
    /// An option with a value; names as in "-o,--output".
    Option Value(const std::string& names, std::string& target, const std::string& text) const;
    Option Value(const std::string& names, double& target, const std::string& text) const;
    Option Value(const std::string& names, std::optional<double>& target,
                 const std::string& text) const;
    Option Value(const std::string& names, std::size_t& target, const std::string& text) const;
    /// `take` is called with the value when the option is given.
    Option Value(const std::string& names, std::function<void(std::int64_t)> take,
                 const std::string& text) const;
    /// One that may be given several times, with a value each.
    Option Values(const std::string& names, std::vector<std::string>& target,
                  const std::string& text) const;
    void Flag(const std::string& names, bool& target, const std::string& text) const;

    /// The rest of the help; the manual wants paragraphs "Exit status:" and "Examples:".
    void Explain(const std::string& text) const;
    void AlsoCalled(const std::string& name) const;
    /// What is done when this command was given.
    void Runs(Action run) const;

    // Options that commands share.
    void ClassOption(std::string& className) const;
    void LockDirectoryOption(std::string& lockDirectory) const;
    void ForceOption(bool& force) const;

private:
    CLI::App* app;
    Action* action;
};

}  // namespace fieldstore::tool

#endif
