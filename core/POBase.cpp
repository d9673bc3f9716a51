// SPDX-License-Identifier: Apache-2.0
#include "core/POBase.h"

#include <algorithm>
#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "core/AppendMark.h"
#include "core/ErrorLog.h"
#include "core/FlagScope.h"
#include "core/Messages.h"
#include "core/SideFiles.h"
#include "streams/FileExists.h"
#include "streams/PODataServiceIO.h"
#include "streams/POStreamFileIO.h"
#include "streams/POWindowsFileLocker.h"
#include "streams/StreamMessages.h"

using namespace fieldstore;

namespace {

bool IsSameFile(const std::string& a, const std::string& b) {
    const auto whole = [](const std::string& path) {
        std::error_code error;
        const auto absolute = std::filesystem::absolute(path, error);
        const auto canonical = std::filesystem::weakly_canonical(absolute, error);
        return error ? std::filesystem::path(path).lexically_normal() : canonical;
    };
    return a == b || whole(a) == whole(b);
}

}  // namespace

POBase::WriteLayout::WriteLayout(POBase& owner, std::uint32_t format) : object(owner) {
    object.writeFormat = format;
    object.fieldSeparator = " ";
    object.lineTerminator = "\n";
}

POBase::WriteLayout::~WriteLayout() {
    object.writeFormat = kDefaultFormat;
}

POBase::POBase(const ClassTraits& classTraits)
    : persistFlags(classTraits.persistFlags), fileName(classTraits.fileName), traits(classTraits) {}

POStreamIO& POBase::RequireStream() const {
    if (!stream) throw std::runtime_error(messages::kNullStream);
    return *stream;
}

POStreamIO& POBase::RequireGoodStream() const {
    POStreamIO& required = RequireStream();
    if (!required.IsGood()) throw std::runtime_error(messages::kBadStream);
    return required;
}

// ---- storage ----

int POBase::SetLockDirectory(const std::string& newDirectory) {
    lockDirectory = newDirectory;
    return kSuccess;
}

int POBase::SetFileName(const std::string& name) {
    fileName = name;
    return kSuccess;
}

int POBase::SetDirectory(const std::string& newDirectory) {
    directory = newDirectory;
    return kSuccess;
}

int POBase::SetVersion(const std::string& text) {
    version.SetText(text);
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
    try {
        int resolved = type;
        if (type == eReadDefault) resolved = GetStorageType(IStreamer::eRead);
        if (type == eWriteDefault) resolved = GetStorageType(IStreamer::eWrite);
        auto newStream = MakeStream(resolved);
        const bool fileOutput = resolved == eWriteText || resolved == eWriteBinary;
        if (fileOutput && withLock) locker = MakeLocker();
        stream = std::move(newStream);
        return kSuccess;
    } catch (const std::exception& error) {
        return ResultOf(error.what());
    } catch (...) {
        return kFailure;
    }
}

std::shared_ptr<POStreamIO> POBase::MakeStream(int type) const {
    const POStreamIO::InputPreparer nothing = [](const std::string&) {};
    const std::string path = StoragePath();
    std::shared_ptr<POStreamFileIO> file;
    switch (type) {
        case eReadText:
        case eReadBinary:
            file = std::make_shared<POStreamFileIO>(type == eReadText, path, nothing);
            break;
        case eWriteText:
        case eWriteBinary:
            file = std::make_shared<POStreamFileIO>(
                type == eWriteText, path,
                POStreamIO::OutputCloser(&POStreamFileIO::CloseOutputFile));
            break;
        case eReadDataService:
        case eWriteDataService:
            return std::make_shared<PODataServiceIO>(path, nothing);
        default:
            throw std::runtime_error(messages::kUnsupportedStorageType);
    }
    file->AcceptEmptyVectorAtEnd();
    file->ReplaceWhenClosed();
    return file;
}

