// SPDX-License-Identifier: Apache-2.0
#include "streams/POStreamFileIO.h"

#include <algorithm>
#include <istream>
#include <stdexcept>
#include <utility>

#include "streams/ContainerEncoding.h"
#include "streams/FileExists.h"
#include "streams/FileNames.h"
#include "streams/FileStreams.h"
#include "streams/Limits.h"
#include "streams/MemoryBuffer.h"
#include "streams/Platform.h"
#include "streams/RetryPause.h"
#include "streams/StopRequest.h"
#include "streams/StreamErrors.h"
#include "streams/StreamMessages.h"

using namespace fieldstore;

POStreamFileIO::POStreamFileIO(bool inTextMode, const std::string& fileName,
                               OutputCloser closeCallback)
    : POStreamIO(inTextMode, fileName, std::move(closeCallback)) {}

POStreamFileIO::POStreamFileIO(bool inTextMode, const std::string& fileName,
                               InputPreparer readCallback)
    : POStreamIO(inTextMode, fileName, std::move(readCallback)) {
    CloseCallback = &POStreamFileIO::CloseOutputFile;
}

void POStreamFileIO::CloseOutputFile(const std::string&, std::ostream* stream) {
    auto* file = dynamic_cast<OutputFileStream*>(stream);  // a placeholder is not a file
    if (file != nullptr && !file->Buffer().Close()) file->setstate(std::ios::failbit);
}

void POStreamFileIO::Open(EDirection direction, int mode) {
    if (direction == eRead) memory ? OpenMemory() : OpenForReading();
    if (direction == eWrite) OpenForWriting(mode == 1);
}

void POStreamFileIO::OpenForReading() {
    ReadCallback(identifier);
    auto opened = platform::OpenForReading(identifier);
    systemError = opened.Error();
    std::uint64_t length = opened.IsOpen() ? opened.Size().value_or(0) : 0;
    if (inputEnd) length = std::min(length, *inputEnd);
    try {
        auto file = std::make_shared<InputFileStream>(std::move(opened));
        if (inputEnd) file->Buffer().EndAt(*inputEnd);
        SetInput(std::move(file), length);
    } catch (const std::bad_alloc&) {
        throw InputNotOpened(identifier);
    }
}

void POStreamFileIO::OpenMemory() {
    class MemoryStream final : public std::istream {
    public:
        explicit MemoryStream(Span<const char> bytes) : std::istream(nullptr), buffer(bytes) {
            rdbuf(&buffer);
            std::istream::imbue(std::locale::classic());
        }

    private:
        MemoryBuffer buffer;
    };
    SetInput(std::make_shared<MemoryStream>(*memory), memory->size());
}

void POStreamFileIO::OpenForWriting(bool append) {
    target.reset();  // until the file is open there is nothing to go back to
    platform::File file = TryToOpen(append);
    for (int attempt = 1; !file.IsOpen(); ++attempt) {
        systemError = file.Error();
        if (attempt == kOpenAttempts)
            throw FileError(messages::kOutputNotOpened, identifier, systemError);
        Pause(kOpenPause);
        StopIfRequested();
        file = TryToOpen(append);
    }
    StartOutput(std::move(file));
    if (append) Output()->seekp(0, std::ios::end);
}

void POStreamFileIO::OpenOutputOn(platform::File file) {
    target = Target{};
    target->path = identifier;
    StartOutput(std::move(file));
}

void POStreamFileIO::StartOutput(platform::File file) {
    target->identity = file.Identity();
    SetOutput(std::make_shared<OutputFileStream>(std::move(file)));
    RaiseWhenWritingFails();
}

/// At once, not at the check of the next write.
void POStreamFileIO::RaiseWhenWritingFails() {
    Output()->exceptions(std::ios::badbit | std::ios::failbit | std::ios::eofbit);
}

void POStreamFileIO::OpenOutputInto(std::shared_ptr<std::ostream> stream) {
    target.reset();
    SetOutput(std::move(stream));
    RaiseWhenWritingFails();
}

platform::File POStreamFileIO::TryToOpen(bool append) {
    std::string path = platform::BehindLinks(identifier);
    if (append || !replacesWhenClosed || path.empty()) return OpenInPlace(append);
    const bool isNew = !platform::IdentityOf(path);
    auto [file, replacement] = platform::CreateBeside(path, IsTextMode());
    if (replacement.empty()) return OpenInPlace(append);
    if (file.IsOpen()) target = Target{{}, std::move(path), std::move(replacement), isNew, {}};
    return std::move(file);
}

platform::File POStreamFileIO::OpenInPlace(bool append) {
    // Known before the file is there, so that it is undone when the memory does not suffice.
    Target opening{{}, platform::BehindLinks(identifier), "", false, {}};
    const bool isLinkToNothing = opening.path.empty();
    if (isLinkToNothing) opening.path = identifier;
    auto [file, created] = platform::OpenForWriting(identifier, append, IsTextMode());
    if (!file.IsOpen()) return std::move(file);
    opening.created = created;
    opening.identity = file.Identity();
    target = std::move(opening);
    if (isLinkToNothing) target->path = platform::BehindLinks(identifier);
    if (append && file.IsRegular()) target->length = file.Size();
    return std::move(file);
}

void POStreamFileIO::Close() {
    class ReleaseSide {
    public:
        explicit ReleaseSide(POStreamFileIO& owner) : stream(owner) {}
        ~ReleaseSide() {
            stream.NoteSystemError();
            stream.POStreamIO::Close();
        }
        ReleaseSide(const ReleaseSide&) = delete;
        ReleaseSide& operator=(const ReleaseSide&) = delete;

    private:
        POStreamFileIO& stream;
    };
    const ReleaseSide releaseWhateverHappens(*this);

    if (IsWriting()) {
        BringToDisk();
        CloseCallback(identifier, Output().get());
        PutReplacementInPlace();
    }
    if (auto* file = dynamic_cast<InputFileStream*>(Input().get())) file->Buffer().Close();
}

