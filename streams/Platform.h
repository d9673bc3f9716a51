// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_PLATFORM_H
#define FIELDSTORE_PLATFORM_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "streams/SystemFile.h"

/// What differs between operating systems; the build picks Platform_posix.cpp or
/// Platform_windows.cpp. What is done to files by their names is in FileNames.h.
namespace fieldstore::platform {

/// Which file a name led to, whatever the name leads to now.
struct FileIdentity {
    std::uint64_t device = 0;
    std::uint64_t number = 0;
    friend bool operator==(const FileIdentity& a, const FileIdentity& b) {
        return a.device == b.device && a.number == b.number;
    }
    friend bool operator!=(const FileIdentity& a, const FileIdentity& b) { return !(a == b); }
};

/// How bytes come into a file, where the system leaves that to the program.
struct WrittenAs {
    bool text = false;      // with the line ends of the system
    bool appended = false;  // each time at the end, wherever that is by then
};

/// An open file, closed at the end of its life. Nothing here raises; a failure is told by the
/// result, and Error() says why the last call failed.
class File {
public:
    File() = default;
    explicit File(SystemFile openFile, WrittenAs form = {}) : system(openFile), writtenAs(form) {}
    File(File&& other) noexcept
        : system(std::exchange(other.system, kNoSystemFile)),
          writtenAs(other.writtenAs),
          error(other.error) {}
    File& operator=(File&& other) noexcept {
        std::swap(system, other.system);
        std::swap(writtenAs, other.writtenAs);
        std::swap(error, other.error);
        return *this;
    }
    ~File() { Close(); }

    bool IsOpen() const { return system != kNoSystemFile; }
    SystemFile System() const { return system; }
    const std::error_code& Error() const { return error; }
    /// A file that is not open, for that reason.
    static File NotOpened(std::error_code why) {
        File file;
        file.error = why;
        return file;
    }

    /// Reads up to `count` bytes as they are, in text mode as well; 0 at the end, -1 on failure.
    std::ptrdiff_t Read(void* to, std::size_t count);
    /// Writes all bytes; in text mode with the line ends of the system.
    bool Write(const void* from, std::size_t count);
    /// Moves to `offset` from the start; -1 on failure, else the new position.
    std::int64_t Seek(std::int64_t offset);
    /// Moves to the end; -1 on failure, else its position.
    std::int64_t SeekToEnd();
    bool Truncate(std::uint64_t length);
    /// Returns when what was written is on the disk. Where a file knows no such thing, as a device
    /// or a pipe, there is nothing to wait for.
    bool Sync();
    bool Close();

    /// Whether it is a regular file; false also when the system cannot tell.
    bool IsRegular() const;
    std::optional<std::uint64_t> Size() const;
    std::optional<FileIdentity> Identity() const;

private:
    bool Fail();

    SystemFile system = kNoSystemFile;
    WrittenAs writtenAs;
    std::error_code error;
};

/// Opens a regular file that other processes may read and write meanwhile, or a link to one.
/// Whatever else has that name is not opened; a directory is said to be one.
File OpenForReading(const std::string& path);

/// How a file to be written is opened.
struct Opened {
    File file;
    bool created = false;  // it was not there before
};
/// Opens a file to be written in shared mode, behind its content when `append` is set, else cut to
/// no length; creates it when it is missing.
Opened OpenForWriting(const std::string& path, bool append, bool textMode);

/// Opens a file that is there, without following a link, to write into it.
File OpenExisting(const std::string& path);

/// Creates a file with this content and closes it; fails when anything of that name exists, a link
/// included, or the content cannot be written; nothing stays behind then. With `synced` the content
/// is on the disk, and so is the name. No error: it was created.
std::error_code CreateExclusively(const std::string& path, std::string_view content = {},
                                  bool synced = false);

/// Whether a failure to create a file means that this place takes none, now and later: no
/// permission, a read-only system, a name that is too long or taken.
bool TakesNoFile(const std::error_code& reason);

/// A file to be renamed over another.
struct Replacement {
    File file;
    std::string path;
};
/// Creates an empty file beside `target`, to be renamed over it, with its owner, permissions,
/// access lists and extended attributes as far as the system lets this process set them. Its name
/// is that of `target` with ReplacementSuffix(), shortened where it would be too long. An empty
/// path when `target` can only be written in place: it is no plain file, belongs to someone else,
/// has several names, may not be written, or its directory takes no new file. A file that is not
/// open, with a path, when the attempt failed and may succeed later.
Replacement CreateBeside(const std::string& target, bool textMode);

/// What the last name in a path led to, without following it when it is a link.
std::optional<FileIdentity> IdentityOf(const std::string& path);

/// The directory of `path`, opened to be synced; not open where that may not be.
File OpenDirectoryOf(const std::string& path);

/// Brings the names in the directory of `path` to the disk. Where the system has no such thing for
/// directories there is nothing to do.
std::error_code SyncDirectoryOf(const std::string& path);

/// Appends to a file, which is created when it is missing. Refuses links, files with several names
/// and what is no plain file, which others may have planted in a shared directory. Returns whether
/// all was written.
bool AppendText(const std::string& path, std::string_view text);

/// This machine's name in a network.
std::string HostName();
/// What tells one run of this machine, from its start to its end, from all others; "" when unknown.
std::string BootId();
std::int64_t ProcessId();
/// How often the processes that led to this one were forked since the library was loaded: a number
/// that a child does not share with its parent. Costs no system call.
std::uint32_t ForksSoFar();
/// Asks for large pages behind memory that nothing was written to yet, where the system has them.
void AdviseLargePages(void* memory, std::size_t size) noexcept;
/// When a process of this machine began, in a unit of the system's own; nothing for a process that
/// is not there. 0 where the system does not tell.
std::optional<std::uint64_t> ProcessStart(std::int64_t process);

}  // namespace fieldstore::platform

#endif
