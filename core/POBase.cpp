// SPDX-License-Identifier: Apache-2.0
#include "core/POBase.h"

#include <cstddef>
#include <exception>
#include <locale>
#include <ostream>
#include <stdexcept>
#include <system_error>
#include <utility>
#include <vector>

#include "core/BodyScan.h"
#include "core/Failure.h"
#include "core/FlagScope.h"
#include "core/Messages.h"
#include "core/StreamInPlace.h"
#include "streams/FileNames.h"
#include "streams/POStreamFileIO.h"
#include "streams/SinkBuffer.h"
#include "streams/StreamErrors.h"

using namespace fieldstore;

POBase::WriteLayout::WriteLayout(POBase& owner, std::uint32_t format) : object(owner) {
    object.writeFormat = format;
    object.fieldSeparator = " ";
    object.lineTerminator = "\n";
}

POBase::WriteLayout::~WriteLayout() {
    object.writeFormat = kDefaultFormat;
}

POBase::POBase(const ClassTraits& classTraits)
    : persistFlags(classTraits.persistFlags), traits(classTraits) {
    storage.fileName = classTraits.fileName;
}

template <typename Action>
int POBase::Attempt(const char* doing, Action action) {
    try {
        action();
        lastError.clear();
        return kSuccess;
    } catch (...) {
        return NoteFailure(doing);
    }
}

/// For the error that is being handled.
int POBase::NoteFailure(const char* doing) noexcept {
    const auto error = std::current_exception();
    const POStreamFileIO* file = storage.File();
    try {
        lastError = SentenceOf(error, doing, storage.Identifier(),
                               file != nullptr ? file->SystemError() : std::error_code());
    } catch (...) {
        lastError = "Out of memory.";  // short enough to need none
    }
    return ResultOf(error);
}

// ---- storage ----

int POBase::SetLockDirectory(const std::string& newDirectory) {
    storage.lockDirectory = newDirectory;
    return kSuccess;
}

int POBase::SetFileName(const std::string& name) {
    storage.fileName = name;
    return kSuccess;
}

int POBase::SetDirectory(const std::string& newDirectory) {
    storage.directory = newDirectory;
    return kSuccess;
}

int POBase::SetVersion(const std::string& text) {
    version.SetText(text);
    return kSuccess;
}

int POBase::SetDurability(EDurability durability) {
    if (durability != eSynced && durability != eUnsynced) return kFailure;
    storage.synced = durability == eSynced;
    return kSuccess;
}

int POBase::GetStorageType(int direction) {
    return direction == IStreamer::eRead ? traits.readType : traits.writeType;
}

bool POBase::UseLocking() {
    constexpr auto both = kLockable | kAppend;
    return (persistFlags & both) == both;
}

int POBase::CreateStorageInterface(EStorageType type, bool withLock) {
    return Attempt("Cannot build storage on", [&] {
        int resolved = type;
        if (type == eReadDefault) resolved = GetStorageType(IStreamer::eRead);
        if (type == eWriteDefault) resolved = GetStorageType(IStreamer::eWrite);
        storage.Create(resolved, withLock);
    });
}

int POBase::DeleteStorage() {
    if (!storage.stream || storage.stream->GetIdentifier().empty()) {
        const auto type = static_cast<EStorageType>(GetStorageType(IStreamer::eWrite));
        const int result = CreateStorageInterface(type, UseLocking());
        if (result != kSuccess) return result;
    }
    try {
        POStreamIO& stored = RequireStream();
        stored.Close();
        stored.Destroy();
        storage.RemoveMarks();
        if (storage.locker) storage.locker->UnlockIfLocked();
    } catch (...) {
        NoteFailure("Cannot delete");
        throw;
    }
    storage.Drop();
    ClearData();
    lastError.clear();
    return kSuccess;
}

// ---- writing ----

int POBase::Commit(bool force) {
    const int result = Attempt("Cannot store", [&] { CommitOrThrow(force); });
    return result == kSuccess ? kSuccess : kFailure;
}

void POBase::CommitOrThrow(bool force) {
    if (!modified && !force) return;
    if (!ValidateData()) throw std::runtime_error(messages::kInvalidData);
    WriteGuarded([this] {
        BeginWrite();
        SerializeData(IStreamer::eWrite);
        EndWrite();
    });
}

template <typename Write>
void POBase::WriteGuarded(Write write) {
    const UnsavedChanges before = modified;
    const StoredBodies bodies{[this] { return BodyScan(*this).EndOfWhole(); },
                              [this](const std::string& message) { LogError(message); }};
    try {
        guard.emplace(storage, bodies);
        write();
        guard.reset();
    } catch (...) {
        guard.reset();
        modified = before;
        throw;
    }
}

