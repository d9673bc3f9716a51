// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_ISTREAMER_H
#define FIELDSTORE_ISTREAMER_H

#include <complex>
#include <cstdint>
#include <ios>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "fieldstore/export.h"

/// The typed stream through which persistent objects read and write: one overload of Read and of
/// Write per value type.
///
/// Mode. In binary mode every value is its little-endian bytes without padding, tags or separators.
/// In text mode it is what the standard inserter gives in the classic locale (16 significant
/// digits), followed by the separator, which should be white space; reading skips leading white
/// space.
///
/// Errors are std::runtime_error. Every read first tests the input: "Bad stream;" when there is
/// none or its state is not good, "End of file reached;" when it stands at its end, even for a
/// read of no bytes. Every write tests the output: "Bad stream;". A value that is cut short sets
/// the input's fail state and raises nothing; the next read does. Output errors of a file raise
/// std::ios_base::failure. A failure in the middle of a container leaves what was read so far.
///
/// Threads: one stream is used by one thread at a time.
class FIELDSTORE_INTERFACE IStreamer {
public:
    /// The side of a stream; any other integer may arrive and is ignored by Open().
    enum EDirection : int { eRead = 0, eWrite = 1 };

    IStreamer(const IStreamer&) = delete;
    IStreamer& operator=(const IStreamer&) = delete;
    virtual ~IStreamer() = default;

    /// The position of the input, in bytes from its start. Tests the input as a read does.
    virtual std::streampos GetPosition() = 0;

    /// Releases one side: the input if it is set, else the output. A file output that cannot be
    /// flushed or closed raises std::ios_base::failure; the side is released all the same.
    virtual void Close() = 0;

    /// Deletes the storage. Raises "Unable to destroy stream file." when it is still there after
    /// all attempts.
    virtual void Destroy() = 0;

    /// The name of the storage: for files the path.
    virtual std::string GetIdentifier() = 0;

    /// Whether the fail state of the input, or without input of the output, is clear.
    virtual bool IsGood() = 0;

    /// Whether there is an input. True from construction for a stream set up for reading.
    virtual bool IsReading() = 0;

    /// Whether there is an output. True from construction for a stream set up for writing.
    virtual bool IsWriting() = 0;

    /// Opens one side; `mode` 1 appends, any other value replaces the content. A missing input file
    /// raises nothing: the stream is then not good. Raises "Failed to open output stream." after
    /// 200 attempts 2 s apart.
    virtual void Open(EDirection direction, int mode) = 0;

    /// Close().
    virtual void CloseInput() = 0;

    /// Open(eRead, 0).
    virtual void OpenInput() = 0;

    /// Close().
    virtual void CloseOutput() = 0;

    /// Open(eWrite, mode).
    virtual void OpenOutput(int mode) = 0;

    /// @{
    /// Reads of containers: a vector, set or map is its 8-byte count followed by its elements, a
    /// pair its two parts. A vector's content is replaced; sets and maps keep what they hold and
    /// take the new elements in. An existing key keeps its value, except in map<int, int>, where
    /// the value read replaces it. A vector or set count above 10,000,000,000 raises "Bad value
    /// count encountered in stream read." and leaves the target unchanged.
    virtual void Read(
        std::map<std::pair<int, std::pair<int, int>>, std::vector<double>>& value) = 0;
    virtual void Read(std::map<std::pair<std::int64_t, int>, std::vector<double>>& value) = 0;
    virtual void Read(std::map<std::pair<int, int>, std::vector<double>>& value) = 0;
    virtual void Read(
        std::map<std::pair<std::int64_t, int>,
                 std::vector<std::pair<std::pair<int, std::complex<double>>,
                                       std::vector<std::complex<double>>>>>& value) = 0;
    virtual void Read(
        std::map<std::pair<std::int64_t, int>,
                 std::vector<std::pair<int, std::vector<std::complex<double>>>>>& value) = 0;
    virtual void Read(std::map<int, std::set<int>>& value) = 0;
    virtual void Read(std::map<int, std::vector<std::vector<std::complex<double>>>>& value) = 0;
    virtual void Read(std::map<int, std::vector<std::vector<int>>>& value) = 0;
    virtual void Read(
        std::map<std::int64_t, std::map<int, std::vector<std::vector<std::complex<double>>>>>&
            value) = 0;
    virtual void Read(
        std::map<std::int64_t, std::map<int, std::vector<std::vector<int>>>>& value) = 0;
    virtual void Read(std::map<int, std::vector<double>>& value) = 0;
    virtual void Read(std::map<int, std::vector<int>>& value) = 0;
    virtual void Read(std::map<int, std::pair<int, int>>& value) = 0;
    virtual void Read(std::map<int, int>& value) = 0;
    virtual void Read(std::set<std::pair<int, int>>& value) = 0;
    virtual void Read(std::set<int>& value) = 0;
    virtual void Read(std::vector<std::pair<std::pair<int, std::complex<double>>,
                                            std::vector<std::complex<double>>>>& value) = 0;
    virtual void Read(std::vector<std::pair<int, std::vector<std::complex<double>>>>& value) = 0;
    virtual void Read(std::vector<std::vector<std::pair<int, double>>>& value) = 0;
    virtual void Read(std::vector<std::vector<std::complex<double>>>& value) = 0;
    virtual void Read(std::vector<std::pair<int, double>>& value) = 0;
    virtual void Read(std::vector<std::complex<double>>& value) = 0;
    virtual void Read(std::vector<std::vector<int>>& value) = 0;
    virtual void Read(std::vector<double>& value) = 0;
    virtual void Read(std::vector<std::uint64_t>& value) = 0;
    virtual void Read(std::vector<int>& value) = 0;
    virtual void Read(std::vector<char>& value) = 0;
    virtual void Read(std::pair<std::pair<int, std::complex<double>>,
                                std::vector<std::complex<double>>>& value) = 0;
    virtual void Read(std::pair<int, std::vector<std::complex<double>>>& value) = 0;
    virtual void Read(std::pair<int, std::complex<double>>& value) = 0;
    virtual void Read(std::pair<int, std::pair<int, int>>& value) = 0;
    virtual void Read(std::pair<int, double>& value) = 0;
    virtual void Read(std::pair<std::int64_t, int>& value) = 0;
    virtual void Read(std::pair<int, int>& value) = 0;
    /// @}

