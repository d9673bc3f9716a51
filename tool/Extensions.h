// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_EXTENSIONS_H
#define FIELDSTORE_TOOL_EXTENSIONS_H

#include <optional>
#include <string>
#include <vector>

namespace fieldstore::tool {

/// A program fieldstore-NAME, which fieldstore NAME runs. Those of the project are known even when
/// they are not installed; `summary` is empty for others, `path` while there is no such program.
struct Extension {
    std::string name;
    std::string summary;
    std::string path;
};

/// The extensions of the project, and all that are in the directories of PATH, by name. Of several
/// with a name the first in PATH counts. Directories that PATH names relatively are not looked
/// into: data from someone else may lie in the current one.
std::vector<Extension> Extensions();

/// The extension with a name, if it is known or in PATH.
std::optional<Extension> FindExtension(const std::string& name);

/// Lets the extension take the place of this process, with these arguments behind its name. It
/// finds the path of this program in FIELDSTORE_TOOL. Raises Error when it is not installed or
/// cannot run.
[[noreturn]] void BecomeExtension(const Extension& extension,
                                  const std::vector<std::string>& arguments);

}  // namespace fieldstore::tool

#endif
