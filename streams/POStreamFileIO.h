// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_POSTREAMFILEIO_H
#define FIELDSTORE_POSTREAMFILEIO_H

#include "streams/POStreamIO.h"

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

    /// Closes the file behind an output stream, through its standard interface. A failing flush or
    /// close sets the stream's fail state, which raises std::ios_base::failure for streams that
    /// Open() made.
    static void CloseOutputFile(const std::string& fileName, std::ostream* stream);

    void Open(EDirection direction, int mode) override;
    void Close() override;
    void Destroy() override;
    using POStreamIO::Seek;
    void Seek(std::uint64_t position) override;
    bool Exists() override;
    std::uint64_t Tell() override;

    /// From now on, opening for replacing writes a new file beside the old one, and closing renames
    /// it over the old one, so that whoever dies in between leaves the old content. Where the
    /// platform cannot do that (CreateBeside), the file is written in place as before.
    void ReplaceWhenClosed() { replacesWhenClosed = true; }

    /// Takes back what was written since the output was last opened: closes it, whatever state it
    /// is in, and gives a file that was opened for appending the length it had. What the opening
    /// created is removed. A file that was opened for replacing in place stays cut off. Returns
    /// whether the file is as it was.
    bool AbandonOutput() noexcept;

    using POStreamIO::Read;
    using POStreamIO::Write;
    FIELDSTORE_CONTAINER_TYPES(FIELDSTORE_DECLARE_SEQUENCE, FIELDSTORE_DECLARE_PAIR)

private:
    void OpenForReading();
    void OpenForWriting(bool append);
    bool ChoosePlaceToWrite(bool append);
    void PutReplacementInPlace();
    bool RemoveReplacement() noexcept;
    bool RestoreFile() const;
    bool TryDestroy() const;

    int retryCount = 200;        // attempts of Destroy()
    double retryInterval = 0.1;  // seconds between them

    bool replacesWhenClosed = false;
    std::string replacement;  // what is written beside `replaced`; empty: in place
    std::string replaced;     // the identifier behind its links

    /// What AbandonOutput() goes back to.
    struct FileBefore {
        static constexpr std::int64_t kNotRestorable = -1;
        bool existed = true;
        std::int64_t length = kNotRestorable;
    };
    FileBefore LookBefore(bool append) const;
    FileBefore before;
};

#endif
