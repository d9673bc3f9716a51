// SPDX-License-Identifier: Apache-2.0
#include "streams/POStreamIO.h"

#include <algorithm>
#include <cfloat>
#include <limits>
#include <stdexcept>
#include <utility>

#include "streams/BufferArea.h"
#include "streams/ContainerEncoding.h"
#include "streams/DoubleText.h"
#include "streams/Limits.h"
#include "streams/NumberText.h"
#include "streams/StreamErrors.h"
#include "streams/StreamMessages.h"
#include "streams/WordScan.h"

static_assert(std::numeric_limits<double>::is_iec559 && sizeof(double) == 8,
              "fieldstore files hold IEEE-754 double precision values.");
static_assert(
    FLT_EVAL_METHOD != 2,
    "Doubles would be rounded twice and lose bits; on x86, build with -msse2 -mfpmath=sse.");
static_assert(sizeof(int) == 4 && sizeof(std::complex<double>) == 16,
              "Values go to the stream as they lie in memory.");

using namespace fieldstore;

namespace {

// Room for a complex number, which is two others and a space, with a separator of one character.
constexpr std::size_t kTextCapacity = 64;
static_assert(kTextCapacity >= 2 * kDoubleTextCapacity + 2);

char* FormatText(char* out, char* end, const std::complex<double>& value) {
    out = FormatNumber(out, end, value.real());
    *out++ = ' ';
    return FormatNumber(out, end, value.imag());
}

char* FormatText(char* out, char*, char value) {
    *out = value;
    return out + 1;
}

template <typename T>
char* FormatText(char* out, char* end, T value) {
    return FormatNumber(out, end, value);
}

void ParseText(std::istream& source, std::complex<double>& value) {
    double real = value.real();
    double imaginary = value.imag();
    ParseNumber(source, real);
    ParseNumber(source, imaginary);
    value = {real, imaginary};
}

void ParseText(std::istream& source, char& value) {
    source >> value;
}

template <typename T>
void ParseText(std::istream& source, T& value) {
    ParseNumber(source, value);
}

template <typename T>
constexpr bool kHasPrecision = std::is_same_v<T, double> || std::is_same_v<T, std::complex<double>>;

}  // namespace

POStreamIO::POStreamIO(bool inTextMode, const std::string& name, OutputCloser closeCallback)
    : identifier(name),
      CloseCallback(std::move(closeCallback)),
      ReadCallback([](const std::string&) {}),
      textMode(inTextMode) {
    SetOutput(std::make_shared<std::iostream>(nullptr));
}

POStreamIO::POStreamIO(bool inTextMode, const std::string& name, InputPreparer readCallback)
    : identifier(name),
      CloseCallback([](const std::string&, std::ostream*) {}),
      ReadCallback(std::move(readCallback)),
      textMode(inTextMode) {
    SetInput(std::make_shared<std::iostream>(nullptr));
}

void POStreamIO::SetInput(std::shared_ptr<std::istream> stream, std::uint64_t length) {
    numberMetEnd = false;
    in.Set(std::move(stream), length);
}

void POStreamIO::Close() {
    if (IsReading()) return SetInput(nullptr);
    SetOutput(nullptr);
}

bool POStreamIO::IsGood() {
    if (in.Stream()) return !in.Stream()->fail();
    return out.Stream() && !out.Stream()->fail();
}

bool POStreamIO::IsValid() {
    try {
        if (in.Stream())
            CheckInput();
        else
            CheckOutput();
        return true;
    } catch (...) {
        return false;
    }
}

void POStreamIO::RaiseBadStream() {
    throw StreamStateError(messages::kBadStreamState);
}

std::streampos POStreamIO::GetPosition() {
    return in.Checked()->tellg();
}

void POStreamIO::Seek(std::streampos position) {
    in.Checked()->seekg(position);
}

void POStreamIO::ReadRaw(void* target, std::uint64_t count) {
    if (count <= BufferArea::kLargestCopy && in.TakeBytes(target, static_cast<std::size_t>(count)))
        return;
    in.Checked()->read(static_cast<char*>(target), static_cast<std::streamsize>(count));
}

template <typename T>
void POStreamIO::ReadValueSlowly(T& value) {
    const auto source = in.Checked();
    if (textMode) {
        ParseText(*source, value);
        numberMetEnd = source->eof();
        return;
    }
    source->read(reinterpret_cast<char*>(&value), sizeof value);
}

