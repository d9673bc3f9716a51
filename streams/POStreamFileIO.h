// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_POSTREAMFILEIO_H
#define FIELDSTORE_POSTREAMFILEIO_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <system_error>

#include "fieldstore/IStreamer.h"
#include "streams/ContainerTypes.h"
#include "streams/Limits.h"
#include "streams/POStreamIO.h"
#include "streams/Platform.h"
#include "streams/Span.h"

/// The typed stream over one file, whose path is the identifier.
///
/// Final, so that the containers' calls for their parts are resolved at compile time.
class POStreamFileIO final : public POStreamIO {
public:
    /// For writing: `closeCallback` is the only thing that closes the output file.
    POStreamFileIO(bool inTextMode, const std::string& fileName, OutputCloser closeCallback);
    /// For reading: `readCallback` runs before the file is opened and may prepare it. Should the
    /// stream write all the same, it closes the output file itself.
    POStreamFileIO(bool inTextMode, const std::string& fileName, InputPreparer readCallback);

    /// Closes the file behind an output stream that Open() made. A failing flush or close sets the
    /// stream's fail state, which raises std::ios_base::failure.
    static void CloseOutputFile(const std::string& fileName, std::ostream* stream);

    void Open(EDirection direction, int mode) override;
    void Close() override;
    void Destroy() override;
    using POStreamIO::Seek;
    void Seek(std::uint64_t position) override;
    bool Exists() override;
    std::uint64_t Tell() override;

    /// From the next opening for reading on, the file ends there, when it is longer; nothing: where
    /// it does.
    void EndInputAt(std::optional<std::uint64_t> length) { inputEnd = length; }

    /// Opens for writing what is open already, whatever its name leads to now.
    void OpenOutputOn(fieldstore::platform::File file);
    /// Opens a stream for writing that leads to no file.
    void OpenOutputInto(std::shared_ptr<std::ostream> stream);

    /// From now on, opening for reading reads these bytes and leaves the file alone.
    void ReadMemory(fieldstore::Span<const char> bytes) { memory = bytes; }
    bool ReadsMemory() const { return memory.has_value(); }

    /// From now on, opening for replacing writes a new file next to the old one, and closing
    /// renames it over the old one, so that whoever dies in between leaves the old content. Where
    /// the platform cannot do that (CreateBeside), the file is written in place as before.
    void ReplaceWhenClosed() { replacesWhenClosed = true; }

    /// Whether closing an output waits until the content, and a new name, are on the disk. Not
    /// unless asked for.
    void SyncWhenClosed(bool sync) { syncsWhenClosed = sync; }

    /// Takes back what was written since the output was last opened: closes it, whatever state it
    /// is in, and gives a file that was opened for appending the length it had. What the opening
    /// created is removed. A file that was opened for replacing in place stays cut off. Returns
    /// whether the file is as it was.
    bool AbandonOutput() noexcept;

    /// Why the system refused the last opening, reading or writing that failed.
    const std::error_code& SystemError() const { return systemError; }

    using POStreamIO::Read;
    using POStreamIO::Write;
    FIELDSTORE_CONTAINER_TYPES(FIELDSTORE_DECLARE_SEQUENCE, FIELDSTORE_DECLARE_PAIR)

private:
    /// What was opened for writing last: what it takes to bring it to the disk, and to undo it.
    struct Target {
        std::optional<fieldstore::platform::FileIdentity> identity;  // nothing: it was not told
        std::string path;         // of the file itself, behind the links of its name
        std::string replacement;  // what is written, beside `path`; empty: `path` itself
        bool created = false;     // nothing was at `path` before
        std::optional<std::uint64_t> length;  // to go back to; nothing: what was there is lost
    };

    void OpenForReading();
    void OpenMemory();
    void OpenForWriting(bool append);
    fieldstore::platform::File TryToOpen(bool append);
    fieldstore::platform::File OpenInPlace(bool append);
    void StartOutput(fieldstore::platform::File file);
    void RaiseWhenWritingFails();
    void BringToDisk();
    void BringNameToDisk();
    void PutReplacementInPlace();
    void Rename(const std::string& from, const std::string& to) const;
    bool TakeBack();
    bool RemoveIfOpened(const std::string& path) const;
    void NoteSystemError() noexcept;
    bool TryDestroy() const;

    int retryCount = fieldstore::kRetryCount;           // attempts of Destroy()
    double retryInterval = fieldstore::kRetryInterval;  // seconds between them

    bool replacesWhenClosed = false;
    bool syncsWhenClosed = false;
    std::optional<std::uint64_t> inputEnd;
    std::optional<fieldstore::Span<const char>> memory;
    std::optional<Target> target;
    std::error_code systemError;
};

#endif
