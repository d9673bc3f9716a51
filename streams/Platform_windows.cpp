// SPDX-License-Identifier: Apache-2.0
#define NOMINMAX
#include <fcntl.h>
#include <io.h>
#include <process.h>
#include <sys/stat.h>
#include <windows.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "streams/Platform.h"
#include "streams/Writer.h"

namespace fieldstore::platform {
namespace {

std::error_code CallError() {
    return {errno, std::generic_category()};
}

std::error_code SystemError() {
    return {static_cast<int>(GetLastError()), std::system_category()};
}

/// Text mode is that of the runtime, which writes and reads line ends as two characters.
File FromHandle(HANDLE handle, int flags, bool textMode) {
    if (handle == INVALID_HANDLE_VALUE) return File::NotOpened(SystemError());
    const int mode = flags | (textMode ? _O_TEXT : _O_BINARY) | _O_NOINHERIT;
    const int descriptor = _open_osfhandle(reinterpret_cast<intptr_t>(handle), mode);
    if (descriptor >= 0) return File(descriptor);
    const auto reason = CallError();
    CloseHandle(handle);
    return File::NotOpened(reason);
}

HANDLE OpenHandle(const std::string& path, DWORD access, DWORD disposition) {
    return CreateFileA(path.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                       nullptr, disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
}

HANDLE HandleOf(int descriptor) {
    return reinterpret_cast<HANDLE>(_get_osfhandle(descriptor));
}

std::optional<FileIdentity> IdentityIn(HANDLE handle) {
    BY_HANDLE_FILE_INFORMATION info{};
    if (!GetFileInformationByHandle(handle, &info)) return std::nullopt;
    constexpr int bitsOfHalf = 32;
    return FileIdentity{
        info.dwVolumeSerialNumber,
        (static_cast<std::uint64_t>(info.nFileIndexHigh) << bitsOfHalf) | info.nFileIndexLow};
}

}  // namespace

// ---- open files ----

bool File::Fail() {
    error = CallError();
    return false;
}

std::ptrdiff_t File::Read(void* to, std::size_t count) {
    constexpr std::size_t most = std::size_t{1} << 30;
    const int result = _read(descriptor, to, static_cast<unsigned int>(std::min(count, most)));
    if (result < 0) Fail();
    return result;
}

bool File::Write(const void* from, std::size_t count) {
    constexpr std::size_t most = std::size_t{1} << 30;
    const auto* next = static_cast<const char*>(from);
    while (count != 0) {
        const int written =
            _write(descriptor, next, static_cast<unsigned int>(std::min(count, most)));
        if (written == 0) errno = EIO;
        if (written <= 0) return Fail();
        next += written;
        count -= static_cast<std::size_t>(written);
    }
    return true;
}

std::int64_t File::Seek(std::int64_t offset) {
    const std::int64_t position = _lseeki64(descriptor, offset, SEEK_SET);
    if (position < 0) Fail();
    return position;
}

std::int64_t File::SeekToEnd() {
    const std::int64_t position = _lseeki64(descriptor, 0, SEEK_END);
    if (position < 0) Fail();
    return position;
}

bool File::Truncate(std::uint64_t length) {
    errno = _chsize_s(descriptor, static_cast<std::int64_t>(length));
    return errno == 0 || Fail();
}

bool File::Sync() {
    return _commit(descriptor) == 0 || errno == EBADF || Fail();
}

bool File::Close() {
    const int closing = std::exchange(descriptor, -1);
    return closing < 0 || _close(closing) == 0 || Fail();
}

bool File::IsRegular() const {
    return GetFileType(HandleOf(descriptor)) == FILE_TYPE_DISK;
}

std::optional<std::uint64_t> File::Size() const {
    const std::int64_t length = _filelengthi64(descriptor);
    if (length < 0) return std::nullopt;
    return static_cast<std::uint64_t>(length);
}

std::optional<FileIdentity> File::Identity() const {
    return descriptor < 0 ? std::nullopt : IdentityIn(HandleOf(descriptor));
}

// ---- opening ----

File OpenForReading(const std::string& path, bool textMode) {
    const DWORD attributes = GetFileAttributesA(path.c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0)
        return File::NotOpened(std::make_error_code(std::errc::is_a_directory));
    File file = FromHandle(OpenHandle(path, GENERIC_READ, OPEN_EXISTING), _O_RDONLY, textMode);
    if (file.IsOpen() && !file.IsRegular())
        return File::NotOpened(std::make_error_code(std::errc::invalid_argument));
    return file;
}

Opened OpenForWriting(const std::string& path, bool append, bool textMode) {
    const int flags = _O_WRONLY | (append ? _O_APPEND : 0);
    HANDLE handle = OpenHandle(path, GENERIC_WRITE, append ? OPEN_EXISTING : TRUNCATE_EXISTING);
    const bool missing = handle == INVALID_HANDLE_VALUE && GetLastError() == ERROR_FILE_NOT_FOUND;
    if (missing) handle = OpenHandle(path, GENERIC_WRITE, CREATE_NEW);
    return {FromHandle(handle, flags, textMode), missing};
}

File OpenExisting(const std::string& path) {
    return FromHandle(OpenHandle(path, GENERIC_WRITE, OPEN_EXISTING), _O_WRONLY, false);
}

std::error_code CreateExclusively(const std::string& path, std::string_view content, bool synced) {
    const HANDLE handle = CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                                      FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE && GetLastError() == ERROR_FILE_EXISTS)
        return std::make_error_code(std::errc::file_exists);
    File file = FromHandle(handle, _O_WRONLY, false);
    if (!file.IsOpen()) return file.Error();
    if (content.empty()) return {};
    const bool stored =
        file.Write(content.data(), content.size()) && (!synced || file.Sync()) && file.Close();
    if (stored) return {};
    const auto failure = file.Error();
    file.Close();
    DeleteFileA(path.c_str());
    return failure;
}

bool TakesNoFile(const std::error_code& reason) {
    return reason == std::errc::permission_denied || reason == std::errc::file_exists ||
           reason == std::errc::filename_too_long;
}

Replacement CreateBeside(const std::string& target, bool textMode) {
    const DWORD attributes = GetFileAttributesA(target.c_str());
    const bool exists = attributes != INVALID_FILE_ATTRIBUTES;
    if (exists && (attributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_READONLY)) != 0)
        return {};
    const Writer writer = Writer::ThisProcess();
    for (int number = 0;; ++number) {  // until a name is free
        const std::string path = target + ReplacementSuffix(writer, number);
        File file = FromHandle(OpenHandle(path, GENERIC_WRITE, CREATE_NEW), _O_WRONLY, textMode);
        if (file.IsOpen()) return {std::move(file), path};
        if (file.Error() == std::errc::file_exists) continue;
        return {std::move(file), TakesNoFile(file.Error()) ? "" : target};
    }
}

