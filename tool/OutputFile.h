// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_OUTPUT_FILE_H
#define FIELDSTORE_TOOL_OUTPUT_FILE_H

#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "tool/RemovedOnSignal.h"

namespace fieldstore::tool {

/// A temporary file that goes with the object.
class TemporaryFile {
public:
    /// Makes an empty file whose name begins with `prefix`. Raises when it cannot.
    explicit TemporaryFile(const std::string& prefix);
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    const std::string& Path() const { return path; }
    /// Raises when the file cannot be removed, unlike the destructor.
    void Remove();

protected:
    std::string path;
    std::optional<RemovedOnSignal> removal;
};

/// A file that comes into being whole or not at all: written beside its place, brought to the disk
/// and renamed.
class OutputFile : private TemporaryFile {
public:
    /// Raises when `target` exists and must not be replaced, is no file, or its directory cannot be
    /// written to.
    OutputFile(const std::string& targetPath, bool replace);
    /// Where to write.
    const std::string& Path() const { return TemporaryFile::Path(); }
    /// Has `write` give the content; raises when it did not get there whole.
    void Fill(const std::function<void(std::ostream&)>& write) const;
    /// The only step that touches the target.
    void Publish();

private:
    std::string target;
};

/// Raises when the output is one of the inputs.
void RequireNotInput(const std::string& output, const std::vector<std::string>& inputs);

/// Whether output of that name, standard output for "" and "-", is shown on a terminal.
bool GoesToTerminal(const std::string& name);

/// Has `write` fill the file of that name, or standard output for "" and "-".
void WriteTo(const std::string& name, bool replace,
             const std::function<void(std::ostream&)>& write);

}  // namespace fieldstore::tool

#endif
