// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "streams/FileAttributes.h"
#include "streams/FileNames.h"
#include "streams/Platform.h"
#include "streams/SystemFile.h"
#include "streams/Writer.h"

namespace fieldstore::platform {
namespace {

constexpr mode_t kReadWriteForAll = 0666;  // less the umask
constexpr mode_t kReadWriteForOwner = 0600;

std::error_code SystemError() {
    return {errno, std::generic_category()};
}

/// A call that a signal may interrupt, as on a file system of a network.
template <typename Call>
auto Uninterrupted(Call call) {
    auto result = call();
    while (result < 0 && errno == EINTR) result = call();
    return result;
}

File Open(const std::string& path, int flags, mode_t mode = kReadWriteForAll) {
    const int descriptor =
        Uninterrupted([&] { return open(path.c_str(), flags | O_CLOEXEC | O_NOCTTY, mode); });
    return descriptor < 0 ? File::NotOpened(SystemError()) : File(descriptor);
}

/// Some files have nothing to bring to a disk, and some systems no way to do it.
bool KnowsNoSync(int reason) {
    return reason == EINVAL || reason == ENOTSUP || reason == ENOSYS || reason == EROFS;
}

FileIdentity IdentityIn(const struct stat& file) {
    return {static_cast<std::uint64_t>(file.st_dev), static_cast<std::uint64_t>(file.st_ino)};
}

bool IsWritable(const std::string& path) {
    return faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) == 0;
}

/// `target` with the suffix, cut short where a name may not be that long.
std::string WithSuffix(const std::string& target, const std::string& suffix) {
    constexpr std::size_t longest = 255;  // bytes, on the file systems in use
    const std::size_t begin = LastNameIn(target);
    const std::size_t room = longest - std::min(longest, suffix.size());
    return target.substr(0, begin + std::min(target.size() - begin, room)) + suffix;
}

}  // namespace

// ---- open files ----

bool File::Fail() {
    error = SystemError();
    return false;
}

std::ptrdiff_t File::Read(void* to, std::size_t count) {
    const auto result = Uninterrupted([&] { return read(system, to, count); });
    if (result < 0) Fail();
    return result;
}

bool File::Write(const void* from, std::size_t count) {
    const auto* next = static_cast<const char*>(from);
    while (count != 0) {
        const auto written = Uninterrupted([&] { return write(system, next, count); });
        if (written == 0) errno = EIO;
        if (written <= 0) return Fail();
        next += written;
        count -= static_cast<std::size_t>(written);
    }
    return true;
}

std::int64_t File::Seek(std::int64_t offset) {
    const auto position = lseek(system, static_cast<off_t>(offset), SEEK_SET);
    if (position < 0) Fail();
    return position;
}

std::int64_t File::SeekToEnd() {
    const auto position = lseek(system, 0, SEEK_END);
    if (position < 0) Fail();
    return position;
}

bool File::Truncate(std::uint64_t length) {
    const auto size = static_cast<off_t>(length);
    return Uninterrupted([&] { return ftruncate(system, size); }) == 0 || Fail();
}

bool File::Sync() {
    const bool done = Uninterrupted([&] { return fsync(system); }) == 0;
    return done || KnowsNoSync(errno) || Fail();
}

bool File::Close() {
    const int closing = std::exchange(system, kNoSystemFile);
    return closing < 0 || close(closing) == 0 || Fail();
}

bool File::IsRegular() const {
    struct stat file {};
    return fstat(system, &file) == 0 && S_ISREG(file.st_mode);
}

std::optional<std::uint64_t> File::Size() const {
    struct stat file {};
    if (fstat(system, &file) != 0) return std::nullopt;
    return static_cast<std::uint64_t>(file.st_size);
}

std::optional<FileIdentity> File::Identity() const {
    struct stat file {};
    if (fstat(system, &file) != 0) return std::nullopt;
    return IdentityIn(file);
}

// ---- opening ----

File OpenForReading(const std::string& path) {
    struct stat found {};
    if (stat(path.c_str(), &found) != 0) return File::NotOpened(SystemError());
    if (S_ISDIR(found.st_mode))
        return File::NotOpened(std::make_error_code(std::errc::is_a_directory));
    // A pipe would wait for its other end, and a device may do something when it is opened.
    const auto isNoFile = std::make_error_code(std::errc::invalid_argument);
    if (!S_ISREG(found.st_mode)) return File::NotOpened(isNoFile);
    File file = Open(path, O_RDONLY | O_NONBLOCK);
    if (file.IsOpen() && !file.IsRegular()) return File::NotOpened(isNoFile);
    return file;
}

Opened OpenForWriting(const std::string& path, bool append, bool /*textMode*/) {
    const int flags = O_WRONLY | (append ? O_APPEND : O_TRUNC);
    Opened opened{Open(path, flags)};
    if (opened.file.Error() != std::errc::no_such_file_or_directory) return opened;
    opened = {Open(path, flags | O_CREAT | O_EXCL), true};
    if (opened.file.Error() != std::errc::file_exists) return opened;
    // A link to nothing, whose target comes into being, or somebody was faster.
    struct stat link {};
    const bool isLink = lstat(path.c_str(), &link) == 0 && S_ISLNK(link.st_mode);
    return {Open(path, flags | O_CREAT), isLink};
}

File OpenExisting(const std::string& path) {
    return Open(path, O_WRONLY | O_NOFOLLOW | O_NONBLOCK);
}

