// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_POSTREAMIO_H
#define FIELDSTORE_POSTREAMIO_H

#include <algorithm>
#include <complex>
#include <cstdint>
#include <cstring>
#include <functional>
#include <istream>
#include <memory>
#include <ostream>
#include <string>

#include "fieldstore/IStreamer.h"
#include "streams/BufferArea.h"
#include "streams/ContainerTypes.h"
#include "streams/FlatEncoding.h"
#include "streams/NumberText.h"

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

    /// The longest string that can be read, in bytes.
    static constexpr int kMaxStringLength = 10000;

    POStreamIO(bool inTextMode, const std::string& name, OutputCloser closeCallback);
    POStreamIO(bool inTextMode, const std::string& name, InputPreparer readCallback);

    std::streampos GetPosition() override;
    void Close() override;
    std::string GetIdentifier() override { return identifier; }
    bool IsGood() override;
    bool IsReading() override { return input != nullptr; }
    bool IsWriting() override { return output != nullptr; }
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
    void CheckInput() const;
    /// Raises what a write would raise.
    void CheckOutput() const {
        if (!output || !output->good()) RaiseBadStream();
    }
    /// Read check, then `count` bytes straight into `target`, in either mode.
    void ReadRaw(void* target, std::uint64_t count);
    /// Write check, then `count` bytes, in either mode.
    void WriteRaw(const void* bytes, std::uint64_t count) {
        const bool copied = count != 0 && count <= fieldstore::BufferArea::kLargestCopy &&
                            PutBytes(bytes, static_cast<std::size_t>(count));
        if (!copied) WriteRawSlowly(bytes, count);
    }

    /// Binary mode: hands over as many values of fixed size as the get area of a good input holds,
    /// at most `count`, and returns how many. No read check could raise for these.
    template <typename T, typename Take>
    std::uint64_t TakeRun(std::uint64_t count, Take& take) {
        if (textMode || inputBuffer == nullptr || !input->good()) return 0;
        constexpr std::size_t size = fieldstore::kFixedSize<T>;
        const std::uint64_t held = fieldstore::BufferArea::Readable(*inputBuffer) / size;
        const std::uint64_t taken = count < held ? count : held;
        const char* from = fieldstore::BufferArea::ReadPosition(*inputBuffer);
        for (std::uint64_t i = 0; i < taken; ++i) {
            T value;
            from = fieldstore::FetchFixed(from, value);
            take(value);
        }
        fieldstore::BufferArea::Consume(*inputBuffer, static_cast<std::size_t>(taken) * size);
        return taken;
    }

    /// Binary mode: hands the get area of a good input to a ColumnMap, as far as `left` entries of
    /// it lie there as a whole; counts `left` down.
    template <typename Map>
    void TakeEntries(Map& map, std::uint64_t& left) {
        using fieldstore::BufferArea;
        if (textMode || inputBuffer == nullptr || !input->good()) return;
        const std::size_t held = BufferArea::Readable(*inputBuffer);
        const char* from = BufferArea::ReadPosition(*inputBuffer);
        const char* rest = map.AddEncoded(from, from + held, left, InputLeft());
        BufferArea::Consume(*inputBuffer, static_cast<std::size_t>(rest - from));
    }

    /// Binary mode: writes values from `element` on as long as each fits the put area of a good
    /// output, at most `count`, and returns how many; `element` moves on.
    template <typename Iterator>
    std::size_t PutRun(Iterator& element, std::size_t count) {
        using fieldstore::BufferArea;
        if (textMode || outputBuffer == nullptr || !output->good()) return 0;
        char* const begin = BufferArea::WritePosition(*outputBuffer);
        char* const end = begin + BufferArea::Writable(*outputBuffer);
        char* to = begin;
        std::size_t put = 0;
        Iterator at = element;  // a local, which the stores cannot be taken to change
        for (; put < count; ++put, ++at) {
            const std::size_t size = fieldstore::FlatSize(*at);
            if (size > static_cast<std::size_t>(end - to) || size > BufferArea::kLargestCopy) break;
            to = fieldstore::StoreFlat(to, *at);
        }
        element = at;
        BufferArea::Advance(*outputBuffer, static_cast<std::size_t>(to - begin));
        return put;
    }

    /// Reads a large raw vector by way of the get area. Setting all of it to zero first, as a
    /// resize does, takes longer than the copy; and a false count costs no memory. A vector that is
    /// cut short gets its whole length, as by any other read, when that is at most `resizedBytes`;
    /// else "Bad stream;" is raised.
    template <typename T>
    void ReadLarge(std::vector<T>& value, std::uint64_t count, std::uint64_t resizedBytes) {
        using fieldstore::BufferArea;
        CheckInput();
        value.clear();
        value.reserve(static_cast<std::size_t>(std::min(count, InputLeft() / sizeof(T))));
        while (value.size() < count) {
            const std::uint64_t held = BufferArea::Readable(*inputBuffer) / sizeof(T);
            if (held == 0) {
                T acrossRefill{};
                ReadRest(reinterpret_cast<char*>(&acrossRefill), sizeof acrossRefill);
                if (!input->good()) break;
                value.push_back(acrossRefill);
                continue;
            }
            const auto taken = static_cast<std::size_t>(std::min(held, count - value.size()));
            const char* from = BufferArea::ReadPosition(*inputBuffer);
            value.insert(value.end(), fieldstore::RawIterator<T>(from),
                         fieldstore::RawIterator<T>(from + taken * sizeof(T)));
            BufferArea::Consume(*inputBuffer, taken * sizeof(T));
        }
        if (value.size() < count && count > resizedBytes / sizeof(T)) RaiseBadStream();
        value.resize(static_cast<std::size_t>(count));
    }

    /// The bytes that are known to follow the input's position; 0 when nothing is known.
    std::uint64_t InputLeft() const;
    /// Consumes white space without failing at the end of the input.
    void SkipWhiteSpace();

    /// Whether a number in text mode reached to the very end of the input, where a whole one is
    /// followed by its separator.
    bool NumberMetEnd() const { return numberMetEnd; }

    /// Whether the system failed to give what is stored, as opposed to its coming to an end.
    bool HasReadError() const { return input && input->bad(); }

    /// Lets an empty raw vector be read at the very end of the input, where the read check would
    /// raise. Persistent objects need it: what they wrote last may be an empty vector.
    void AcceptEmptyVectorAtEnd() { emptyVectorAtEnd = true; }
    /// Whether the elements of a vector whose count was just read need no read at all.
    bool EndsWithEmptyVector(std::uint64_t count) const {
        return emptyVectorAtEnd && count == 0 && input && input->good();
    }