    /// Reads a string. Binary: a 4-byte length and the bytes. Text: everything up to `terminator`,
    /// which must be one character ("Bad string terminator."), white space not skipped. A string
    /// that holds a zero byte comes back cut there. Raises "Bad character count encountered in
    /// stream read." for more than min(maxLength, 10000) bytes, in text mode the terminator
    /// included; `value` is unchanged then. A negative `maxLength` means 10000.
    virtual void Read(std::string& value, const std::string& terminator, int maxLength) = 0;

    /// Reads a raw block, in either mode, into `buffer`, which must have room for `count` bytes.
    /// Raises "Number of chars to read does not match number written." for a block of another size.
    virtual void Read(char* buffer, std::int64_t count) = 0;

    /// @{
    /// Reads a primitive.
    virtual void Read(std::complex<double>& value) = 0;
    virtual void Read(double& value) = 0;
    virtual void Read(std::int64_t& value) = 0;
    virtual void Read(std::uint64_t& value) = 0;
    virtual void Read(unsigned int& value) = 0;
    virtual void Read(int& value) = 0;
    virtual void Read(char& value) = 0;
    /// @}

    /// Moves the input to a position from GetPosition(). Tests the input as a read does, so it
    /// raises at the end of the input.
    virtual void Seek(std::streampos position) = 0;

    /// Moves the input, or without input the output, to a byte offset. Works at the end of the
    /// input. Raises "No stream open.".
    virtual void Seek(std::uint64_t position) = 0;

    /// Switches between text and binary mode; an open file stays open as it is.
    virtual void SetTextMode(bool textMode) = 0;

    /// Whether the storage exists. Raises std::filesystem::filesystem_error when that cannot be
    /// found out.
    virtual bool Exists() = 0;

    /// The byte offset of the input, or without input of the output. Raises "No stream open.".
    virtual std::uint64_t Tell() = 0;

    /// Whether a read, or without input a write, would pass its test. Never raises.
    virtual bool IsValid() = 0;

    /// Whether values are text.
    virtual bool IsTextMode() = 0;