std::shared_ptr<ILocker> POBase::MakeLocker() const {
    const std::string data = StoragePath();
    const std::string lock = LockPathFor(lockDirectory.empty() ? data : lockDirectory + fileName);
    if (IsSameFile(lock, data)) throw std::runtime_error(messages::kLockIsDataFile);
    return std::make_shared<POWindowsFileLocker>(lock, [] { return std::string("Lock"); });
}

int POBase::DeleteStorage() {
    if (!stream || stream->GetIdentifier().empty()) {
        const auto type = static_cast<EStorageType>(GetStorageType(IStreamer::eWrite));
        const int result = CreateStorageInterface(type, UseLocking());
        if (result != kSuccess) return result;
    }
    POStreamIO& storage = RequireStream();
    storage.Close();
    storage.Destroy();
    AppendMark(storage.GetIdentifier()).Clear();
    if (locker) locker->UnlockIfLocked();
    stream.reset();
    locker.reset();
    ClearData();
    return kSuccess;
}

// ---- writing ----

int POBase::Commit(bool force) {
    try {
        CommitOrThrow(force);
        return kSuccess;
    } catch (...) {
        return kFailure;
    }
}

void POBase::CommitOrThrow(bool force) {
    if (!modified && !force) return;
    if (!ValidateData()) throw std::runtime_error(messages::kInvalidData);
    const bool wasModified = modified;
    outputOpened = false;
    appendGuarded = false;
    lockHeld = false;
    try {
        BeginWrite();
        SerializeData(IStreamer::eWrite);
        EndWrite();
    } catch (...) {
        AbandonWrite(wasModified);
        throw;
    }
}

/// The stream as a file's, nullptr when there is none or it leads to a data service.
POStreamFileIO* POBase::FileStream() const {
    return dynamic_cast<POStreamFileIO*>(stream.get());
}

void POBase::AbandonWrite(bool wasModified) noexcept {
    modified = wasModified;
    POStreamFileIO* file = FileStream();
    const bool restored = !outputOpened || file == nullptr || file->AbandonOutput();
    if (restored) ClearGuard();  // else the next writer has to look at what was left
    if (!lockHeld) return;
    lockHeld = false;
    try {
        locker->Unlock();
    } catch (...) {
        // The commit already fails with the first error; a marker that stays is seen by the next
        // writer.
    }
}

void POBase::BeginWrite() {
    try {
        MergeStoredData();
        POStreamIO& output = RequireStream();
        if (output.IsReading()) output.Close();
        CheckBeforeWrite();
        TakeLock();
        GuardAppend();
        outputOpened = true;
        RequireStream().OpenOutput((persistFlags & kAppend) != 0 ? 1 : 0);
        WriteVersion();
    } catch (const std::exception&) {
        throw;
    } catch (...) {
        throw std::runtime_error(messages::kUnknownOpenError);
    }
}

void POBase::MergeStoredData() {
    constexpr auto merging = kLockable | kKeepOnRead;
    if ((persistFlags & (merging | kAppend)) != merging) return;
    try {
        ReadPass();
    } catch (const std::exception& error) {
        if (ParseErrorCode(error.what()) != 1) throw;  // 1: nothing is stored yet
    }
}

void POBase::CheckBeforeWrite() {
    const bool textMode = RequireStream().IsTextMode();
    if (traits.versionLine && !version.IsWritable(textMode, lineTerminator.front()))
        throw std::runtime_error(messages::kUnwritableVersion);
}

void POBase::TakeLock() {
    if (!locker) return;
    OnLock(locker);
    locker->Lock();
    lockHeld = true;
}

void POBase::OnLock(std::shared_ptr<ILocker> /*lockToTake*/) {}  // NOLINT: fixed signature

// ---- the end of what others appended ----