void POBase::BeginWrite() {
    try {
        MergeStoredData();
        POStreamIO& output = RequireStream();
        if (output.IsReading()) output.Close();
        CheckBeforeWrite();
        TakeLock();
        const bool append = (persistFlags & kAppend) != 0;
        if (append) guard->PrepareAppend(CommitGuard::Append::WholeBodies);
        guard->OpenOutput(append);
        WriteVersion();
    } catch (const std::exception&) {
        throw;
    } catch (...) {
        throw std::runtime_error(messages::kUnknownOpenError);
    }
}

void POBase::TakeLock() {
    if (!storage.locker) return;
    OnLock(storage.locker);
    guard->TakeLock();
}

void POBase::MergeStoredData() {
    constexpr auto merging = kLockable | kKeepOnRead;
    if ((persistFlags & (merging | kAppend)) != merging) return;
    try {
        ReadPass();
    } catch (const InputNotOpened&) {
        // Nothing is stored yet.
    }
}

void POBase::SkipBody() {
    throw std::logic_error(std::string(traits.name) + " appends bodies, but cannot skip one.");
}

void POBase::CheckBeforeWrite() {
    const bool textMode = RequireStream().IsTextMode();
    if (traits.versionLine && !version.IsWritable(textMode, lineTerminator.front()))
        throw std::runtime_error(messages::kUnwritableVersion);
}

void POBase::OnLock(std::shared_ptr<ILocker> /*lockToTake*/) {}  // NOLINT: a copy for the hook

void POBase::EndWrite() {
    try {
        RequireGoodStream();
        modified = false;
        guard->Finish();
    } catch (const std::exception&) {
        throw;
    } catch (...) {
        throw std::runtime_error(messages::kUnknownCloseError);
    }
}

// ---- bytes ----

IPOStorageControl::StorageState POBase::GetStorageState() {
    StorageState state;
    state.className = traits.name;
    state.path = platform::AbsoluteName(storage.Identifier());
    state.appends = (persistFlags & kAppend) != 0;
    state.text = storage.stream ? storage.stream->IsTextMode()
                                : GetStorageType(IStreamer::eWrite) == eWriteText;
    state.locked = storage.locker != nullptr;
    state.synced = storage.synced;
    state.changed = modified;
    return state;
}

int POBase::WriteBytes(EBytes which, bool text, const ByteSink& sink) {
    const int result =
        Attempt("Cannot give the bytes for", [&] { WriteBytesOrThrow(which, text, sink); });
    return result == kSuccess ? kSuccess : kFailure;
}

void POBase::WriteBytesOrThrow(EBytes which, bool text, const ByteSink& sink) {
    if (which != eStart && which != eBody && which != eWhole)
        throw std::runtime_error(messages::kUnknownBytes);
    if (!ValidateData()) throw std::runtime_error(messages::kInvalidData);
    auto output = std::make_shared<POStreamFileIO>(
        text, storage.Identifier(), POStreamIO::OutputCloser(&POStreamFileIO::CloseOutputFile));
    SinkBuffer buffer(sink, 0);
    const auto stream = std::make_shared<std::ostream>(&buffer);
    stream->imbue(std::locale::classic());
    output->OpenOutputInto(stream);
    const StreamInPlace inPlace(storage.stream, std::move(output));
    CheckBeforeWrite();
    if (which != eBody) WriteVersion();
    if (which != eStart) SerializeData(IStreamer::eWrite);
    RequireGoodStream();
    stream->flush();
}

int POBase::AppendBytes(const AppendWriter& write) {
    const int result =
        Attempt("Cannot store", [&] { WriteGuarded([&] { AppendOrThrow(write); }); });
    return result == kSuccess ? kSuccess : kFailure;
}

void POBase::AppendOrThrow(const AppendWriter& write) {
    if ((persistFlags & kAppend) == 0) throw std::runtime_error(messages::kReplacesFile);
    POStreamIO& output = RequireStream();
    if (!storage.locker) throw std::runtime_error(messages::kNeedsLock);
    if (output.IsReading()) output.Close();
    TakeLock();
    guard->PrepareAppend(CommitGuard::Append::AllOrNothing);
    guard->OpenOutput(true);
    const auto append = [&output](const char* bytes, std::size_t count) {
        output.WriteRaw(bytes, count);
        return true;
    };
    const std::string reason = write(output.Tell(), append);
    if (!reason.empty()) throw std::runtime_error(reason);
    RequireGoodStream();
    guard->Finish();
}

int POBase::ReadBytes(bool text, const char* bytes, std::uint64_t count) {
    return Attempt("Cannot read the bytes for", [&] {
        const StreamInPlace kept(storage.stream, storage.stream);
        LoadOrThrow([&] {
            auto input =
                ObjectStorage::MakeStream(text ? eReadText : eReadBinary, storage.Identifier());
            auto& file = static_cast<POStreamFileIO&>(*input);
            file.ReadMemory({bytes, static_cast<std::size_t>(count)});
            storage.stream = std::move(input);
        });
    });
}

// ---- reading ----

int POBase::Load() {
    return Attempt("Cannot load", [this] { LoadOrThrow([] {}); });
}

