// SPDX-License-Identifier: Apache-2.0
#include "tool/TemporaryFile.h"

#include <system_error>
#include <utility>

#include "streams/FileNames.h"
#include "streams/FileStreams.h"
#include "tool/Error.h"
#include "tool/System.h"

namespace fieldstore::tool {
namespace {

[[noreturn]] void RaiseExchanged(const std::string& path) {
    throw Error(path, "someone has put another file in the place of this temporary one",
                "Write into a directory that only you can change.");
}

}  // namespace

TemporaryFile::TemporaryFile(const std::string& prefix) {
    const HeldSignals untilNamed;
    file = system::CreateTemporary(prefix, path);
    if (!file.IsOpen())
        throw Error(platform::DirectoryOf(prefix),
                    "no file can be made there: " + file.Error().message(),
                    "Create the directory, or choose one that you may write to.");
    removal.emplace(path);
}

TemporaryFile::~TemporaryFile() {
    if (!path.empty()) platform::Remove(path);
}

platform::File TemporaryFile::OpenEmptied() const {
    platform::File again = system::Duplicate(file);
    if (!again.IsOpen() || !again.Truncate(0) || again.Seek(0) != 0)
        throw Error(path, "cannot be opened: " + again.Error().message(),
                    "Close other programs, or raise the limit of open files.");
    return again;
}

void TemporaryFile::Fill(const std::function<void(std::ostream&)>& write) const {
    OutputFileStream output(OpenEmptied());
    write(output);
    const bool closed = output.Buffer().Close();
    if (!closed || !output)
        throw Error(path, "cannot be written whole: " + output.File().Error().message(),
                    "Make room or choose another place.");
    file.Seek(0);  // where progress looks when the file is read back
}

void TemporaryFile::TakeReplacement() {
    platform::File next = system::OpenOwn(path);
    if (!next.IsOpen()) RaiseExchanged(path);
    file = std::move(next);
}

void TemporaryFile::RequireOwnName() const {
    const auto named = platform::IdentityOf(path);
    if (!named || named != file.Identity()) RaiseExchanged(path);
}

void TemporaryFile::ForgetName() {
    removal.reset();
    path.clear();
}

void TemporaryFile::Remove() {
    std::error_code error = platform::Remove(path);
    if (error) error = platform::Remove(path);
    if (error)
        throw Error(path, "the temporary file cannot be removed: " + error.message(),
                    "Remove it by hand.");
    ForgetName();
}

}  // namespace fieldstore::tool