void POStreamFileIO::NoteSystemError() noexcept {
    if (auto* file = dynamic_cast<InputFileStream*>(Input().get()); file && file->File().Error())
        systemError = file->File().Error();
    if (auto* file = dynamic_cast<OutputFileStream*>(Output().get()); file && file->File().Error())
        systemError = file->File().Error();
}

void POStreamFileIO::BringToDisk() {
    auto* file = dynamic_cast<OutputFileStream*>(Output().get());
    if (!syncsWhenClosed || file == nullptr || !file->Buffer().IsOpen()) return;
    if (!file->Buffer().Sync()) file->setstate(std::ios::badbit);
    if (target->created && target->replacement.empty()) BringNameToDisk();
}

/// The name of a new file, which its own content does not bring along.
void POStreamFileIO::BringNameToDisk() {
    const auto error = platform::SyncDirectoryOf(target->path);
    if (error) throw FileSystemError("sync", target->path, error);
}

void POStreamFileIO::PutReplacementInPlace() {
    if (!target || target->replacement.empty()) return;
    // Where others may write to the directory, another file can have taken the name.
    if (!target->identity || platform::IdentityOf(target->replacement) != target->identity)
        throw FileError(messages::kReplacementExchanged, target->replacement, {});
    // Opened first: after the renaming nothing may fail for want of memory.
    auto directory = syncsWhenClosed ? platform::OpenDirectoryOf(target->path) : platform::File();
    Rename(target->replacement, target->path);
    target->replacement.clear();
    if (directory.IsOpen() && !directory.Sync())
        throw FileSystemError("sync", target->path, directory.Error());
}

/// Waits for readers that keep the old file to themselves, as a removal does.
void POStreamFileIO::Rename(const std::string& from, const std::string& to) const {
    auto error = platform::Rename(from, to);
    for (int attempt = 1; platform::IsInUse(error) && attempt < retryCount; ++attempt) {
        Pause(PauseFromSeconds(retryInterval));
        error = platform::Rename(from, to);
    }
    if (error) throw FileSystemError("rename", from, error);
}

bool POStreamFileIO::AbandonOutput() noexcept {
    try {
        NoteSystemError();
        const bool restored = !target || TakeBack();
        target.reset();
        if (auto* file = dynamic_cast<OutputFileStream*>(Output().get())) {
            file->exceptions(std::ios::goodbit);
            file->Buffer().Drop();
            SetOutput(nullptr);
        }
        return restored;
    } catch (const std::exception&) {
        return false;  // the commit has failed already and says why
    }
}

bool POStreamFileIO::TakeBack() {
    if (!target->replacement.empty()) return RemoveIfOpened(target->replacement);
    if (target->created && RemoveIfOpened(target->path)) return true;
    const auto length = target->created ? std::uint64_t{0} : target->length;
    if (!length) return false;
    auto* open = dynamic_cast<OutputFileStream*>(Output().get());
    if (open != nullptr && open->File().IsOpen()) return open->File().Truncate(*length);
    platform::File file = platform::OpenExisting(target->path);
    return target->identity && file.Identity() == target->identity && file.Truncate(*length);
}

/// Removes a file unless it is known to be another one than was opened.
bool POStreamFileIO::RemoveIfOpened(const std::string& path) const {
    const auto now = platform::IdentityOf(path);
    const bool isOther = now && target->identity && *now != *target->identity;
    return !isOther && !platform::Remove(path);
}

bool POStreamFileIO::TryDestroy() const {
    try {
        if (identifier.empty()) throw std::runtime_error(messages::kNoIdentifier);
        return !FileExists(identifier) || RemoveFile(identifier);
    } catch (const std::exception&) {
        return false;  // counts as a failed attempt
    }
}

void POStreamFileIO::Destroy() {
    for (int attempt = 0; attempt < retryCount; ++attempt) {
        if (TryDestroy()) return;
        Pause(PauseFromSeconds(retryInterval));
    }
    if (Exists()) throw std::runtime_error(messages::kNotDestroyed);
}

bool POStreamFileIO::Exists() {
    return FileExists(identifier);
}

// Neither positioning makes the read check: both work at the end of the input.
void POStreamFileIO::Seek(std::uint64_t position) {
    const std::streampos place(static_cast<std::streamoff>(position));
    if (Input() && Input()->rdbuf())
        Input()->seekg(place);
    else if (Output() && Output()->rdbuf())
        Output()->seekp(place);
    else
        throw std::runtime_error(messages::kNoStreamOpen);
}

std::uint64_t POStreamFileIO::Tell() {
    const auto offset = [](std::streambuf& buffer, std::ios::openmode side) {
        return static_cast<std::uint64_t>(
            static_cast<std::streamoff>(buffer.pubseekoff(0, std::ios::cur, side)));
    };
    if (Input() && Input()->rdbuf()) return offset(*Input()->rdbuf(), std::ios::in);
    if (Output() && Output()->rdbuf()) return offset(*Output()->rdbuf(), std::ios::out);
    throw std::runtime_error(messages::kNoStreamOpen);
}

#define FIELDSTORE_STREAM_CLASS POStreamFileIO
FIELDSTORE_CONTAINER_TYPES(FIELDSTORE_DEFINE_SEQUENCE, FIELDSTORE_DEFINE_PAIR)
#undef FIELDSTORE_STREAM_CLASS
