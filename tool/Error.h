// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_ERROR_H
#define FIELDSTORE_TOOL_ERROR_H

#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace fieldstore::tool {

// Exit statuses; what 1 means is a matter of the command.
inline constexpr int kDone = 0;
inline constexpr int kFound = 1;  // check: problems, diff: differences
inline constexpr int kTrouble = 2;

/// Why a command cannot go on: where, what, and what to do about it. main() prints it. Has one line
/// at least.
class Error : public std::runtime_error {
public:
    Error(const std::string& file, const std::string& cause, const std::string& remedy,
          std::optional<std::uint64_t> offset = {})
        : Error(MakeLines((file.empty() ? "" : file + ": ") +
                              (offset ? "byte " + std::to_string(*offset) + ": " : "") + cause,
                          {}, remedy)) {}
    /// The same error told from farther out.
    Error(const std::string& where, const Error& inner, const std::string& remedy)
        : Error(MakeLines(where + ": " + inner.Lines().front(), inner.Lines(), remedy)) {}

    /// What and where, and a remedy in each further line. What they name may hold line ends, so
    /// only here, not in what(), is it known where a line ends.
    const std::vector<std::string>& Lines() const { return *lines; }

private:
    using LinesPointer = std::shared_ptr<const std::vector<std::string>>;

    explicit Error(const LinesPointer& made) : std::runtime_error(Joined(*made)), lines(made) {}
    static LinesPointer MakeLines(const std::string& first, std::vector<std::string> inner,
                                  const std::string& remedy) {
        if (inner.empty()) inner.emplace_back();
        inner.front() = first;
        if (!remedy.empty()) inner.push_back(remedy);
        return std::make_shared<const std::vector<std::string>>(std::move(inner));
    }
    static std::string Joined(const std::vector<std::string>& lines) {
        std::string text;
        for (const auto& line : lines) text += (text.empty() ? "" : "\n  ") + line;
        return text;
    }

    LinesPointer lines;  // shared, as copying an exception must not fail
};

}  // namespace fieldstore::tool

#endif
