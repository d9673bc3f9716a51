// SPDX-License-Identifier: Apache-2.0
#include "core/CommitGuard.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "core/Messages.h"
#include "streams/FileExists.h"
#include "streams/FileNames.h"
#include "streams/POStreamFileIO.h"

namespace fieldstore {
namespace fs = std::filesystem;
namespace {

std::uint64_t FileLength(const std::string& path) {
    return FileExists(path) ? FileSize(path) : 0;
}

/// What is there is a file, or something that has no end, as a device.
bool IsRegular(const std::string& path) {
    std::error_code error;
    const auto type = platform::TypeOf(path, platform::Links::Follow, error);
    if (type == fs::file_type::none) throw FileSystemError("status", path, error);
    return type == fs::file_type::regular;
}

}  // namespace

CommitGuard::CommitGuard(ObjectStorage& where, StoredBodies bodies)
    : storage(where), stored(std::move(bodies)) {}

CommitGuard::~CommitGuard() {
    POStreamFileIO* file = storage.File();
    const bool restored = !outputOpened || file == nullptr || file->AbandonOutput();
    if (restored) ClearMark();  // else the next writer has to look at what was left
    if (!lockHeld) return;
    try {
        storage.locker->Unlock();
    } catch (...) {
        // The commit fails with its first error; a marker that stays is seen by the next writer.
    }
}

void CommitGuard::TakeLock() {
    storage.locker->Lock();
    lockHeld = true;
}

void CommitGuard::PrepareAppend(Append append) {
    const bool isFile = storage.File() != nullptr;
    const std::string path = storage.Identifier();
    if (!isFile || (FileExists(path) && !IsRegular(path))) {
        if (append == Append::AllOrNothing) throw std::runtime_error(messages::kNoMark);
        return;
    }
    if (lockHeld) VouchForEnd(append);
    if (storage.stream->IsTextMode()) RequireEndedText();
}

void CommitGuard::VouchForEnd(Append append) {
    const std::string data = platform::WholePath(storage.Identifier());
    const auto places = storage.MarkPlaces();
    std::vector<std::string> left;    // by writers that died
    std::vector<std::string> usable;  // for the mark of this commit
    std::optional<AppendRecord> latest;
    for (const std::string& place : places) {
        const AppendMark found = AppendMark::At(place);
        const bool isOfData = found.CountsFor(data, place == places.front());
        if (isOfData) left.push_back(place);
        if (isOfData && (!latest || found.record.length > latest->length)) latest = found.record;
        if (isOfData || found.kind == AppendMark::Kind::Nothing) usable.push_back(place);
    }
    if (latest && latest->EndsData()) Cut(FileLength(storage.Identifier()), latest->length);
    const bool vouchedFor = left.empty() && usable.size() == places.size();
    if (!vouchedFor) CutTornTail(latest ? latest->length : AppendRecord::kUnknownLength);
    for (const std::string& place : left) RemoveMarkAt(place);
    const bool oneStep = append == Append::AllOrNothing;
    const auto length = FileLength(storage.Identifier());
    const bool marked = SetMark(
        usable, oneStep ? AppendRecord::OfOneStep(length, data) : AppendRecord::Now(length, data));
    if (!marked && oneStep) throw std::runtime_error(messages::kNoMark);
    if (!marked && vouchedFor) CutTornTail(AppendRecord::kUnknownLength);
}

void CommitGuard::CutTornTail(std::uint64_t lengthBefore) const {
    const std::string path = storage.Identifier();
    if (!FileExists(path)) return;
    const std::uint64_t length = FileLength(path);
    const std::uint64_t wholeEnd = stored.endOfWhole();
    // What stood before the append was whole; if it no longer is, something else happened to it.
    if (wholeEnd < length && wholeEnd < lengthBefore)
        throw std::runtime_error(messages::kDamagedBeforeAppend);
    Cut(length, wholeEnd);
}

/// The mark that told of the end goes next, and must not be gone before what it tells of is.
void CommitGuard::Cut(std::uint64_t length, std::uint64_t end) const {
    const std::string path = storage.Identifier();
    if (!FileExists(path)) return;
    auto [file, created] = platform::OpenForWriting(path, true, false);
    const bool cut = file.IsOpen() && (end >= length || file.Truncate(end));
    if (!cut || (storage.synced && !file.Sync())) throw FileSystemError("cut", path, file.Error());
    if (end >= length) return;
    stored.log("A commit ended halfway; cut bytes " + std::to_string(end) + " to " +
               std::to_string(length) + " after the last whole body.");
}

/// Returns whether there was a place for it.
bool CommitGuard::SetMark(const std::vector<std::string>& places, const AppendRecord& record) {
    for (const std::string& place : places) {
        const auto error = platform::CreateExclusively(place, record.Text(), storage.synced);
        if (error && !platform::TakesNoFile(error)) throw FileSystemError("mark", place, error);
        if (error) continue;
        mark = Mark{place, platform::IdentityOf(place)};
        return true;
    }
    return false;
}

/// Raises when it may come back: what follows its length would then be taken for worth nothing.
void CommitGuard::RemoveMarkAt(const std::string& path) const {
    RemoveFile(path);
    const auto error = storage.synced ? platform::SyncDirectoryOf(path) : std::error_code();
    if (error) throw FileSystemError("sync", path, error);
}

/// After a failure: a mark that stays costs the next commit a look through the data.
void CommitGuard::ClearMark() noexcept {
    if (mark && platform::IdentityOf(mark->path) == mark->identity) platform::Remove(mark->path);
    mark.reset();
}

/// Digits that are appended to a number without a separator would make another number of it.
void CommitGuard::RequireEndedText() const {
    const std::string path = storage.Identifier();
    if (!FileExists(path)) return;
    auto file = platform::OpenForReading(path);
    const auto length = file.IsOpen() ? file.SeekToEnd() : -1;
    if (length == 0) return;
    char last = '\0';
    if (length < 0 || file.Seek(length - 1) < 0 || file.Read(&last, 1) != 1)
        throw FileSystemError("read", path, file.Error());
    const bool isSpace = last == ' ' || (last >= '\t' && last <= '\r');
    if (!isSpace) throw std::runtime_error(messages::kDamagedBeforeAppend);
}

void CommitGuard::OpenOutput(bool append) {
    if (POStreamFileIO* file = storage.File()) file->SyncWhenClosed(storage.synced);
    outputOpened = true;
    storage.Require().OpenOutput(append ? 1 : 0);
}

void CommitGuard::Finish() {
    storage.Require().CloseOutput();
    if (mark) RemoveMarkAt(mark->path);
    mark.reset();
    if (storage.locker) storage.locker->Unlock();
    lockHeld = false;
    outputOpened = false;
}

}  // namespace fieldstore