std::optional<FileIdentity> IdentityOf(const std::string& path) {
    const HANDLE handle = CreateFileA(
        path.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
        OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
    if (handle == INVALID_HANDLE_VALUE) return std::nullopt;
    const auto identity = IdentityIn(handle);
    CloseHandle(handle);
    return identity;
}

File OpenDirectoryOf(const std::string& /*path*/) {
    return {};
}

std::error_code SyncDirectoryOf(const std::string& /*path*/) {
    return {};  // the system has no call for it; names go to the disk with its journal
}

bool AppendText(const std::string& path, std::string_view text) {
    auto [file, created] = OpenForWriting(path, true, true);
    return file.IsOpen() && file.Write(text.data(), text.size()) && file.Close();
}

// ---- processes ----

std::string HostName() {
    char name[MAX_COMPUTERNAME_LENGTH + 1] = {};
    DWORD size = sizeof name;
    return GetComputerNameA(name, &size) ? name : "";
}

std::string BootId() {
    return {};
}

std::uint32_t ForksSoFar() {
    return 0;
}

std::int64_t ProcessId() {
    return static_cast<std::int64_t>(GetCurrentProcessId());
}

std::optional<std::uint64_t> ProcessStart(std::int64_t process) {
    const HANDLE handle =
        OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, static_cast<DWORD>(process));
    if (handle == nullptr) return std::nullopt;
    FILETIME created{}, ended{}, kernel{}, user{};
    DWORD status = 0;
    const bool known = GetProcessTimes(handle, &created, &ended, &kernel, &user) != 0;
    const bool runs = GetExitCodeProcess(handle, &status) == 0 || status == STILL_ACTIVE;
    CloseHandle(handle);
    if (!runs) return std::nullopt;
    constexpr int bitsOfHalf = 32;
    if (!known) return 0;
    return (static_cast<std::uint64_t>(created.dwHighDateTime) << bitsOfHalf) |
           created.dwLowDateTime;
}

}  // namespace fieldstore::platform
