// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_POBASE_H
#define FIELDSTORE_POBASE_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>

#include "core/ClassTraits.h"
#include "core/CommitGuard.h"
#include "core/ObjectStorage.h"
#include "core/POIndex.h"
#include "core/POVersion.h"
#include "core/ResultCode.h"
#include "core/UnsavedChanges.h"
#include "fieldstore/IPOBase.h"
#include "fieldstore/IPOStorageControl.h"
#include "fieldstore/IStreamer.h"
#include "streams/ColumnEncoding.h"
#include "streams/ILocker.h"
#include "streams/POStreamIO.h"

namespace fieldstore {
class BodyScan;
}

/// The frame every persistent object runs in: it drives the two passes over its storage, writing
/// (validate, lock, open, body, close, unlock) and reading (open, body, close, validate).
///
/// The parts are objects of their own: the paths, the stream and the lock (ObjectStorage), what a
/// running commit has taken hold of (CommitGuard), the version line (POVersion).
///
/// A concrete class derives from it first and from its own interface second, holds a constant
/// ClassTraits, and implements CopyFrom, ClearData, ValidateData and SerializeData. Its destructor
/// calls CommitBeforeDestruction(), while the class's own overrides are still in force.
class POBase : public IPOBase, public POIndex, public IPOStorageControl {
public:
    explicit POBase(const fieldstore::ClassTraits& classTraits);

    int Commit(bool force) override;
    int CreateStorageInterface(EStorageType type, bool withLock) override;
    int DeleteStorage() override;
    std::string GetFileName() override { return storage.fileName; }
    int Load() override;
    int LoadFile(const std::string& name) override;
    int SetLockDirectory(const std::string& newDirectory) override;
    int SetFileName(const std::string& name) override;
    int SetDirectory(const std::string& newDirectory) override;
    int SetVersion(const std::string& text) override;

    int SetDurability(EDurability durability) override;
    std::string GetLastError() override { return lastError; }
    StorageState GetStorageState() override;
    int WriteBytes(EBytes which, bool text, const ByteSink& sink) override;
    int ReadBytes(bool text, const char* bytes, std::uint64_t count) override;
    int AppendBytes(const AppendWriter& write) override;
    void NoteStored() override { modified = false; }

    /// The error log next to the data; empty without a stream or when its name has no ".".
    virtual std::string GetErrorLogPath() { return storage.LogPath(); }
    /// The storage type that the default of a direction (0 read, all others write) stands for.
    virtual int GetStorageType(int direction);
    virtual void EndRead();
    virtual void BeginRead();
    virtual void EndWrite();
    virtual void BeginWrite();
    virtual void ReadVersion();
    virtual void LogError(const std::string& message);
    /// Runs just before the lock is taken.
    virtual void OnLock(std::shared_ptr<ILocker> lockToTake);
    /// Whether storage that the library builds itself for writing has a lock.
    virtual bool UseLocking();
    virtual void WriteVersion();
    /// Empties the class's data.
    virtual void ClearData() = 0;
    /// Whether the class's data may be committed, or taken as loaded.
    virtual bool ValidateData() = 0;

    /// Records the stream's current write position; `position` is ignored on purpose.
    void SetBookmark(const std::string& name, std::int64_t position) override;

protected:
    /// Reads or writes the body.
    virtual void SerializeData(IStreamer::EDirection direction) = 0;
    /// Raises when a commit could not succeed; runs before the lock is taken and the output opened,
    /// because classes that replace their file lose the old content at that moment.
    virtual void CheckBeforeWrite();
    /// Reads one body and drops it, changing nothing; for classes whose commits append. A body that
    /// is whole but does not go with the others is no failure here.
    virtual void SkipBody();

    /// Commits unsaved changes and logs a failure; never raises.
    void CommitBeforeDestruction() noexcept;

    /// The stream, or "Null stream function.".
    POStreamIO& RequireStream() const { return storage.Require(); }
    /// The stream in good state, or "Null stream function.", "Bad stream.".
    POStreamIO& RequireGoodStream() const { return storage.RequireGood(); }

