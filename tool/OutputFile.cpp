// SPDX-License-Identifier: Apache-2.0
#include "tool/OutputFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <locale>
#include <optional>

#include "tool/Error.h"
#include "tool/Progress.h"
#include "tool/SideFiles.h"

namespace fieldstore::tool {
namespace fs = std::filesystem;
namespace {

std::string ReasonOf(int number) {
    return std::strerror(number);
}

/// What is written must survive a power cut before it takes the place of anything.
void BringToDisk(const std::string& path) {
    const Progress progress("Bringing " + path + " to the disk");
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    const bool done = file >= 0 && fsync(file) == 0;
    const int reason = errno;
    if (file >= 0) close(file);
    if (!done)
        throw Error(path, "cannot be brought to the disk: " + ReasonOf(reason),
                    "Make room or choose another place.");
}

std::string DirectoryOf(const std::string& path) {
    const auto parent = fs::path(path).parent_path().string();
    return parent.empty() ? "." : parent;
}

/// The name behind links, so that a renaming replaces the file and not the link to it.
std::string BehindLinks(const std::string& path) {
    std::error_code none;
    return fs::is_symlink(path, none) ? fs::weakly_canonical(path, none).string() : path;
}

bool IsStandardOutput(const std::string& name) {
    return name.empty() || name == "-";
}

}  // namespace

TemporaryFile::TemporaryFile(const std::string& prefix) : path(prefix + "XXXXXX") {
    const HeldSignals untilNamed;
    const int file = mkstemp(path.data());
    if (file < 0)
        throw Error(DirectoryOf(prefix), "no file can be made there: " + ReasonOf(errno),
                    "Create the directory, or choose one that you may write to.");
    close(file);
    removal.emplace(path);
}

TemporaryFile::~TemporaryFile() {
    if (!path.empty()) unlink(path.c_str());
}

void TemporaryFile::Remove() {
    if (unlink(path.c_str()) != 0 && unlink(path.c_str()) != 0)
        throw Error(path, "the temporary file cannot be removed: " + ReasonOf(errno),
                    "Remove it by hand.");
    removal.reset();
    path.clear();
}

OutputFile::OutputFile(const std::string& targetPath, bool replace)
    : TemporaryFile(BehindLinks(targetPath) + kTemporarySuffix), target(BehindLinks(targetPath)) {
    std::error_code none;
    const auto status = fs::status(target, none);
    if (fs::exists(status) && !fs::is_regular_file(status))
        throw Error(target, "is not a file", "Give the name of a file to write.");
    if (fs::exists(status) && !replace)
        throw Error(target, "exists already", "Choose another name, or replace it with --force.");
    const mode_t mask = umask(0);
    umask(mask);
    constexpr mode_t readWrite = 0666;
    const auto mode =
        fs::exists(status) ? static_cast<mode_t>(status.permissions()) & 07777U : readWrite & ~mask;
    chmod(Path().c_str(), mode);
}

void OutputFile::Fill(const std::function<void(std::ostream&)>& write) const {
    std::ofstream file(Path(), std::ios::binary | std::ios::trunc);
    file.imbue(std::locale::classic());
    write(file);
    file.close();
    if (!file)
        throw Error(target, "cannot be written whole: " + ReasonOf(errno),
                    "Make room or choose another place.");
}

void OutputFile::Publish() {
    BringToDisk(Path());
    if (std::rename(Path().c_str(), target.c_str()) != 0)
        throw Error(target, "cannot be replaced: " + ReasonOf(errno), "Choose another name.");
    removal.reset();
    path.clear();
    // The name as well, where the file system can do that for a directory.
    if (const int directory = open(DirectoryOf(target).c_str(), O_RDONLY | O_CLOEXEC);
        directory >= 0) {
        fsync(directory);
        close(directory);
    }
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
