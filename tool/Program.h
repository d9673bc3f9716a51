// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_PROGRAM_H
#define FIELDSTORE_TOOL_PROGRAM_H

#include "tool/Commands.h"

namespace fieldstore::tool {

inline constexpr const char* kProgramName = "fieldstore";

/// That of the library and the tool, as 1.0.0.
std::string VersionNumber();

/// Gives the program all its commands and options. What parses the command line and what writes the
/// manual pages and completions of shells share this definition. Requires: a new program, and an
/// `action` that lives as long.
void DefineProgram(CLI::App& program, Action& action);

}  // namespace fieldstore::tool

#endif
