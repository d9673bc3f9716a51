// SPDX-License-Identifier: Apache-2.0
#include "tool/OutputFile.h"

#include <chrono>
#include <filesystem>
#include <iostream>
#include <optional>
#include <system_error>

#include "streams/FileAttributes.h"
#include "streams/FileNames.h"
#include "streams/Platform.h"
#include "tool/Error.h"
#include "tool/Progress.h"
#include "tool/SideFiles.h"
#include "tool/System.h"
#include "tool/Terminal.h"

namespace fieldstore::tool {
namespace fs = std::filesystem;
namespace {

bool IsStandardOutput(const std::string& name) {
    return name.empty() || name == "-";
}

}  // namespace

std::string NameBehindLinks(const std::string& path) {
    const std::string behind = platform::BehindLinks(path);
    return behind.empty() ? platform::WholePath(path) : behind;  // a link to nothing
}

OutputFile::OutputFile(const std::string& targetPath, bool mayReplace)
    : TemporaryFile(NameBehindLinks(targetPath) + kTemporarySuffix),
      target(NameBehindLinks(targetPath)),
      replace(mayReplace) {
    std::error_code none;
    const auto type = platform::TypeOf(target, platform::Links::Follow, none);
    const bool exists = type != fs::file_type::none && type != fs::file_type::not_found;
    if (exists && type != fs::file_type::regular)
        throw Error(target, "is not a file", "Give the name of a file to write.");
    // A link counts, even one to nothing, since someone may have planted it.
    const auto named = platform::TypeOf(targetPath, platform::Links::Keep, none);
    if (named != fs::file_type::none && named != fs::file_type::not_found && !replace)
        throw Error(targetPath, "exists already",
                    "Choose another name, or replace it with --force.");
    if (!exists) return;
    model = target;
    hadOtherNames = fs::hard_link_count(platform::PathOf(target), none) > 1;
}

/// What is written must survive a power cut before it takes the place of anything.
void OutputFile::BringToDisk() const {
    const Progress progress("Bringing " + Path() + " to the disk");
    if (Sync()) return;
    throw Error(Path(), "cannot be brought to the disk: " + File().Error().message(),
                "Make room or choose another place.");
}

void OutputFile::Publish(const std::function<void()>& lastLook) {
    std::vector<std::string> lost;
    if (model.empty())
        system::GiveUsualPermissions(File());
    else
        lost = platform::TakeAttributes(model, File().System()).lost;
    BringToDisk();
    RequireOwnName();
    if (lastLook) lastLook();
    const auto error =
        replace ? platform::Rename(Path(), target) : system::RenameToFreeName(Path(), target);
    if (error)
        throw Error(target, "cannot be replaced: " + error.message(), "Choose another name.");
    ForgetName();
    platform::SyncDirectoryOf(target);  // the name as well, where a directory can be synced
    if (hadOtherNames) lost.emplace_back("its other names keep the old content");
    for (const auto& line : lost) Say(target + ": " + line);
}

void RequireNotInput(const std::string& output, const std::vector<std::string>& inputs) {
    for (const auto& input : inputs) {
        std::error_code none;
        if (fs::equivalent(platform::PathOf(input), platform::PathOf(output), none))
            throw Error(output, "is the input as well", "Give another name for the output.");
    }
}

bool GoesToTerminal(const std::string& name) {
    return IsStandardOutput(name) && system::IsTerminal(system::Standard::Output);
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