/// Marks that an append has begun, after clearing up behind a writer that died in one. Only under
/// the lock: without it, another writer may be at work.
void POBase::GuardAppend() {
    if (!lockHeld || (persistFlags & kAppend) == 0) return;
    if (FileStream() == nullptr) return;
    const std::string path = stream->GetIdentifier();
    const AppendMark mark(path);
    if (mark.Stands()) {
        CutTornTail();
        mark.Clear();
    }
    mark.Set(path);
    appendGuarded = true;
}

void POBase::ClearGuard() noexcept {
    if (!appendGuarded) return;
    appendGuarded = false;
    try {
        AppendMark(stream->GetIdentifier()).Clear();
    } catch (const std::exception&) {
        // Out of memory. A mark that stays does no harm.
    }
}

void POBase::CutTornTail() {
    const std::string path = stream->GetIdentifier();
    if (!FileExists(path)) return;
    const std::uint64_t length = std::filesystem::file_size(path);
    const std::uint64_t wholeEnd = EndOfWholeBodies();
    if (wholeEnd == length) return;
    // What stood before the append was whole; if it no longer is, something else happened to it.
    if (wholeEnd < AppendMark(path).Length())
        throw std::runtime_error(messages::kDamagedBeforeAppend);
    std::filesystem::resize_file(path, wholeEnd);
    LogError("A commit ended halfway; cut bytes " + std::to_string(wholeEnd) + " to " +
             std::to_string(length) + " behind the last whole body.");
}

/// Where the last whole body in the file of the output stream ends.
std::uint64_t POBase::EndOfWholeBodies() {
    class InputInstead {
    public:
        explicit InputInstead(POBase& owner) : object(owner), version(owner.version) {
            const int type = object.stream->IsTextMode() ? eReadText : eReadBinary;
            output = std::exchange(object.stream, object.MakeStream(type));
        }
        ~InputInstead() {
            object.stream = std::move(output);
            std::swap(object.version, version);
        }
        InputInstead(const InputInstead&) = delete;
        InputInstead& operator=(const InputInstead&) = delete;

    private:
        POBase& object;
        POVersion version;
        std::shared_ptr<POStreamIO> output;
    };
    const InputInstead forAWhile(*this);
    std::uint64_t wholeEnd = 0;
    if (!SkipBodies(wholeEnd) && versionTaken) {
        // The line may have been the beginning of a body after all.
        const FlagScope withoutVersion(ignoreVersion);
        SkipBodies(wholeEnd);
    }
    return wholeEnd;
}

/// Returns whether the bodies reach to the end of the file; `wholeEnd` grows to where they reach.
bool POBase::SkipBodies(std::uint64_t& wholeEnd) {
    versionTaken = false;
    try {
        OpenInput();
        ReadVersion();
        for (;;) {
            const bool another = HasAnotherBody();  // past the white space behind a text body
            wholeEnd = std::max(wholeEnd, stream->Tell());
            if (!another) return true;
            SkipBody();
            RequireIntactBody();
        }
    } catch (const std::system_error&) {
        throw;  // what the system does not give says nothing about what is stored
    } catch (const std::runtime_error& error) {
        // Neither does what cannot be opened or read now.
        if (ParseErrorCode(error.what()) == 1 || stream->HasReadError()) throw;
        return false;
    }
}

// ---- the end of a commit ----

void POBase::EndWrite() {
    try {
        RequireGoodStream();
        modified = false;
        stream->CloseOutput();
        ClearGuard();
        if (locker) locker->Unlock();
        lockHeld = false;
    } catch (const std::exception&) {
        throw;
    } catch (...) {
        throw std::runtime_error(messages::kUnknownCloseError);
    }
}

// ---- reading ----

int POBase::Load() {
    try {
        LoadOrThrow();
        return kSuccess;
    } catch (const std::exception& error) {
        return ResultOf(error.what());
    } catch (...) {
        return kFailure;
    }
}

void POBase::LoadOrThrow() {
    versionTaken = false;
    try {
        ReadPass();
    } catch (...) {
        if (!versionTaken) throw;
        // The line may have been the beginning of a body after all.
        const FlagScope withoutVersion(ignoreVersion);
        ReadPass();
    }
}

