// SPDX-License-Identifier: Apache-2.0
#include "tool/OutputFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <optional>

#include "streams/FileAttributes.h"
#include "tool/Error.h"
#include "tool/Progress.h"
#include "tool/SideFiles.h"
#include "tool/Terminal.h"

namespace fieldstore::tool {
namespace fs = std::filesystem;
namespace {

std::string ReasonOf(int number) {
    return std::strerror(number);
}

std::string DirectoryOf(const std::string& path) {
    const auto parent = fs::path(path).parent_path().string();
    return parent.empty() ? "." : parent;
}

bool IsStandardOutput(const std::string& name) {
    return name.empty() || name == "-";
}

}  // namespace

std::string BehindLinks(const std::string& path) {
    std::error_code none;
    return fs::is_symlink(path, none) ? fs::weakly_canonical(path, none).string() : path;
}

OutputFile::OutputFile(const std::string& targetPath, bool mayReplace)
    : TemporaryFile(BehindLinks(targetPath) + kTemporarySuffix),
      target(BehindLinks(targetPath)),
      replace(mayReplace) {
    std::error_code none;
    const auto status = fs::status(target, none);
    if (fs::exists(status) && !fs::is_regular_file(status))
        throw Error(target, "is not a file", "Give the name of a file to write.");
    // A link counts, even one to nothing, since someone may have planted it.
    if (fs::exists(fs::symlink_status(targetPath, none)) && !replace)
        throw Error(targetPath, "exists already",
                    "Choose another name, or replace it with --force.");
    if (!fs::exists(status)) return;
    model = target;
    hadOtherNames = fs::hard_link_count(target, none) > 1;
}

/// What is written must survive a power cut before it takes the place of anything.
void OutputFile::BringToDisk() const {
    const Progress progress("Bringing " + Path() + " to the disk");
    if (fsync(Descriptor()) == 0) return;
    throw Error(Path(), "cannot be brought to the disk: " + ReasonOf(errno),
                "Make room or choose another place.");
}

bool OutputFile::Rename() const {
#ifdef RENAME_NOREPLACE
    // Not over what has come since; not every file system can do that.
    if (!replace) {
        const int result =
            renameat2(AT_FDCWD, Path().c_str(), AT_FDCWD, target.c_str(), RENAME_NOREPLACE);
        if (result == 0 || (errno != EINVAL && errno != ENOSYS)) return result == 0;
    }
#endif
    return std::rename(Path().c_str(), target.c_str()) == 0;
}

void OutputFile::Publish(const std::function<void()>& lastLook) {
    std::vector<std::string> lost;
    if (model.empty()) {
        constexpr mode_t readWrite = 0666;
        const mode_t mask = umask(0);
        umask(mask);
        fchmod(Descriptor(), readWrite & ~mask);
    } else {
        lost = platform::TakeAttributes(model, Descriptor()).lost;
    }
    BringToDisk();
    RequireOwnName();
    if (lastLook) lastLook();
    if (!Rename())
        throw Error(target, "cannot be replaced: " + ReasonOf(errno), "Choose another name.");
    ForgetName();
    // The name as well, where the file system can do that for a directory.
    if (const int directory = open(DirectoryOf(target).c_str(), O_RDONLY | O_CLOEXEC);
        directory >= 0) {
        fsync(directory);
        close(directory);
    }
    if (hadOtherNames) lost.emplace_back("its other names keep the old content");
    for (const auto& line : lost) Say(target + ": " + line);
}

void RequireNotInput(const std::string& output, const std::vector<std::string>& inputs) {
    for (const auto& input : inputs) {
        std::error_code none;
        if (fs::equivalent(input, output, none))
            throw Error(output, "is the input as well", "Give another name for the output.");
    }
}

bool GoesToTerminal(const std::string& name) {
    return IsStandardOutput(name) && isatty(STDOUT_FILENO) != 0;
}

void WriteTo(const std::string& name, bool replace,
             const std::function<void(std::ostream&)>& write) {
    std::optional<Progress::Silence> silence;
    if (GoesToTerminal(name)) silence.emplace();
    if (IsStandardOutput(name)) return write(std::cout);
    OutputFile output(name, replace);
    output.Fill(write);
    output.Publish();
}

}  // namespace fieldstore::tool
