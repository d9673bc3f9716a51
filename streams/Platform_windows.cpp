// SPDX-License-Identifier: Apache-2.0
#include "streams/Platform.h"

#include <algorithm>
#include <utility>

#include "streams/FileAttributes.h"
#include "streams/FileNames.h"
#include "streams/Windows.h"
#include "streams/Writer.h"
// After windows.h, without which it does not compile.
#include <winternl.h>

namespace fieldstore::platform {
namespace {

constexpr DWORD kMostAtOnce = DWORD{1} << 30;  // bytes of one call

/// The access lists of a new file are set by way of its handle.
constexpr DWORD kWritten = GENERIC_WRITE | FILE_READ_ATTRIBUTES;

File FromHandle(HANDLE handle, WrittenAs form = {}) {
    if (handle == INVALID_HANDLE_VALUE) return File::NotOpened(LastError());
    return File(reinterpret_cast<SystemFile>(handle), form);
}

HANDLE Open(const std::wstring& name, DWORD access, DWORD disposition, DWORD flags = 0) {
    return CreateFileW(name.c_str(), access, kSharedWithAll, nullptr, disposition,
                       FILE_ATTRIBUTE_NORMAL | flags, nullptr);
}

std::optional<BY_HANDLE_FILE_INFORMATION> InfoOf(HANDLE handle) {
    BY_HANDLE_FILE_INFORMATION info{};
    if (GetFileInformationByHandle(handle, &info) == 0) return std::nullopt;
    return info;
}

std::optional<FileIdentity> IdentityIn(HANDLE handle) {
    const auto info = InfoOf(handle);
    if (!info) return std::nullopt;
    return FileIdentity{info->dwVolumeSerialNumber,
                        Joined(info->nFileIndexHigh, info->nFileIndexLow)};
}

/// A file that is one, has no other name, and was not reached by a link.
bool IsPlainFile(HANDLE handle) {
    constexpr DWORD others = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT;
    const auto info = InfoOf(handle);
    return info && (info->dwFileAttributes & others) == 0 && info->nNumberOfLinks == 1 &&
           GetFileType(handle) == FILE_TYPE_DISK;
}

/// The bytes of a text with the line ends of the system.
std::string WithLineEnds(const char* text, std::size_t count) {
    std::string written;
    written.reserve(count + count / 8);
    for (const char* next = text; next != text + count; ++next) {
        if (*next == '\n') written += '\r';
        written += *next;
    }
    return written;
}

std::int64_t MovedTo(HANDLE handle, std::int64_t offset, DWORD from) {
    LARGE_INTEGER distance{}, reached{};
    distance.QuadPart = offset;
    return SetFilePointerEx(handle, distance, &reached, from) != 0 ? reached.QuadPart : -1;
}

constexpr std::size_t kLongestName = 255;  // characters

/// Why a file could not be made. The system says no more of a name that is too long than that it is
/// not there, or none.
std::error_code WhyNotMade(const std::string& path) {
    const auto reason = LastError();
    if (Wide(path.substr(LastNameIn(path))).size() <= kLongestName) return reason;
    return std::make_error_code(std::errc::filename_too_long);
}

/// `target` with the suffix, cut short where a name may not be that long.
std::string WithSuffix(const std::string& target, const std::string& suffix) {
    const std::size_t begin = LastNameIn(target);  // characters have one byte or more in UTF-8
    const std::size_t room = kLongestName - std::min(kLongestName, suffix.size());
    std::size_t end = begin + std::min(target.size() - begin, room);
    const auto isWithinCharacter = [](char c) {
        return (static_cast<unsigned char>(c) >> 6U) == 2;
    };
    while (end < target.size() && end > begin && isWithinCharacter(target[end])) --end;
    return target.substr(0, end) + suffix;
}

}  // namespace

std::error_code ErrorOf(DWORD code) {
    switch (code) {
        case ERROR_FILE_NOT_FOUND:
        case ERROR_PATH_NOT_FOUND:
        case ERROR_INVALID_DRIVE:
        case ERROR_BAD_NETPATH:
        case ERROR_BAD_NET_NAME:
        case ERROR_DIRECTORY:
            return std::make_error_code(std::errc::no_such_file_or_directory);
        case ERROR_INVALID_NAME:  // a name that is too long is one as well
        case ERROR_BAD_PATHNAME:
            return std::make_error_code(std::errc::invalid_argument);
        case ERROR_FILE_EXISTS:
        case ERROR_ALREADY_EXISTS:
            return std::make_error_code(std::errc::file_exists);
        case ERROR_ACCESS_DENIED:
            return std::make_error_code(std::errc::permission_denied);
        case ERROR_WRITE_PROTECT:
            return std::make_error_code(std::errc::read_only_file_system);
        case ERROR_FILENAME_EXCED_RANGE:
            return std::make_error_code(std::errc::filename_too_long);
        case ERROR_DISK_FULL:
        case ERROR_HANDLE_DISK_FULL:
            return std::make_error_code(std::errc::no_space_on_device);
        default:
            return {static_cast<int>(code), std::system_category()};
    }
}

std::error_code LastError() {
    return ErrorOf(GetLastError());
}

// ---- open files ----

bool File::Fail() {
    error = LastError();
    return false;
}

std::ptrdiff_t File::Read(void* to, std::size_t count) {
    DWORD taken = 0;
    const auto most = static_cast<DWORD>(std::min<std::size_t>(count, kMostAtOnce));
    if (ReadFile(HandleOf(system), to, most, &taken, nullptr) != 0) return taken;
    if (GetLastError() == ERROR_HANDLE_EOF) return 0;
    Fail();
    return -1;
}

bool File::Write(const void* from, std::size_t count) {
    const auto* next = static_cast<const char*>(from);
    std::string text;
    if (writtenAs.text) {
        text = WithLineEnds(next, count);
        next = text.data();
        count = text.size();
    }
    OVERLAPPED atEnd{};
    atEnd.Offset = atEnd.OffsetHigh = ~DWORD{0};
    while (count != 0) {
        DWORD written = 0;
        const auto most = static_cast<DWORD>(std::min<std::size_t>(count, kMostAtOnce));
        if (WriteFile(HandleOf(system), next, most, &written,
                      writtenAs.appended ? &atEnd : nullptr) == 0)
            return Fail();
        next += written;
        count -= written;
    }
    return true;
}

std::int64_t File::Seek(std::int64_t offset) {
    const auto position = MovedTo(HandleOf(system), offset, FILE_BEGIN);
    if (position < 0) Fail();
    return position;
}

std::int64_t File::SeekToEnd() {
    const auto position = MovedTo(HandleOf(system), 0, FILE_END);
    if (position < 0) Fail();
    return position;
}

bool File::Truncate(std::uint64_t length) {
    FILE_END_OF_FILE_INFO end{};
    end.EndOfFile.QuadPart = static_cast<LONGLONG>(length);
    return SetFileInformationByHandle(HandleOf(system), FileEndOfFileInfo, &end, sizeof end) != 0 ||
           Fail();
}

bool File::Sync() {
    if (FlushFileBuffers(HandleOf(system)) != 0) return true;
    // A console, a pipe, or a directory on a file system that has no such thing.
    const DWORD reason = GetLastError();
    const bool knowsNoSync = reason == ERROR_INVALID_FUNCTION || reason == ERROR_INVALID_HANDLE ||
                             reason == ERROR_NOT_SUPPORTED;
    return (knowsNoSync && !IsRegular()) || Fail();
}

bool File::Close() {
    const SystemFile closing = std::exchange(system, kNoSystemFile);
    return closing == kNoSystemFile || CloseHandle(HandleOf(closing)) != 0 || Fail();
}

bool File::IsRegular() const {
    const auto info = InfoOf(HandleOf(system));
    return info && (info->dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0 &&
           GetFileType(HandleOf(system)) == FILE_TYPE_DISK;
}

std::optional<std::uint64_t> File::Size() const {
    LARGE_INTEGER size{};
    if (GetFileSizeEx(HandleOf(system), &size) == 0) return std::nullopt;
    return static_cast<std::uint64_t>(size.QuadPart);
}

std::optional<FileIdentity> File::Identity() const {
    return IsOpen() ? IdentityIn(HandleOf(system)) : std::nullopt;
}

// ---- opening ----

File OpenForReading(const std::string& path) {
    const std::wstring name = SystemName(path);
    const DWORD attributes = GetFileAttributesW(name.c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0)
        return File::NotOpened(std::make_error_code(std::errc::is_a_directory));
    File file = FromHandle(Open(name, GENERIC_READ, OPEN_EXISTING));
    if (file.IsOpen() && !file.IsRegular())
        return File::NotOpened(std::make_error_code(std::errc::invalid_argument));
    // A file that is being removed cannot be opened any more, and is gone in a moment.
    const bool isGoing =
        attributes == INVALID_FILE_ATTRIBUTES && file.Error() == std::errc::permission_denied;
    if (isGoing) return File::NotOpened(std::make_error_code(std::errc::no_such_file_or_directory));
    return file;
}

Opened OpenForWriting(const std::string& path, bool append, bool textMode) {
    const std::wstring name = SystemName(path);
    const WrittenAs form{textMode, append};
    const auto missing = std::errc::no_such_file_or_directory;
    Opened opened{
        FromHandle(Open(name, kWritten, append ? OPEN_EXISTING : TRUNCATE_EXISTING), form)};
    if (opened.file.Error() != missing) return opened;
    opened = {FromHandle(Open(name, kWritten, CREATE_NEW), form), true};
    if (opened.file.Error() != std::errc::file_exists) return opened;
    // Somebody was faster.
    return {FromHandle(Open(name, kWritten, append ? OPEN_ALWAYS : CREATE_ALWAYS), form)};
}

File OpenExisting(const std::string& path) {
    const HANDLE handle =
        Open(SystemName(path), kWritten, OPEN_EXISTING, FILE_FLAG_OPEN_REPARSE_POINT);
    const auto info = InfoOf(handle);
    File file = FromHandle(handle);
    if (info && (info->dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0)
        return File::NotOpened(std::make_error_code(std::errc::too_many_symbolic_link_levels));
    return file;
}

std::error_code CreateExclusively(const std::string& path, std::string_view content, bool synced) {
    // Shared with nobody, as every writer of such a marker creates it; others may read the content
    // while it is written.
    const DWORD shared = content.empty() ? 0 : FILE_SHARE_READ | FILE_SHARE_DELETE;
    File file = FromHandle(CreateFileW(SystemName(path).c_str(), GENERIC_WRITE, shared, nullptr,
                                       CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file.IsOpen()) return WhyNotMade(path);
    if (content.empty()) return {};
    const bool stored =
        file.Write(content.data(), content.size()) && (!synced || file.Sync()) && file.Close();
    std::error_code failure = stored ? std::error_code() : file.Error();
    if (stored && synced) failure = SyncDirectoryOf(path);
    file.Close();
    if (failure) Remove(path);
    return failure;
}

bool TakesNoFile(const std::error_code& reason) {
    constexpr std::errc final[] = {std::errc::permission_denied, std::errc::read_only_file_system,
                                   std::errc::filename_too_long, std::errc::invalid_argument,
                                   std::errc::file_exists};
    return std::any_of(std::begin(final), std::end(final),
                       [&reason](std::errc known) { return reason == known; });
}

Replacement CreateBeside(const std::string& target, bool textMode) {
    std::error_code unknown;
    const auto type = TypeOf(target, Links::Keep, unknown);
    const bool exists = type != std::filesystem::file_type::not_found;
    if (exists) {
        const File existing = FromHandle(Open(SystemName(target), kWritten, OPEN_EXISTING));
        if (!existing.IsOpen())
            return {File::NotOpened(existing.Error()), TakesNoFile(existing.Error()) ? "" : target};
        if (!IsPlainFile(HandleOf(existing.System()))) return {};
    }
    const Writer writer = Writer::ThisProcess();
    for (int number = 0;; ++number) {  // until a name is free
        std::string path = WithSuffix(target, ReplacementSuffix(writer, number));
        File file = FromHandle(Open(SystemName(path), kWritten | WRITE_DAC, CREATE_NEW),
                               WrittenAs{textMode, false});
        if (file.Error() == std::errc::file_exists) continue;
        if (!file.IsOpen()) return {std::move(file), TakesNoFile(file.Error()) ? "" : target};
        if (exists) TakeAttributes(target, file.System());
        return {std::move(file), std::move(path)};
    }
}

std::optional<FileIdentity> IdentityOf(const std::string& path) {
    constexpr DWORD nameItself = FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT;
    const Handle file(Open(SystemName(path), 0, OPEN_EXISTING, nameItself));
    return file.IsValid() ? IdentityIn(file.Get()) : std::nullopt;
}

File OpenDirectoryOf(const std::string& path) {
    const std::wstring name = SystemName(DirectoryOf(path));
    return FromHandle(Open(name, GENERIC_WRITE, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS));
}

std::error_code SyncDirectoryOf(const std::string& path) {
    File directory = OpenDirectoryOf(path);
    // The journal of the file system brings names to the disk with the content of any file; where a
    // directory may not be opened for it there is nothing more to do.
    return !directory.IsOpen() || directory.Sync() ? std::error_code() : directory.Error();
}

bool AppendText(const std::string& path, std::string_view text) {
    const HANDLE handle =
        Open(SystemName(path), kWritten, OPEN_ALWAYS, FILE_FLAG_OPEN_REPARSE_POINT);
    File file = FromHandle(handle, WrittenAs{true, true});
    return file.IsOpen() && IsPlainFile(handle) && file.Write(text.data(), text.size()) &&
           file.Close();
}

// ---- processes ----

std::string HostName() {
    DWORD size = 0;
    GetComputerNameExW(ComputerNamePhysicalDnsHostname, nullptr, &size);
    std::wstring name(size, L'\0');
    if (GetComputerNameExW(ComputerNamePhysicalDnsHostname, name.data(), &size) == 0) return {};
    name.resize(size);
    return Utf8(name);
}

std::string BootId() {
    // When the system was started. It moves the time when its clock is set, and says how far.
    struct {
        LARGE_INTEGER boot, current, zone;
        ULONG zoneNumber, reserved;
        ULONGLONG movedBoot, movedSleep;
    } times{};
    ULONG size = 0;
    const auto status =
        NtQuerySystemInformation(SystemTimeOfDayInformation, &times, sizeof times, &size);
    if (status < 0 || times.boot.QuadPart == 0) return {};
    return std::to_string(static_cast<ULONGLONG>(times.boot.QuadPart) - times.movedBoot);
}

std::uint32_t ForksSoFar() {
    return 0;  // a process is never the copy of another
}

void AdviseLargePages(void*, std::size_t) noexcept {}  // they take a privilege

std::int64_t ProcessId() {
    return static_cast<std::int64_t>(GetCurrentProcessId());
}

std::optional<std::uint64_t> ProcessStart(std::int64_t process) {
    const Handle opened(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION | SYNCHRONIZE, FALSE,
                                    static_cast<DWORD>(process)));
    if (!opened.IsValid() && GetLastError() == ERROR_INVALID_PARAMETER) return std::nullopt;
    if (!opened.IsValid()) return 0;
    // One that has ended is there as long as somebody holds a handle.
    if (WaitForSingleObject(opened.Get(), 0) == WAIT_OBJECT_0) return std::nullopt;
    FILETIME created{}, ended{}, kernel{}, user{};
    if (GetProcessTimes(opened.Get(), &created, &ended, &kernel, &user) == 0) return 0;
    return Joined(created.dwHighDateTime, created.dwLowDateTime);
}

}  // namespace fieldstore::platform