    /// @{
    /// Writes of containers, in the encoding that the reads take. In text mode `perLine` elements
    /// (at least 1) stand on a line: an element is followed by `lineEnd` when it is the last of its
    /// line and by `separator` otherwise. A pair is followed by its two separators. Two pairs of
    /// overloads stand in another order than their reads; both orders are fixed.
    virtual void Write(
        const std::map<std::pair<int, std::pair<int, int>>, std::vector<double>>& value,
        int perLine, const std::string& separator, const std::string& lineEnd) = 0;
    virtual void Write(const std::map<std::pair<std::int64_t, int>, std::vector<double>>& value,
                       int perLine, const std::string& separator, const std::string& lineEnd) = 0;
    virtual void Write(const std::map<std::pair<int, int>, std::vector<double>>& value, int perLine,
                       const std::string& separator, const std::string& lineEnd) = 0;
    virtual void Write(
        const std::map<std::pair<std::int64_t, int>,
                       std::vector<std::pair<std::pair<int, std::complex<double>>,
                                             std::vector<std::complex<double>>>>>& value,
        int perLine, const std::string& separator, const std::string& lineEnd) = 0;
    virtual void Write(
        const std::map<std::pair<std::int64_t, int>,
                       std::vector<std::pair<int, std::vector<std::complex<double>>>>>& value,
        int perLine, const std::string& separator, const std::string& lineEnd) = 0;
    virtual void Write(const std::map<int, std::set<int>>& value, int perLine,
                       const std::string& separator, const std::string& lineEnd) = 0;
    virtual void Write(const std::map<int, std::vector<std::vector<std::complex<double>>>>& value,
                       int perLine, const std::string& separator, const std::string& lineEnd) = 0;
    virtual void Write(
        const std::map<std::int64_t, std::map<int, std::vector<std::vector<std::complex<double>>>>>&
            value,
        int perLine, const std::string& separator, const std::string& lineEnd) = 0;
    virtual void Write(const std::map<int, std::vector<std::vector<int>>>& value, int perLine,
                       const std::string& separator, const std::string& lineEnd) = 0;
    virtual void Write(
        const std::map<std::int64_t, std::map<int, std::vector<std::vector<int>>>>& value,
        int perLine, const std::string& separator, const std::string& lineEnd) = 0;
    virtual void Write(const std::map<int, std::vector<double>>& value, int perLine,
                       const std::string& separator, const std::string& lineEnd) = 0;
    virtual void Write(const std::map<int, std::vector<int>>& value, int perLine,
                       const std::string& separator, const std::string& lineEnd) = 0;
    virtual void Write(const std::map<int, std::pair<int, int>>& value, int perLine,
                       const std::string& separator, const std::string& lineEnd) = 0;
    virtual void Write(const std::map<int, int>& value, int perLine, const std::string& separator,
                       const std::string& lineEnd) = 0;
    virtual void Write(const std::set<std::pair<int, int>>& value, int perLine,
                       const std::string& separator, const std::string& lineEnd) = 0;
    virtual void Write(const std::set<int>& value, int perLine, const std::string& separator,
                       const std::string& lineEnd) = 0;
    virtual void Write(const std::vector<std::pair<std::pair<int, std::complex<double>>,
                                                   std::vector<std::complex<double>>>>& value,
                       int perLine, const std::string& separator, const std::string& lineEnd) = 0;
    virtual void Write(const std::vector<std::pair<int, std::vector<std::complex<double>>>>& value,
                       int perLine, const std::string& separator, const std::string& lineEnd) = 0;
    virtual void Write(const std::vector<std::vector<std::pair<int, double>>>& value, int perLine,
                       const std::string& separator, const std::string& lineEnd) = 0;
    virtual void Write(const std::vector<std::vector<std::complex<double>>>& value, int perLine,
                       const std::string& separator, const std::string& lineEnd) = 0;
    virtual void Write(const std::vector<std::pair<int, double>>& value, int perLine,
                       const std::string& separator, const std::string& lineEnd) = 0;
    virtual void Write(const std::vector<std::complex<double>>& value, int perLine,
                       const std::string& separator, const std::string& lineEnd) = 0;
    virtual void Write(const std::vector<double>& value, int perLine, const std::string& separator,
                       const std::string& lineEnd) = 0;
    virtual void Write(const std::vector<std::vector<int>>& value, int perLine,
                       const std::string& separator, const std::string& lineEnd) = 0;
    virtual void Write(const std::vector<std::uint64_t>& value, int perLine,
                       const std::string& separator, const std::string& lineEnd) = 0;
    virtual void Write(const std::vector<int>& value, int perLine, const std::string& separator,
                       const std::string& lineEnd) = 0;
    virtual void Write(const std::vector<char>& value, int perLine, const std::string& separator,
                       const std::string& lineEnd) = 0;
    virtual void Write(const std::pair<std::pair<int, std::complex<double>>,
                                       std::vector<std::complex<double>>>& value,
                       const std::string& firstSeparator, const std::string& secondSeparator) = 0;
    virtual void Write(const std::pair<int, std::vector<std::complex<double>>>& value,
                       const std::string& firstSeparator, const std::string& secondSeparator) = 0;
    virtual void Write(const std::pair<int, std::complex<double>>& value,
                       const std::string& firstSeparator, const std::string& secondSeparator) = 0;
    virtual void Write(const std::pair<int, std::pair<int, int>>& value,
                       const std::string& firstSeparator, const std::string& secondSeparator) = 0;
    virtual void Write(const std::pair<int, double>& value, const std::string& firstSeparator,
                       const std::string& secondSeparator) = 0;
    virtual void Write(const std::pair<std::int64_t, int>& value, const std::string& firstSeparator,
                       const std::string& secondSeparator) = 0;
    virtual void Write(const std::pair<int, int>& value, const std::string& firstSeparator,
                       const std::string& secondSeparator) = 0;
    /// @}

    /// Writes a raw block, in either mode: an 8-byte count and the bytes.
    virtual void Write(const char* buffer, std::uint64_t count) = 0;

    /// Writes a string. Binary: a 4-byte length and the bytes. Text: the characters and the
    /// separator, whose first character ends the string when it is read.
    virtual void Write(const std::string& value, const std::string& separator) = 0;

    /// @{
    /// Writes a primitive, in text mode followed by the separator.
    virtual void Write(const std::complex<double>& value, const std::string& separator) = 0;
    virtual void Write(const double& value, const std::string& separator) = 0;
    virtual void Write(std::int64_t value, const std::string& separator) = 0;
    virtual void Write(std::uint64_t value, const std::string& separator) = 0;
    virtual void Write(unsigned int value, const std::string& separator) = 0;
    virtual void Write(int value, const std::string& separator) = 0;
    virtual void Write(char value, const std::string& separator) = 0;
    /// @}

protected:
    IStreamer() = default;
};

#endif
