// SPDX-License-Identifier: Apache-2.0
#include "tool/TemporaryFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "streams/FileStreams.h"
#include "tool/Error.h"

namespace fieldstore::tool {
namespace fs = std::filesystem;
namespace {

[[noreturn]] void RaiseExchanged(const std::string& path) {
    throw Error(path, "someone has put another file in the place of this temporary one",
                "Write into a directory that only you can change.");
}

}  // namespace

TemporaryFile::TemporaryFile(const std::string& prefix) : path(prefix + "XXXXXX") {
    const HeldSignals untilNamed;
    descriptor = mkostemp(path.data(), O_CLOEXEC);
    if (descriptor < 0) {
        const int reason = errno;
        const auto parent = fs::path(prefix).parent_path().string();
        throw Error(parent.empty() ? "." : parent,
                    std::string("no file can be made there: ") + std::strerror(reason),
                    "Create the directory, or choose one that you may write to.");
    }
    removal.emplace(path);
}

TemporaryFile::~TemporaryFile() {
    if (!path.empty()) unlink(path.c_str());
    close(descriptor);
}

platform::File TemporaryFile::OpenEmptied() const {
    platform::File file(fcntl(descriptor, F_DUPFD_CLOEXEC, 0));
    if (!file.IsOpen() || !file.Truncate(0) || file.Seek(0) != 0)
        throw Error(path, std::string("cannot be opened: ") + std::strerror(errno),
                    "Close other programs, or raise the limit of open files.");
    return file;
}

void TemporaryFile::Fill(const std::function<void(std::ostream&)>& write) const {
    OutputFileStream file(OpenEmptied());
    write(file);
    const bool closed = file.Buffer().Close();
    if (!closed || !file)
        throw Error(path, "cannot be written whole: " + file.File().Error().message(),
                    "Make room or choose another place.");
    lseek(descriptor, 0, SEEK_SET);  // where progress looks when the file is read back
}

void TemporaryFile::TakeReplacement() {
    const int next = open(path.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    struct stat info {};
    const bool own = next >= 0 && fstat(next, &info) == 0 && S_ISREG(info.st_mode) &&
                     info.st_uid == geteuid() && info.st_nlink == 1;
    if (own) {
        close(descriptor);
        descriptor = next;
        return;
    }
    if (next >= 0) close(next);
    RaiseExchanged(path);
}

void TemporaryFile::RequireOwnName() const {
    struct stat named {
    }, made{};
    const bool same = lstat(path.c_str(), &named) == 0 && fstat(descriptor, &made) == 0 &&
                      named.st_dev == made.st_dev && named.st_ino == made.st_ino;
    if (!same) RaiseExchanged(path);
}

void TemporaryFile::ForgetName() {
    removal.reset();
    path.clear();
}

void TemporaryFile::Remove() {
    if (unlink(path.c_str()) != 0 && unlink(path.c_str()) != 0)
        throw Error(path,
                    std::string("the temporary file cannot be removed: ") + std::strerror(errno),
                    "Remove it by hand.");
    ForgetName();
}

}  // namespace fieldstore::tool
