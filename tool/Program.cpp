// SPDX-License-Identifier: Apache-2.0
#include "tool/Program.h"

#include "fieldstore/version.h"
#include "tool/Commands.h"

namespace fieldstore::tool {

std::string VersionNumber() {
    return std::to_string(FIELDSTORE_VERSION_MAJOR) + "." +
           std::to_string(FIELDSTORE_VERSION_MINOR) + "." +
           std::to_string(FIELDSTORE_VERSION_PATCH);
}

const std::vector<CommandEntry>& Commands() {
    static const std::vector<CommandEntry> commands{
        {"ls", "List result files: what each is and its state", &DefineLs},
        {"show", "Show the data for people", &DefineShow},
        {"dump", "Write the data for other programs", &DefineDump},
        {"build", "Write a result file from JSON", &DefineBuild},
        {"check", "Check files against every rule of their class", &DefineCheck},
        {"repair", "Keep the whole bodies, drop damaged ones", &DefineRepair},
        {"labels", "Start a file of names for the types in a directory", &DefineLabels},
        {"compact", "Merge appended bodies into one", &DefineCompact},
        {"convert", "Change between text and binary", &DefineConvert},
        {"merge", "Put the bodies of several files into one", &DefineMerge},
        {"diff", "Tell what differs between two files", &DefineDiff},
        {"seal", "Note digests of every body, by which a change shows", &DefineSeal},
        {"verify", "Compare files with their seals", &DefineVerify},
        {"watch", "Follow files as they grow", &DefineWatch},
        {"unlock", "Remove the lock that a dead writer left", &DefineUnlock},
        {"help", "List commands and extensions, or explain one", &DefineHelp},
    };
    return commands;
}

}  // namespace fieldstore::tool
