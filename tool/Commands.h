// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_COMMANDS_H
#define FIELDSTORE_TOOL_COMMANDS_H

#include <vector>

#include "tool/CommandLine.h"

namespace fieldstore::tool {

// Each describes the arguments of one command and what it does, in the file named after it.
void DefineBuild(CommandLine& command);
void DefineCheck(CommandLine& command);
void DefineCompact(CommandLine& command);
void DefineConvert(CommandLine& command);
void DefineDiff(CommandLine& command);
void DefineDump(CommandLine& command);
void DefineHelp(CommandLine& command);
void DefineLabels(CommandLine& command);
void DefineLs(CommandLine& command);
void DefineMerge(CommandLine& command);
void DefineRepair(CommandLine& command);
void DefineSeal(CommandLine& command);
void DefineShow(CommandLine& command);
void DefineUnlock(CommandLine& command);
void DefineVerify(CommandLine& command);
void DefineWatch(CommandLine& command);

struct CommandEntry {
    const char* name;
    const char* summary;
    void (*define)(CommandLine& command);
};

/// Every command, in the order of the help. The program, its manual and the fuzzers go by it.
const std::vector<CommandEntry>& Commands();

}  // namespace fieldstore::tool

#endif