std::error_code CreateExclusively(const std::string& path, std::string_view content, bool synced) {
    File file = Open(path, O_WRONLY | O_CREAT | O_EXCL);
    if (!file.IsOpen()) return file.Error();
    // Without content the name is all there is to it.
    if (content.empty()) return {};
    const bool stored =
        file.Write(content.data(), content.size()) && (!synced || file.Sync()) && file.Close();
    std::error_code failure = stored ? std::error_code() : file.Error();
    if (stored && synced) failure = SyncDirectoryOf(path);
    if (failure) unlink(path.c_str());
    return failure;
}

bool TakesNoFile(const std::error_code& reason) {
    constexpr std::errc final[] = {std::errc::permission_denied, std::errc::operation_not_permitted,
                                   std::errc::read_only_file_system, std::errc::filename_too_long,
                                   std::errc::file_exists};
    return std::any_of(std::begin(final), std::end(final),
                       [&reason](std::errc known) { return reason == known; });
}

Replacement CreateBeside(const std::string& target, bool /*textMode*/) {
    const auto inPlaceOrLater = [&target](const std::error_code& reason) {
        return Replacement{File::NotOpened(reason), TakesNoFile(reason) ? "" : target};
    };
    struct stat existing {};
    const bool exists = lstat(target.c_str(), &existing) == 0;
    if (!exists && errno != ENOENT) return inPlaceOrLater(SystemError());
    if (exists && (!S_ISREG(existing.st_mode) || existing.st_nlink != 1)) return {};
    if (exists && !IsWritable(target)) return inPlaceOrLater(SystemError());
    const Writer writer = Writer::ThisProcess();
    for (int number = 0;; ++number) {  // until a name is free
        std::string path = WithSuffix(target, ReplacementSuffix(writer, number));
        const mode_t mode = exists ? kReadWriteForOwner : kReadWriteForAll;
        File file = Open(path, O_WRONLY | O_CREAT | O_EXCL, mode);
        if (file.Error() == std::errc::file_exists) continue;
        if (!file.IsOpen()) return inPlaceOrLater(file.Error());
        try {
            if (!exists || TakeAttributes(target, file.System()).owned)
                return {std::move(file), std::move(path)};
        } catch (...) {  // out of memory
            unlink(path.c_str());
            throw;
        }
        unlink(path.c_str());
        return {};
    }
}

std::optional<FileIdentity> IdentityOf(const std::string& path) {
    struct stat file {};
    if (lstat(path.c_str(), &file) != 0) return std::nullopt;
    return IdentityIn(file);
}

File OpenDirectoryOf(const std::string& path) {
    return Open(DirectoryOf(path), O_RDONLY | O_DIRECTORY);
}

std::error_code SyncDirectoryOf(const std::string& path) {
    File directory = OpenDirectoryOf(path);
    // One that may be written, but not read, cannot be opened for it.
    if (!directory.IsOpen())
        return directory.Error() == std::errc::permission_denied ? std::error_code()
                                                                 : directory.Error();
    return directory.Sync() ? std::error_code() : directory.Error();
}

bool AppendText(const std::string& path, std::string_view text) {
    // Not waiting for the other end of a pipe.
    File file = Open(path, O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW | O_NONBLOCK);
    struct stat opened {};
    if (!file.IsOpen() || fstat(file.System(), &opened) != 0) return false;
    if (!S_ISREG(opened.st_mode) || opened.st_nlink != 1) return false;
    return file.Write(text.data(), text.size()) && file.Close();
}

// ---- processes ----

std::string HostName() {
    constexpr std::size_t longest = 255;
    char name[longest + 1] = {};
    return gethostname(name, longest) == 0 ? name : "";
}

std::string BootId() {
    File file = Open("/proc/sys/kernel/random/boot_id", O_RDONLY);
    char text[64] = {};
    if (!file.IsOpen() || file.Read(text, sizeof text - 1) <= 0) return {};
    const std::string id(text);
    return id.substr(0, id.find('\n'));
}

namespace {

std::atomic<std::uint32_t> forks{0};
// It fails only without memory, as the library is loaded; a child is then taken for its parent.
[[maybe_unused]] const int kForksAreCounted = pthread_atfork(nullptr, nullptr, [] { ++forks; });

}  // namespace

std::uint32_t ForksSoFar() {
    return forks.load(std::memory_order_relaxed);
}

void AdviseLargePages([[maybe_unused]] void* memory, [[maybe_unused]] std::size_t size) noexcept {
#ifdef MADV_HUGEPAGE
    madvise(memory, size, MADV_HUGEPAGE);  // refused: then the pages stay small
#endif
}

std::int64_t ProcessId() {
    return getpid();
}

std::optional<std::uint64_t> ProcessStart(std::int64_t process) {
    if (kill(static_cast<pid_t>(process), 0) != 0 && errno == ESRCH) return std::nullopt;
    File status = Open("/proc/" + std::to_string(process) + "/stat", O_RDONLY);
    char text[1024] = {};
    if (!status.IsOpen() || status.Read(text, sizeof text - 1) <= 0) return 0;
    // The second field is a name in brackets that may hold anything; then comes the state, and the
    // start is the 22nd.
    const std::string_view line(text);
    std::size_t at = line.rfind(')');
    if (at != std::string_view::npos && line.substr(at, 3) == ") Z") return std::nullopt;
    constexpr int fieldsAfterName = 20;
    for (int field = 0; field < fieldsAfterName && at != std::string_view::npos; ++field)
        at = line.find(' ', at + 1);
    if (at == std::string_view::npos) return 0;
    const auto start = line.substr(at + 1);
    return ParseDecimal(start.substr(0, start.find(' '))).value_or(0);
}

}  // namespace fieldstore::platform
