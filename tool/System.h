// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_SYSTEM_H
#define FIELDSTORE_TOOL_SYSTEM_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "streams/FileNames.h"
#include "streams/Platform.h"

/// What the tool asks of an operating system beyond the library; the build picks System_posix.cpp
/// or System_windows.cpp.
namespace fieldstore::tool::system {

// ---- the terminal ----

enum class Standard { Input, Output, Error };
bool IsTerminal(Standard stream);
bool IsPipe(Standard stream);
/// Columns of the terminal that shows standard error.
std::size_t ScreenWidth();
/// Writes to standard error at once. Safe in a signal handler.
void WriteToTerminal(const char* text, std::size_t size);
/// The words of the command line, in UTF-8, and a terminal that shows UTF-8 and colours.
std::vector<std::string> Begin(int count, char** arguments);

// ---- files ----

/// A picture of a file at a moment.
struct FileState {
    platform::FileIdentity identity;
    std::uint64_t size = 0;
    std::chrono::nanoseconds changed{
        0};                       // the time of its last change, from a start of the system's
    std::chrono::seconds age{0};  // since then
    bool isFile = false;

    /// Still the same file.
    bool IsSame(const FileState& other) const { return identity == other.identity; }
    /// With the same content, as far as its time and size tell.
    bool IsUnchanged(const FileState& other) const {
        return size == other.size && changed == other.changed;
    }
    friend bool operator==(const FileState& a, const FileState& b) {
        return a.IsSame(b) && a.IsUnchanged(b);
    }
    friend bool operator!=(const FileState& a, const FileState& b) { return !(a == b); }
};
/// Nothing without an error: there is no such file.
std::optional<FileState> StateOf(const std::string& path, platform::Links links,
                                 std::error_code& error);
/// The same of the file that a name leads to; nothing also when the system cannot tell.
inline std::optional<FileState> StateOf(const std::string& path) {
    std::error_code none;
    return StateOf(path, platform::Links::Follow, none);
}

/// Why a file cannot be read; no error when it can.
std::error_code WhyUnreadable(const std::string& path);

/// Makes an empty file of a new name that begins with `prefix`, for this user alone, to be read and
/// written. The name is put into `path`.
platform::File CreateTemporary(const std::string& prefix, std::string& path);
/// The same open file once more; not open when the system refuses.
platform::File Duplicate(const platform::File& file);
/// Opens a file to be read and written that is this user's and has no other name; not open when it
/// is another's.
platform::File OpenOwn(const std::string& path);
/// Gives a file the permissions of a new one.
void GiveUsualPermissions(const platform::File& file);
/// Gives a file another name that nothing else has yet.
std::error_code RenameToFreeName(const std::string& from, const std::string& to);

/// How far into a file, or into what is to replace it, this process has got; nothing when it is not
/// open.
std::optional<std::uint64_t> PositionIn(const std::string& path);
/// Whether the system tells that at all.
extern const bool kTellsPositions;

// ---- programs ----

/// The directories in which programs are searched, in this order.
std::vector<std::string> ProgramDirectories();
/// What the name of a program's file ends with.
extern const char* const kProgramEnding;
bool IsProgram(const std::string& path);
/// Tells the programs that are started from here where this one lies, in the environment.
void TellOwnPath(const char* variable);
/// Runs a program in place of this one, and returns only when that fails.
std::error_code Become(const std::string& path, const std::vector<std::string>& arguments);

}  // namespace fieldstore::tool::system

#endif
