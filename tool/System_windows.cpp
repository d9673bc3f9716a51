// SPDX-License-Identifier: Apache-2.0
#include "tool/System.h"

#include <fcntl.h>
#include <io.h>

#include <cstdlib>
#include <random>
#include <sstream>

#include "streams/Windows.h"
// After windows.h, without which it does not compile.
#include <shellapi.h>

namespace fieldstore::tool::system {
namespace {

using platform::Handle;
using platform::HandleOf;
using platform::LastError;

HANDLE StandardHandle(Standard stream) {
    constexpr DWORD numbers[] = {STD_INPUT_HANDLE, STD_OUTPUT_HANDLE, STD_ERROR_HANDLE};
    return GetStdHandle(numbers[static_cast<int>(stream)]);
}

/// A console that shows UTF-8 and obeys the sequences for colours, until the program ends.
class Console {
public:
    Console() : page(GetConsoleOutputCP()) {
        if (page != 0) SetConsoleOutputCP(CP_UTF8);
        for (const Standard stream : {Standard::Output, Standard::Error}) {
            DWORD mode = 0;
            constexpr DWORD sequences = 0x0004;  // ENABLE_VIRTUAL_TERMINAL_PROCESSING
            const HANDLE handle = StandardHandle(stream);
            if (GetConsoleMode(handle, &mode) != 0) SetConsoleMode(handle, mode | sequences);
        }
    }
    ~Console() {
        if (page != 0) SetConsoleOutputCP(page);
    }
    Console(const Console&) = delete;
    Console& operator=(const Console&) = delete;

private:
    UINT page;
};

FILETIME Now() {
    FILETIME now{};
    GetSystemTimeAsFileTime(&now);
    return now;
}

/// In steps of 100 ns.
std::uint64_t Ticks(const FILETIME& time) {
    return platform::Joined(time.dwHighDateTime, time.dwLowDateTime);
}

platform::File FromHandle(HANDLE handle) {
    if (handle == INVALID_HANDLE_VALUE) return platform::File::NotOpened(LastError());
    return platform::File(reinterpret_cast<platform::SystemFile>(handle));
}

constexpr DWORD kReadAndWritten = GENERIC_READ | GENERIC_WRITE | WRITE_DAC;

/// An argument in quotation marks, as the system's own rules take it apart again.
std::wstring Quoted(const std::wstring& argument) {
    std::wstring quoted = L"\"";
    std::size_t backslashes = 0;
    for (const wchar_t c : argument) {
        if (c == L'"') quoted.append(backslashes + 1, L'\\');
        backslashes = c == L'\\' ? backslashes + 1 : 0;
        quoted += c;
    }
    return quoted.append(backslashes, L'\\') + L'"';
}

}  // namespace

// ---- the terminal ----

bool IsTerminal(Standard stream) {
    DWORD mode = 0;
    return GetConsoleMode(StandardHandle(stream), &mode) != 0;
}

bool IsPipe(Standard stream) {
    return GetFileType(StandardHandle(stream)) == FILE_TYPE_PIPE;
}

std::size_t ScreenWidth() {
    constexpr std::size_t usual = 80;
    CONSOLE_SCREEN_BUFFER_INFO info{};
    if (GetConsoleScreenBufferInfo(StandardHandle(Standard::Error), &info) == 0) return usual;
    // A line that fills the last column would wrap.
    const int width = info.srWindow.Right - info.srWindow.Left;
    return width > 0 ? static_cast<std::size_t>(width) : usual;
}

void WriteToTerminal(const char* text, std::size_t size) {
    DWORD written = 0;
    WriteFile(StandardHandle(Standard::Error), text, static_cast<DWORD>(size), &written, nullptr);
}

std::vector<std::string> Begin(int /*count*/, char** /*arguments*/) {
    static const Console untilTheEnd;
    // What programs read is the same on all systems.
    _setmode(_fileno(stdout), _O_BINARY);
    _setmode(_fileno(stdin), _O_BINARY);
    int count = 0;
    // The narrow words have lost what the code page of the system does not know.
    LPWSTR* words = CommandLineToArgvW(GetCommandLineW(), &count);
    std::vector<std::string> arguments;
    for (int i = 1; i < count; ++i) arguments.push_back(platform::Utf8(words[i]));
    LocalFree(words);
    return arguments;
}

// ---- files ----

std::optional<FileState> StateOf(const std::string& path, platform::Links links,
                                 std::error_code& error) {
    const auto type = platform::TypeOf(path, links, error);
    if (type == std::filesystem::file_type::not_found) error.clear();
    if (type == std::filesystem::file_type::not_found || error) return std::nullopt;
    const DWORD how = links == platform::Links::Keep ? FILE_FLAG_OPEN_REPARSE_POINT : 0;
    const Handle file(CreateFileW(platform::SystemName(path).c_str(), 0, platform::kSharedWithAll,
                                  nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS | how,
                                  nullptr));
    BY_HANDLE_FILE_INFORMATION info{};
    if (!file.IsValid() || GetFileInformationByHandle(file.Get(), &info) == 0) {
        error = LastError();
        return std::nullopt;
    }
    constexpr std::int64_t nanosecondsPerTick = 100;
    constexpr std::uint64_t ticksPerSecond = 10'000'000;
    const std::uint64_t changed = Ticks(info.ftLastWriteTime), now = Ticks(Now());
    FileState state;
    state.identity = {info.dwVolumeSerialNumber,
                      platform::Joined(info.nFileIndexHigh, info.nFileIndexLow)};
    state.size = platform::Joined(info.nFileSizeHigh, info.nFileSizeLow);
    // From 1601 on it would not fit.
    constexpr std::uint64_t ticksTo1970 = 116'444'736'000'000'000;
    state.changed = std::chrono::nanoseconds(static_cast<std::int64_t>(changed - ticksTo1970) *
                                             nanosecondsPerTick);
    state.age = std::chrono::seconds(now > changed ? (now - changed) / ticksPerSecond : 0);
    state.isFile = type == std::filesystem::file_type::regular;
    return state;
}

std::error_code WhyUnreadable(const std::string& path) {
    return platform::OpenForReading(path).Error();
}

platform::File CreateTemporary(const std::string& prefix, std::string& path) {
    constexpr int most = 1000;
    constexpr char letters[] = "abcdefghijklmnopqrstuvwxyz0123456789";
    std::random_device chance;
    std::uniform_int_distribution<std::size_t> letter(0, sizeof letters - 2);
    platform::File file;
    for (int attempt = 0; attempt < most; ++attempt) {
        path = prefix;
        for (int i = 0; i < 6; ++i) path += letters[letter(chance)];
        file = FromHandle(CreateFileW(platform::SystemName(path).c_str(), kReadAndWritten,
                                      platform::kSharedWithAll, nullptr, CREATE_NEW,
                                      FILE_ATTRIBUTE_NORMAL, nullptr));
        if (file.Error() != std::errc::file_exists) break;
    }
    return file;
}

platform::File Duplicate(const platform::File& file) {
    HANDLE another = INVALID_HANDLE_VALUE;
    const HANDLE self = GetCurrentProcess();
    if (DuplicateHandle(self, HandleOf(file.System()), self, &another, 0, FALSE,
                        DUPLICATE_SAME_ACCESS) == 0)
        return platform::File::NotOpened(LastError());
    return FromHandle(another);
}

platform::File OpenOwn(const std::string& path) {
    const HANDLE handle =
        CreateFileW(platform::SystemName(path).c_str(), kReadAndWritten, platform::kSharedWithAll,
                    nullptr, OPEN_EXISTING, FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
    platform::File file = FromHandle(handle);
    BY_HANDLE_FILE_INFORMATION info{};
    constexpr DWORD others = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT;
    const bool own = file.IsOpen() && GetFileInformationByHandle(handle, &info) != 0 &&
                     (info.dwFileAttributes & others) == 0 && info.nNumberOfLinks == 1;
    return own ? std::move(file) : platform::File();
}

void GiveUsualPermissions(const platform::File& /*file*/) {
    // It has those of its directory, as every file does.
}

std::error_code RenameToFreeName(const std::string& from, const std::string& to) {
    return MoveFileExW(platform::SystemName(from).c_str(), platform::SystemName(to).c_str(),
                       MOVEFILE_WRITE_THROUGH) != 0
               ? std::error_code()
               : LastError();
}

const bool kTellsPositions = false;

std::optional<std::uint64_t> PositionIn(const std::string& /*path*/) {
    return std::nullopt;
}

// ---- programs ----

std::vector<std::string> ProgramDirectories() {
    const wchar_t* path = _wgetenv(L"PATH");
    std::vector<std::string> directories;
    std::istringstream parts(path == nullptr ? std::string() : platform::Utf8(path));
    for (std::string part; std::getline(parts, part, ';');)
        if (platform::PathOf(part).is_absolute()) directories.push_back(part);
    return directories;
}

const char* const kProgramEnding = ".exe";

bool IsProgram(const std::string& path) {
    std::error_code error;
    const auto type = platform::TypeOf(path, platform::Links::Follow, error);
    return type == std::filesystem::file_type::regular;
}

void TellOwnPath(const char* variable) {
    constexpr std::size_t longest = 32768;
    std::wstring self(longest, L'\0');
    const DWORD length = GetModuleFileNameW(nullptr, self.data(), longest);
    self.resize(length);
    if (length != 0) SetEnvironmentVariableW(platform::Wide(variable).c_str(), self.c_str());
}

/// A process cannot become another program: it waits for that one, and ends as it does.
std::error_code Become(const std::string& path, const std::vector<std::string>& arguments) {
    std::wstring line = Quoted(platform::Wide(path));
    for (const auto& argument : arguments) line += L' ' + Quoted(platform::Wide(argument));
    STARTUPINFOW start{};
    start.cb = sizeof start;
    PROCESS_INFORMATION made{};
    if (CreateProcessW(platform::Wide(path).c_str(), line.data(), nullptr, nullptr, TRUE, 0,
                       nullptr, nullptr, &start, &made) == 0)
        return LastError();
    const Handle process(made.hProcess), thread(made.hThread);
    SetConsoleCtrlHandler(nullptr, TRUE);  // Ctrl-C is for that one
    DWORD status = 0;
    WaitForSingleObject(process.Get(), INFINITE);
    GetExitCodeProcess(process.Get(), &status);
    std::exit(static_cast<int>(status));
}

}  // namespace fieldstore::tool::system
