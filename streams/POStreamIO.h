// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_POSTREAMIO_H
#define FIELDSTORE_POSTREAMIO_H

#include <complex>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <istream>
#include <memory>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "fieldstore/IStreamer.h"
#include "streams/ContainerTypes.h"
#include "streams/InputArea.h"
#include "streams/MemorySize.h"
#include "streams/OutputArea.h"

// Values go to the stream as they lie in memory.
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ != __ORDER_LITTLE_ENDIAN__
#error "fieldstore files are little-endian; this host is not."
#endif

/// Everything about a typed stream that does not depend on where its bytes live: the primitive and
/// container encodings and their checks, over a standard input and a standard output stream.
///
/// A stream is reading when its input is set, writing when its output is set. The constructors set
/// one side to a placeholder without a buffer, so that a new stream has a direction but is not
/// good; the storage class replaces the placeholder in Open().
class POStreamIO : public IStreamer {
public:
    using OutputCloser = std::function<void(const std::string& identifier, std::ostream* stream)>;
    using InputPreparer = std::function<void(const std::string& identifier)>;

    POStreamIO(bool inTextMode, const std::string& name, OutputCloser closeCallback);
    POStreamIO(bool inTextMode, const std::string& name, InputPreparer readCallback);

    std::streampos GetPosition() override;
    void Close() override;
    std::string GetIdentifier() override { return identifier; }
    bool IsGood() override;
    bool IsReading() override { return in.Stream() != nullptr; }
    bool IsWriting() override { return out.Stream() != nullptr; }
    void CloseInput() override { Close(); }
    void OpenInput() override { Open(eRead, 0); }
    void CloseOutput() override { Close(); }
    void OpenOutput(int mode) override { Open(eWrite, mode); }
    using IStreamer::Seek;
    void Seek(std::streampos position) override;
    void SetTextMode(bool inTextMode) override { textMode = inTextMode; }
    bool IsValid() override;
    bool IsTextMode() override { return textMode; }

    FIELDSTORE_CONTAINER_TYPES(FIELDSTORE_DECLARE_SEQUENCE, FIELDSTORE_DECLARE_PAIR)

    void Read(std::string& value, const std::string& terminator, int maxLength) override;
    void Read(char* buffer, std::int64_t count) override;
    void Read(std::complex<double>& value) override { ReadValue(value); }
    void Read(double& value) override { ReadValue(value); }
    void Read(std::int64_t& value) override { ReadValue(value); }
    void Read(std::uint64_t& value) override { ReadValue(value); }
    void Read(unsigned int& value) override { ReadValue(value); }
    void Read(int& value) override { ReadValue(value); }
    void Read(char& value) override { ReadValue(value); }

    void Write(const char* buffer, std::uint64_t count) override;
    void Write(const std::string& value, const std::string& separator) override;
    void Write(const std::complex<double>& value, const std::string& separator) override {
        WriteValue(value, separator);
    }
    void Write(const double& value, const std::string& separator) override {
        WriteValue(value, separator);
    }
    void Write(std::int64_t value, const std::string& separator) override {
        WriteValue(value, separator);
    }
    void Write(std::uint64_t value, const std::string& separator) override {
        WriteValue(value, separator);
    }
    void Write(unsigned int value, const std::string& separator) override {
        WriteValue(value, separator);
    }
    void Write(int value, const std::string& separator) override { WriteValue(value, separator); }
    void Write(char value, const std::string& separator) override { WriteValue(value, separator); }

    // The operations below are not part of IStreamer; containers and the object layer use them.

    /// Raises what a read would raise; consumes nothing.
    void CheckInput() const { in.Check(); }
    /// Raises what a write would raise.
    void CheckOutput() const { out.Check(); }
    /// Read check, then `count` bytes straight into `target`, in either mode.
    void ReadRaw(void* target, std::uint64_t count);
    /// Write check, then `count` bytes, in either mode.
    void WriteRaw(const void* bytes, std::uint64_t count) { out.Write(bytes, count); }

