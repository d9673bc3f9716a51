// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_ERROR_H
#define FIELDSTORE_TOOL_ERROR_H

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>

namespace fieldstore::tool {

// Exit statuses; what 1 means is a matter of the command.
inline constexpr int kDone = 0;
inline constexpr int kFound = 1;  // check: problems, diff: differences
inline constexpr int kTrouble = 2;

/// Why a command cannot go on: where, what, and what to do about it. main() prints it.
class Error : public std::runtime_error {
public:
    Error(const std::string& file, const std::string& cause, const std::string& remedy,
          std::optional<std::uint64_t> offset = {})
        : std::runtime_error((file.empty() ? "" : file + ": ") +
                             (offset ? "byte " + std::to_string(*offset) + ": " : "") + cause +
                             (remedy.empty() ? "" : "\n  " + remedy)) {}
};

}  // namespace fieldstore::tool

#endif
