// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_FUZZ_TOOL_SUPPORT_H
#define FIELDSTORE_FUZZ_TOOL_SUPPORT_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace fieldstore::fuzz {

/// A directory for the files of a run, in TMPDIR; the tool's scratch files go there as well.
class WorkDirectory {
public:
    WorkDirectory();
    ~WorkDirectory();
    WorkDirectory(const WorkDirectory&) = delete;
    WorkDirectory& operator=(const WorkDirectory&) = delete;
    std::string operator/(const std::string& name) const { return path + name; }
    /// Removes what is in it.
    void Empty() const;

private:
    std::string path;
};

void WriteFile(const std::string& path, std::string_view content);
std::string ReadFile(const std::string& path);

/// Command lines that the target tries; docs/reliability.md has the number as well.
inline constexpr std::size_t kToolCommands = 26;

/// Runs a command of the tool in this process and returns its exit status; what it prints is
/// dropped.
int RunTool(const std::vector<std::string>& arguments);

}  // namespace fieldstore::fuzz

#endif