template <typename T>
void POStreamIO::WriteValueSlowly(const T& value, const std::string& separator) {
    if (!textMode) return WriteRaw(&value, sizeof value);
    CheckOutput();
    if (kHasPrecision<T> && out.Stream()->precision() != kTextPrecision)
        out.Stream()->precision(kTextPrecision);
    char text[kTextCapacity];
    char* end = FormatText(text, text + kTextCapacity, value);
    if (separator.size() == 1) *end++ = separator.front();
    WriteRaw(text, static_cast<std::uint64_t>(end - text));
    if (separator.size() > 1) WriteRaw(separator.data(), separator.size());
}

// The header calls them, and a final class inlines the header.
#define FIELDSTORE_INSTANTIATE(Type)                        \
    template void POStreamIO::ReadValueSlowly<Type>(Type&); \
    template void POStreamIO::WriteValueSlowly<Type>(const Type&, const std::string&);
FIELDSTORE_INSTANTIATE(std::complex<double>)
FIELDSTORE_INSTANTIATE(double)
FIELDSTORE_INSTANTIATE(std::int64_t)
FIELDSTORE_INSTANTIATE(std::uint64_t)
FIELDSTORE_INSTANTIATE(unsigned int)
FIELDSTORE_INSTANTIATE(int)
FIELDSTORE_INSTANTIATE(char)
#undef FIELDSTORE_INSTANTIATE

void POStreamIO::Read(char* buffer, std::int64_t count) {
    std::uint64_t written = 0;
    ReadRaw(&written, sizeof written);
    if (written != static_cast<std::uint64_t>(count))
        throw std::runtime_error(messages::kBlockSizeMismatch);
    in.ReadRest(buffer, written);
}

void POStreamIO::Write(const char* buffer, std::uint64_t count) {
    WriteRaw(&count, sizeof count);
    if (count != 0) WriteRaw(buffer, count);
}

void POStreamIO::Read(std::string& value, const std::string& terminator, int maxLength) {
    const int limit = maxLength < 0 ? kMaxStringLength : std::min(maxLength, kMaxStringLength);
    if (!textMode) return ReadBinaryString(value, limit);
    if (terminator.size() != 1) throw std::runtime_error(messages::kBadTerminator);
    ReadTextString(value, terminator.front(), limit);
}

void POStreamIO::ReadBinaryString(std::string& value, int limit) {
    int length = 0;
    Read(length);
    if (length < 0 || length > limit) throw std::runtime_error(messages::kBadCharacterCount);
    std::string text(static_cast<std::size_t>(length), '\0');
    in.ReadRest(text.data(), text.size());
    value = text.substr(0, text.find('\0'));
}

void POStreamIO::ReadTextString(std::string& value, char terminator, int limit) {
    std::string text;
    for (;;) {
        const auto source = in.Checked();
        const char next = static_cast<char>(source->get());
        text.push_back(next);
        if (text.size() > static_cast<std::size_t>(limit))
            throw std::runtime_error(messages::kBadCharacterCount);
        if (next == terminator) break;
    }
    text.pop_back();
    value = text.substr(0, text.find('\0'));
}

void POStreamIO::Write(const std::string& value, const std::string& separator) {
    if (!textMode) {
        const int length = static_cast<int>(value.size());
        Write(length, separator);
        if (length > 0) WriteRaw(value.data(), static_cast<std::uint64_t>(length));
        return;
    }
    WriteRaw(value.data(), value.size());
    WriteRaw(separator.data(), separator.size());
}

void POStreamIO::SkipNumbers(std::uint64_t count) {
    WordScan scan(count);
    while (count != 0 && !scan.Done()) {
        if (!in.HasMore()) {
            numberMetEnd = scan.InWord();
            RaiseBadStream();
        }
        in.TakeOver([&scan](const char* begin, const char* end) { return scan.Over(begin, end); });
        if (scan.MetForeign()) RaiseBadStream();
    }
}

#define FIELDSTORE_STREAM_CLASS POStreamIO
FIELDSTORE_CONTAINER_TYPES(FIELDSTORE_DEFINE_SEQUENCE, FIELDSTORE_DEFINE_PAIR)
#undef FIELDSTORE_STREAM_CLASS