template <typename Prepare>
void POBase::LoadOrThrow(Prepare prepare) {
    versionTaken = false;
    prepare();
    try {
        ReadPass();
    } catch (...) {
        if (!versionTaken) throw;
        // The line may have been the beginning of a body after all.
        const FlagScope withoutVersion(ignoreVersion);
        prepare();
        ReadPass();
    }
}

void POBase::ReadPass() {
    try {
        BeginRead();
        const bool carriesData = storage.stream->IsGood();  // a data-service stream never is
        SerializeData(IStreamer::eRead);
        if (carriesData) RequireIntactBody();
        EndRead();
    } catch (...) {
        if (storage.stream && storage.stream->IsReading()) storage.stream->CloseInput();
        throw;
    }
    if (!ValidateData()) throw std::runtime_error(messages::kInvalidData);
    modified = false;
}

int POBase::LoadFile(const std::string& name) {
    SetDirectory("");
    SetFileName(name);
    ClearData();
    modified = false;  // an emptied object has nothing that could be missed
    if (CreateStorageInterface(eReadDefault, false) != kSuccess)
        throw std::runtime_error(messages::kNoStorageInterface);
    Load();  // a file that is missing or damaged leaves the object empty, and that is an answer
    return kSuccess;
}

void POBase::BeginRead() {
    if (!storage.stream || !storage.stream->IsReading()) {
        if (CreateStorageInterface(eReadDefault, false) != kSuccess)
            throw std::runtime_error(messages::kNoStorageStream);
    }
    if ((persistFlags & kKeepOnRead) == 0) ClearData();
    modified = false;  // half-read data must never be written over a file
    OpenInput();
    ReadVersion();
}

void POBase::OpenInput() {
    storage.OpenInput((persistFlags & kAppend) != 0);
}

void POBase::EndRead() {
    RequireStream();
    modified = false;
    storage.stream->CloseInput();
}

bool POBase::HasAnotherBody() {
    POStreamIO& input = RequireStream();
    // What is left after the last text value is its separator, not a body.
    if (input.IsTextMode()) input.SkipWhiteSpace();
    return input.IsValid();
}

void POBase::RequireIntactBody() {
    // A value that was cut short shows only here: the read that met the end raised nothing.
    const POStreamIO& input = RequireGoodStream();
    // A number that touches the end may have lost digits.
    if (input.NumberMetEnd()) throw std::runtime_error(messages::kBadStream);
}

// ---- version line ----

void POBase::ReadVersion() {
    if (!traits.versionLine) return;
    POStreamIO& input = RequireGoodStream();
    const auto start = static_cast<std::uint64_t>(std::streamoff(input.GetPosition()));
    version.SetText("");
    if (ignoreVersion) return;
    const auto text = POVersion::ReadLine(input, lineTerminator);
    versionTaken = text.has_value();
    if (text) return version.SetText(*text);
    if (input.IsGood()) return input.Seek(start);
    // The attempt ran into the end of a short file; only opening it again clears that.
    input.CloseInput();
    OpenInput();
}

void POBase::WriteVersion() {
    if (traits.versionLine) version.WriteLine(RequireGoodStream(), lineTerminator);
}

// ---- bookmark index ----

void POBase::SetBookmark(const std::string& name, std::int64_t) {
    POStreamIO& output = RequireGoodStream();
    if (!output.IsWriting()) throw std::runtime_error(messages::kWrongBookmarkDirection);
    if (name.empty()) throw std::runtime_error(messages::kEmptyBookmark);
    POIndex::SetBookmark(name, static_cast<std::int64_t>(output.Tell()));
}

void POBase::SerializeIndex(IStreamer::EDirection direction, int entries, int width) {
    std::vector<char> block;
    if (direction == IStreamer::eRead) {
        SerializeValue(direction, block);
        return ParseIndex(block);
    }
    if (GetBookmarkCount() == 0) {
        if (entries < 1 || width < 1) throw std::runtime_error(messages::kInvalidIndexParameters);
        SetIndexPosition(static_cast<std::int64_t>(RequireStream().Tell()));
    } else {
        RequireStream().Seek(static_cast<std::uint64_t>(GetIndexPosition()));
    }
    BuildIndex(block, entries, width);
    SerializeValue(direction, block);
}

// ---- error log ----

void POBase::LogError(const std::string& message) {
    storage.Log(message, GetErrorLogPath());
}

void POBase::LogUnlessImpossible(const char* message) noexcept {
    try {
        LogError(message);
    } catch (...) {
        // Out of memory or without a standard error; a destructor has nowhere else to turn.
    }
}

void POBase::CommitBeforeDestruction() noexcept {
    if (!modified.AreOfThisProcess()) return;
    try {
        CommitOrThrow(false);
    } catch (const std::exception& error) {
        LogUnlessImpossible(error.what());
    } catch (...) {
        LogUnlessImpossible(traits.unknownError);
    }
}
