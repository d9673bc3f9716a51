// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_OUTPUT_FILE_H
#define FIELDSTORE_TOOL_OUTPUT_FILE_H

#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "tool/TemporaryFile.h"

namespace fieldstore::tool {

/// A file that comes into being whole or not at all: written next to its place, brought to the disk
/// and renamed. A temporary file until Publish(), which ends with its content in place; one that is
/// never published leaves the target alone.
class OutputFile : public TemporaryFile {
public:
    /// Raises when `target` exists and must not be replaced, is no file, or its directory cannot be
    /// written to.
    OutputFile(const std::string& targetPath, bool mayReplace);
    /// Owner, permissions and the like become those of this file, rather than those of what is
    /// replaced or a new file's.
    void Resemble(const std::string& other) { model = other; }
    /// The only step that touches the target. `lastLook` may still raise, right before it.
    /// Requires: whole content, and a file that was not published yet.
    void Publish(const std::function<void()>& lastLook = {});

private:
    void BringToDisk() const;

    std::string target;
    std::string model;
    bool replace;
    bool hadOtherNames = false;
};

/// The name behind links, so that the file is replaced and not the link to it.
std::string NameBehindLinks(const std::string& path);

/// Raises when the output is one of the inputs.
void RequireNotInput(const std::string& output, const std::vector<std::string>& inputs);

/// Whether output of that name, standard output for "" and "-", is shown on a terminal.
bool GoesToTerminal(const std::string& name);

/// Has `write` fill the file of that name, or standard output for "" and "-".
void WriteTo(const std::string& name, bool replace,
             const std::function<void(std::ostream&)>& write);

}  // namespace fieldstore::tool

#endif