protected:
    /// `length` is the number of bytes in the input, 0 when unknown.
    void SetInput(std::shared_ptr<std::istream> stream, std::uint64_t length = 0);
    void SetOutput(std::shared_ptr<std::ostream> stream);
    const std::shared_ptr<std::istream>& Input() const { return input; }
    const std::shared_ptr<std::ostream>& Output() const { return output; }

    std::string identifier;
    OutputCloser CloseCallback;
    InputPreparer ReadCallback;

private:
    template <typename T>
    void ReadValue(T& value) {
        if (textMode ? TakeText(value) : TakeBytes(&value, sizeof value)) return;
        ReadValueSlowly(value);
    }
    template <typename T>
    void WriteValue(const T& value, const std::string& separator) {
        if (!textMode && PutBytes(&value, sizeof value)) return;
        WriteValueSlowly(value, separator);
    }
    template <typename T>
    void ReadValueSlowly(T& value);
    template <typename T>
    void WriteValueSlowly(const T& value, const std::string& separator);

    /// Takes bytes that are already in the get area of a good input, where the read check cannot
    /// raise; returns false otherwise.
    bool TakeBytes(void* target, std::size_t count) {
        if (inputBuffer == nullptr || !input->good()) return false;
        if (fieldstore::BufferArea::Readable(*inputBuffer) < count || count == 0) return false;
        std::memcpy(target, fieldstore::BufferArea::ReadPosition(*inputBuffer), count);
        fieldstore::BufferArea::Consume(*inputBuffer, count);
        return true;
    }
    /// Takes a number in text form that lies in the get area as a whole; returns false otherwise.
    template <typename T>
    bool TakeText(T& value) {
        using fieldstore::BufferArea;
        if (inputBuffer == nullptr || !input->good()) return false;
        const char* begin = BufferArea::ReadPosition(*inputBuffer);
        const char* end = begin + BufferArea::Readable(*inputBuffer);
        const char* rest = fieldstore::ParsePlain(begin, end, value);
        if (rest == nullptr) return false;
        BufferArea::Consume(*inputBuffer, static_cast<std::size_t>(rest - begin));
        return true;
    }
    /// Puts bytes for which the put area of a good output has room; returns false otherwise.
    bool PutBytes(const void* bytes, std::size_t count) {
        if (outputBuffer == nullptr || !output->good()) return false;
        if (fieldstore::BufferArea::Writable(*outputBuffer) < count) return false;
        std::memcpy(fieldstore::BufferArea::WritePosition(*outputBuffer), bytes, count);
        fieldstore::BufferArea::Advance(*outputBuffer, count);
        return true;
    }
    [[noreturn]] static void RaiseBadStream();
    void WriteRawSlowly(const void* bytes, std::uint64_t count);
    std::shared_ptr<std::istream> CheckedInput() const;
    std::shared_ptr<std::ostream> CheckedOutput() const;
    void ReadRest(char* target, std::uint64_t count);
    void ReadBinaryString(std::string& value, int limit);
    void ReadTextString(std::string& value, char terminator, int limit);

    bool textMode;
    bool emptyVectorAtEnd = false;
    bool numberMetEnd = false;
    std::shared_ptr<std::istream> input;
    std::shared_ptr<std::ostream> output;
    // The buffers of the two streams, null for a placeholder; kept beside them for speed.
    std::streambuf* inputBuffer = nullptr;
    std::streambuf* outputBuffer = nullptr;
    std::uint64_t inputLength = 0;  // bytes; 0: not known
};

#endif