void POBase::ReadPass() {
    try {
        BeginRead();
        const bool carriesData = stream->IsGood();  // a data-service stream never is
        SerializeData(IStreamer::eRead);
        if (carriesData) RequireIntactBody();
        EndRead();
    } catch (...) {
        if (stream && stream->IsReading()) stream->CloseInput();
        throw;
    }
    if (!ValidateData()) throw std::runtime_error(messages::kInvalidData);
    modified = false;
}

int POBase::LoadFile(const std::string& name) {
    SetDirectory("");
    SetFileName(name);
    ClearData();
    if (CreateStorageInterface(eReadDefault, false) != kSuccess)
        throw std::runtime_error(messages::kNoStorageInterface);
    Load();  // a file that is missing or damaged leaves the object empty, and that is an answer
    return kSuccess;
}

void POBase::BeginRead() {
    if (!stream || !stream->IsReading()) {
        if (CreateStorageInterface(eReadDefault, false) != kSuccess)
            throw std::runtime_error(messages::kNoStorageStream);
    }
    if ((persistFlags & kKeepOnRead) == 0) ClearData();
    modified = false;  // half-read data must never be written over a file
    OpenInput();
    ReadVersion();
}

void POBase::OpenInput() {
    POStreamIO& input = RequireStream();
    input.OpenInput();
    if (FileStream() != nullptr && !input.IsGood())
        throw std::runtime_error(messages::kInputNotOpened);
}

void POBase::EndRead() {
    RequireStream();
    modified = false;
    stream->CloseInput();
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
    std::string line;
    versionTaken = ReadVersionLine(line);
    if (versionTaken) return version.SetText(line.substr(1));
    if (input.IsGood()) return input.Seek(start);
    // The attempt ran into the end of a short file; only opening it again clears that.
    input.CloseInput();
    OpenInput();
}

/// Whether the next bytes are a version line. A body may begin with anything, so whatever fails
/// here only means that they are not.
bool POBase::ReadVersionLine(std::string& line) {
    const std::uint64_t start = stream->Tell();
    try {
        stream->Read(line, lineTerminator, POVersion::kMaxLineLength);
    } catch (const std::runtime_error&) {
        return false;
    }
    if (!stream->IsGood() || line.size() < 2 || line.front() != '!') return false;
    // A zero byte cuts the line short of what was consumed for it.
    const std::size_t around = stream->IsTextMode() ? lineTerminator.size() : sizeof(int);
    return stream->Tell() - start == line.size() + around;
}

void POBase::WriteVersion() {
    if (!traits.versionLine) return;
    POStreamIO& output = RequireGoodStream();
    if (version.Text().empty()) return;
    const std::uint64_t position = output.Tell();
    constexpr auto unknown = static_cast<std::uint64_t>(std::streamoff(-1));
    if (position == unknown) throw std::runtime_error(messages::kBadStream);
    if (position == 0) output.Write("!" + version.Text(), lineTerminator);
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

std::string POBase::GetErrorLogPath() {
    return stream ? ErrorLogPathFor(stream->GetIdentifier()) : std::string();
}

void POBase::LogError(const std::string& message) {
    const std::string name = stream ? stream->GetIdentifier() : "<unknown>";
    std::string path = GetErrorLogPath();
    if (path == name) path.clear();  // a data file named *.err must not take log lines in
    AppendToErrorLog(path, "Error on stream " + name + ": " + message);
}

void POBase::LogUnlessImpossible(const char* message) noexcept {
    try {
        LogError(message);
    } catch (...) {
        // Out of memory or without a standard error; a destructor has nowhere else to turn.
    }
}

void POBase::CommitBeforeDestruction() noexcept {
    try {
        CommitOrThrow(false);
    } catch (const std::exception& error) {
        LogUnlessImpossible(error.what());
    } catch (...) {
        LogUnlessImpossible(traits.unknownError);
    }
}