    // Runs of values that lie in the buffer in one piece, in binary mode: see InputArea,
    // OutputArea.
    template <typename T, typename Take>
    std::uint64_t TakeRun(std::uint64_t count, Take& take) {
        return textMode ? 0 : in.TakeRun<T>(count, take);
    }
    template <typename Map>
    void TakeEntries(Map& map, std::uint64_t& left) {
        if (!textMode) in.TakeEntries(map, left);
    }
    /// Shows the bytes in the buffer to `look(begin, end)`, which returns how far it got, and moves
    /// there.
    template <typename Look>
    void TakeOver(const Look& look) {
        if (!textMode && in.IsGood()) in.TakeOver(look);
    }
    template <typename Iterator>
    std::size_t PutRun(Iterator& element, std::size_t count) {
        return textMode ? 0 : out.PutRun(element, count);
    }

    /// Reads a large raw vector by way of the buffer. One that is cut short gets its whole length,
    /// as by any other read, when that is at most `resizedBytes`; else "Bad stream;" is raised.
    template <typename T>
    void ReadLarge(std::vector<T>& value, std::uint64_t count, std::uint64_t resizedBytes) {
        in.TakeLarge(value, count);
        if (value.size() < count && count > resizedBytes / sizeof(T)) RaiseBadStream();
        value.resize(fieldstore::MemorySize(count));
    }

    /// Binary mode: moves over bytes without looking at them, and past long runs without reading
    /// them. Raises "Bad stream;" when the input ends before.
    void SkipBytes(std::uint64_t count) { in.Skip(count); }
    /// Text mode: moves over numbers, of which only the characters are looked at. Raises "Bad
    /// stream;" when the input ends before, or has something else there.
    void SkipNumbers(std::uint64_t count);

    /// The bytes that are known to follow the input's position; 0 when nothing is known.
    std::uint64_t InputLeft() const { return in.Left(); }
    /// Consumes white space without failing at the end of the input.
    void SkipWhiteSpace() { in.SkipWhiteSpace(); }

    /// Whether a number in text mode reached to the very end of the input, where a whole one is
    /// followed by its separator.
    bool NumberMetEnd() const { return numberMetEnd; }

    /// Whether the system failed to give what is stored, as opposed to its coming to an end.
    bool HasReadError() const { return in.Stream() && in.Stream()->bad(); }

    /// Lets an empty raw vector be read at the very end of the input, where the read check would
    /// raise. Persistent objects need it: what they wrote last may be an empty vector.
    void AcceptEmptyVectorAtEnd() { emptyVectorAtEnd = true; }
    /// Whether the elements of a vector whose count was just read need no read at all.
    bool EndsWithEmptyVector(std::uint64_t count) const {
        return emptyVectorAtEnd && count == 0 && in.IsGood();
    }

protected:
    /// `length` is the number of bytes in the input, 0 when unknown.
    void SetInput(std::shared_ptr<std::istream> stream, std::uint64_t length = 0);
    void SetOutput(std::shared_ptr<std::ostream> stream) { out.Set(std::move(stream)); }
    const std::shared_ptr<std::istream>& Input() const { return in.Stream(); }
    const std::shared_ptr<std::ostream>& Output() const { return out.Stream(); }

    std::string identifier;
    OutputCloser CloseCallback;
    InputPreparer ReadCallback;

private:
    template <typename T>
    void ReadValue(T& value) {
        if (textMode ? in.TakeText(value) : in.TakeBytes(&value, sizeof value)) return;
        ReadValueSlowly(value);
    }
    template <typename T>
    void WriteValue(const T& value, const std::string& separator) {
        if (!textMode && out.PutBytes(&value, sizeof value)) return;
        WriteValueSlowly(value, separator);
    }
    template <typename T>
    void ReadValueSlowly(T& value);
    template <typename T>
    void WriteValueSlowly(const T& value, const std::string& separator);

    [[noreturn]] static void RaiseBadStream();
    void ReadBinaryString(std::string& value, int limit);
    void ReadTextString(std::string& value, char terminator, int limit);

    bool textMode;
    bool emptyVectorAtEnd = false;
    bool numberMetEnd = false;
    fieldstore::InputArea in;
    fieldstore::OutputArea out;
};

#endif