    template <typename T>
    void ReadValue(T& value) {
        POStreamIO& source = RequireGoodStream();
        if constexpr (fieldstore::IsColumns<T>::value)
            ReadColumns(storage.RequireFile(), value);
        else
            source.Read(value);
    }
    /// A container with the write layout, a scalar on a line of its own.
    template <typename T>
    void WriteValue(const T& value) {
        POStreamIO& target = RequireGoodStream();
        const int perLine = static_cast<int>(writeFormat);
        if constexpr (fieldstore::IsColumns<T>::value)
            WriteColumns(storage.RequireFile(), value, perLine, fieldSeparator, lineTerminator);
        else if constexpr (std::is_arithmetic_v<T>)
            target.Write(value, lineTerminator);
        else
            target.Write(value, perLine, fieldSeparator, lineTerminator);
    }
    template <typename T>
    void SerializeValue(IStreamer::EDirection direction, T& value) {
        direction == IStreamer::eRead ? ReadValue(value) : WriteValue(value);
    }
    /// Reads or writes a body by its layout (objects/Field.h); `body` has the members that
    /// the layout names.
    template <typename Layout, typename Body>
    void SerializeBody(IStreamer::EDirection direction, Body&& body) {
        const auto serialize = [this, direction](const auto& field, auto& value) {
            const WriteLayout layout(*this, static_cast<std::uint32_t>(field.perLine));
            SerializeValue(direction, value);
        };
        Layout::Visit(body, serialize);
    }

    /// Reads or writes the index block. The first write reserves it at the current position, the
    /// second goes back there. Raises "Invalid parameters for index.".
    void SerializeIndex(IStreamer::EDirection direction, int entries, int width);

    /// Raises when the body just read was cut short, in the middle of a number even.
    void RequireIntactBody();

    /// Calls `readBody` for every body left in the storage.
    template <typename ReadBody>
    void ReadBodies(ReadBody readBody) {
        while (HasAnotherBody()) {
            readBody();
            RequireIntactBody();
        }
    }

    /// CopyFrom for a class: `copy` takes the data over from another object of the class.
    template <typename Class, typename Copy>
    int CopyFromSameClass(const std::shared_ptr<IPOBase>& source, Copy copy) {
        const auto* other = dynamic_cast<const Class*>(source.get());
        if (other == nullptr) return fieldstore::kFailure;
        if (other != this) copy(*other);
        modified = true;
        return fieldstore::kSuccess;
    }

    /// Sets the write layout for a scope; the defaults are back at its end.
    class WriteLayout {
    public:
        WriteLayout(POBase& owner, std::uint32_t format);
        ~WriteLayout();
        WriteLayout(const WriteLayout&) = delete;
        WriteLayout& operator=(const WriteLayout&) = delete;

    private:
        POBase& object;
    };

    fieldstore::ObjectStorage storage;
    POVersion version{""};
    fieldstore::UnsavedChanges modified;
    std::uint32_t persistFlags = fieldstore::kReplacing;
    std::uint32_t writeFormat = 1;
    std::string fieldSeparator = " ";
    std::string lineTerminator = "\n";

private:
    friend class fieldstore::BodyScan;

    static constexpr std::uint32_t kDefaultFormat = 1;

    template <typename Action>
    int Attempt(const char* doing, Action action);
    int NoteFailure(const char* doing) noexcept;
    void CommitOrThrow(bool force);
    template <typename Write>
    void WriteGuarded(Write write);
    void AppendOrThrow(const AppendWriter& write);
    void WriteBytesOrThrow(EBytes which, bool text, const ByteSink& sink);
    void TakeLock();
    void MergeStoredData();
    template <typename Prepare>
    void LoadOrThrow(Prepare prepare);
    void ReadPass();
    void OpenInput();
    bool HasAnotherBody();
    void LogUnlessImpossible(const char* message) noexcept;

    const fieldstore::ClassTraits& traits;
    std::optional<fieldstore::CommitGuard> guard;  // of the commit that is running
    std::string lastError;
    bool versionTaken = false;   // the last read pass took a line for a version
    bool ignoreVersion = false;  // the read pass must not take one
};

#endif
