// SPDX-License-Identifier: Apache-2.0
#include "tool/System.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "streams/FileNames.h"
#include "streams/Platform.h"
#include "streams/Writer.h"

namespace fieldstore::tool::system {
namespace fs = std::filesystem;
namespace {

std::error_code LastError() {
    return {errno, std::generic_category()};
}

int DescriptorOf(Standard stream) {
    constexpr int descriptors[] = {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO};
    return descriptors[static_cast<int>(stream)];
}

}  // namespace

// ---- the terminal ----

bool IsTerminal(Standard stream) {
    return isatty(DescriptorOf(stream)) != 0;
}

bool IsPipe(Standard stream) {
    struct stat state {};
    return fstat(DescriptorOf(stream), &state) == 0 &&
           (S_ISFIFO(state.st_mode) || S_ISSOCK(state.st_mode));
}

std::size_t ScreenWidth() {
    constexpr std::size_t usual = 80;
    winsize size{};
    const bool known = ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col != 0;
    return known ? size.ws_col : usual;
}

void WriteToTerminal(const char* text, std::size_t size) {
    [[maybe_unused]] const auto written = write(STDERR_FILENO, text, size);
}

std::vector<std::string> Begin(int count, char** arguments) {
    return {arguments + 1, arguments + count};
}

// ---- files ----

std::optional<FileState> StateOf(const std::string& path, platform::Links links,
                                 std::error_code& error) {
    error.clear();
    struct stat info {};
    const bool follow = links == platform::Links::Follow;
    if ((follow ? stat(path.c_str(), &info) : lstat(path.c_str(), &info)) != 0) {
        if (errno != ENOENT && errno != ENOTDIR) error = LastError();
        return std::nullopt;
    }
    FileState state;
    state.identity = {static_cast<std::uint64_t>(info.st_dev),
                      static_cast<std::uint64_t>(info.st_ino)};
    state.size = static_cast<std::uint64_t>(info.st_size);
    state.changed =
        std::chrono::seconds(info.st_mtim.tv_sec) + std::chrono::nanoseconds(info.st_mtim.tv_nsec);
    const auto age = std::time(nullptr) - info.st_mtime;
    state.age = std::chrono::seconds(std::max<std::time_t>(age, 0));
    state.isFile = S_ISREG(info.st_mode);
    return state;
}

std::error_code WhyUnreadable(const std::string& path) {
    return access(path.c_str(), R_OK) == 0 ? std::error_code() : LastError();
}

platform::File CreateTemporary(const std::string& prefix, std::string& path) {
    path = prefix + "XXXXXX";
    const int descriptor = mkostemp(path.data(), O_CLOEXEC);
    return descriptor < 0 ? platform::File::NotOpened(LastError()) : platform::File(descriptor);
}

platform::File Duplicate(const platform::File& file) {
    const int descriptor = fcntl(file.System(), F_DUPFD_CLOEXEC, 0);
    return descriptor < 0 ? platform::File::NotOpened(LastError()) : platform::File(descriptor);
}

platform::File OpenOwn(const std::string& path) {
    const int descriptor = open(path.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0) return platform::File::NotOpened(LastError());
    platform::File file(descriptor);
    struct stat info {};
    const bool own = fstat(descriptor, &info) == 0 && S_ISREG(info.st_mode) &&
                     info.st_uid == geteuid() && info.st_nlink == 1;
    return own ? std::move(file) : platform::File();
}

void GiveUsualPermissions(const platform::File& file) {
    constexpr mode_t readWrite = 0666;
    const mode_t mask = umask(0);
    umask(mask);
    fchmod(file.System(), readWrite & ~mask);
}

std::error_code RenameToFreeName(const std::string& from, const std::string& to) {
#ifdef RENAME_NOREPLACE
    // Not over what has come since; not every file system can do that.
    if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return {};
    if (errno != EINVAL && errno != ENOSYS) return LastError();
#endif
    return platform::Rename(from, to);
}

const bool kTellsPositions = true;

std::optional<std::uint64_t> PositionIn(const std::string& path) {
    std::optional<std::uint64_t> farthest;  // a temporary file is held open as well
    std::error_code error;
    for (fs::directory_iterator open("/proc/self/fd", error); !error && open != fs::end(open);
         open.increment(error)) {
        std::error_code closed;
        const auto target = fs::read_symlink(open->path(), closed).string();
        const auto replacement = ParseReplacementName(target);
        if (target != path && !(replacement && replacement->target == path)) continue;
        std::ifstream info("/proc/self/fdinfo/" + open->path().filename().string());
        std::string name;
        std::uint64_t position = 0;
        if (info >> name >> position) farthest = std::max(farthest.value_or(0), position);
    }
    return farthest;
}

// ---- programs ----

std::vector<std::string> ProgramDirectories() {
    const char* path = std::getenv("PATH");
    std::vector<std::string> directories;
    std::istringstream parts(path == nullptr ? "" : path);
    for (std::string part; std::getline(parts, part, ':');)
        if (fs::path(part).is_absolute()) directories.push_back(part);
    return directories;
}

const char* const kProgramEnding = "";

bool IsProgram(const std::string& path) {
    std::error_code error;
    return fs::is_regular_file(path, error) && access(path.c_str(), X_OK) == 0;
}

void TellOwnPath(const char* variable) {
    std::error_code error;
    const fs::path self = fs::read_symlink("/proc/self/exe", error);
    if (!error) setenv(variable, self.c_str(), 1);
}

std::error_code Become(const std::string& path, const std::vector<std::string>& arguments) {
    std::signal(SIGPIPE, SIG_DFL);  // what is ignored here would stay so there
    std::signal(SIGXFSZ, SIG_DFL);
    std::vector<std::string> words{path};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> pointers;
    pointers.reserve(words.size() + 1);
    for (auto& word : words) pointers.push_back(word.data());
    pointers.push_back(nullptr);
    execv(path.c_str(), pointers.data());
    return LastError();
}

}  // namespace fieldstore::tool::system
