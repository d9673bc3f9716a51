// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_FILE_BUFFER_H
#define FIELDSTORE_FILE_BUFFER_H

#include <cstddef>
#include <cstdint>
#include <ios>
#include <limits>
#include <memory>
#include <streambuf>

#include "streams/Platform.h"

namespace fieldstore {

/// A stream buffer over an open file, for one direction. The standard's own opens files by name
/// only, and neither brings them to the disk nor tells why the system refused.
class FileBuffer final : public std::streambuf {
public:
    enum class Direction { In, Out };

    FileBuffer(platform::File openFile, Direction toOrFrom);
    /// Writes what is left; a failure goes unnoticed.
    ~FileBuffer() override { Close(); }

    bool IsOpen() const { return file.IsOpen(); }
    /// Writes what is left, and returns when all of it is on the disk.
    bool Sync() { return Flush() && file.Sync(); }
    /// Writes what is left and closes the file, whatever happens.
    bool Close();
    /// For reading: the file is taken to end there, when it is longer.
    void EndAt(std::uint64_t length) { inputEnd = length; }
    /// Drops what was not written yet.
    void Drop() { setp(pbase(), epptr()); }

    platform::File& File() { return file; }

protected:
    int_type underflow() override;
    std::streamsize xsgetn(char* to, std::streamsize count) override;
    int_type overflow(int_type next) override;
    std::streamsize xsputn(const char* from, std::streamsize count) override;
    int sync() override { return Flush() ? 0 : -1; }
    pos_type seekoff(off_type offset, std::ios_base::seekdir from,
                     std::ios_base::openmode) override;
    pos_type seekpos(pos_type target, std::ios_base::openmode mode) override {
        return seekoff(off_type(target), std::ios_base::beg, mode);
    }

private:
    static constexpr std::size_t kSize = std::size_t{256} << 10;
    static constexpr std::size_t kPage = 4096;
    static constexpr std::size_t kDisplacement = 1024;

    char* Begin() const;
    bool Flush();
    std::ptrdiff_t Read(char* to, std::size_t count);

    platform::File file;
    Direction direction;
    // Not zeroed, unlike by make_unique.
    std::unique_ptr<char[]> memory{new char[kSize + kPage + kDisplacement]};
    std::int64_t position = 0;  // of the file, behind what was read and what was written
    std::uint64_t inputEnd = std::numeric_limits<std::uint64_t>::max();
};

}  // namespace fieldstore

#endif
