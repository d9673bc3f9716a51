// SPDX-License-Identifier: Apache-2.0
#include "streams/NumberText.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <locale>
#include <sstream>
#include <string>
#include <string_view>
#include <system_error>
#include <type_traits>

#include "streams/BufferArea.h"
#include "streams/StandardFromChars.h"

namespace fieldstore {
namespace {

constexpr int kEnd = std::char_traits<char>::eof();

bool IsSpace(int c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}
bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}
bool IsSign(char c) {
    return c == '+' || c == '-';
}

/// Says, character by character, how far an integer goes: a sign, then digits.
class IntegerShape {
public:
    bool Accept(char c) {
        const bool accepted = IsDigit(c) || (first && IsSign(c));
        first = false;
        return accepted;
    }

private:
    bool first = true;
};

/// The same for a double: a sign, digits around at most one point, then, once there is a digit, an
/// exponent with its own sign; or the words inf and nan.
class DoubleShape {
public:
    bool Accept(char c) {
        if (word != nullptr) return AcceptWord(c);
        const bool signAllowed = signPlace;
        signPlace = false;
        if (IsSign(c)) return signAllowed;
        if (IsDigit(c)) return digit = true;
        if (c == '.') return !point && !exponent && (point = true);
        if (c == 'e' || c == 'E') return AcceptExponent();
        return StartWord(c);
    }

private:
    bool AcceptExponent() {
        if (!digit || exponent) return false;
        return exponent = signPlace = true;
    }
    bool StartWord(char c) {
        if (digit || point) return false;
        if (c == 'i') word = "nf";
        if (c == 'n') word = "an";
        return word != nullptr;
    }
    bool AcceptWord(char c) {
        if (*word == '\0' || c != *word) return false;
        ++word;
        return true;
    }

    bool signPlace = true;
    bool digit = false;
    bool point = false;
    bool exponent = false;
    const char* word = nullptr;  // what is left of inf or nan
};

/// The characters of one number, consumed from the source. They are looked at where they lie in the
/// buffer when all of them do, and collected otherwise.
template <typename Shape>
class Token {
public:
    explicit Token(std::istream& source) {
        std::streambuf& buffer = *source.rdbuf();
        const char* begin = BufferArea::ReadPosition(buffer);
        const std::size_t available = BufferArea::Readable(buffer);
        std::size_t length = 0;
        while (length < available && shape.Accept(begin[length])) ++length;
        text = std::string_view(begin, length);
        if (length == available)
            Collect(source, buffer);
        else
            BufferArea::Consume(buffer, length);
    }
    std::string_view Text() const { return text; }

private:
    void Collect(std::istream& source, std::streambuf& buffer) {
        collected = text;
        BufferArea::Consume(buffer, text.size());
        int next = buffer.sgetc();
        while (next != kEnd && shape.Accept(static_cast<char>(next))) {
            collected.push_back(static_cast<char>(next));
            next = buffer.snextc();
        }
        if (next == kEnd) source.setstate(std::ios::eofbit);
        text = collected;
    }

    Shape shape;
    std::string_view text;
    std::string collected;
};

bool SkipToNumber(std::istream& source) {
    if (!source.good()) {
        source.setstate(std::ios::failbit);
        return false;
    }
    std::streambuf& buffer = *source.rdbuf();
    int next = buffer.sgetc();
    while (IsSpace(next)) next = buffer.snextc();
    if (next == kEnd) source.setstate(std::ios::eofbit | std::ios::failbit);
    return next != kEnd;
}

template <typename T>
bool ConvertWhole(std::string_view text, T& value, std::errc& error) {
    const char* end = text.data() + text.size();
    std::from_chars_result result{};
    if constexpr (std::is_floating_point_v<T>)
        result = StandardFromChars(text.data(), end, value);
    else
        result = std::from_chars(text.data(), end, value);
    error = result.ec;
    return result.ec != std::errc::invalid_argument && result.ptr == end;
}

/// Returns false when the stream has to fail.
template <typename Integer>
bool Convert(std::string_view text, Integer& value) {
    using Limits = std::numeric_limits<Integer>;
    const bool negative = !text.empty() && text.front() == '-';
    if (!text.empty() && IsSign(text.front())) text.remove_prefix(1);
    std::make_unsigned_t<Integer> magnitude = 0;
    std::errc error{};
    value = 0;
    if (!ConvertWhole(text, magnitude, error)) return false;
    constexpr auto largest = static_cast<std::make_unsigned_t<Integer>>(Limits::max());
    const auto limit = negative && Limits::is_signed ? largest + 1 : largest;
    if (error != std::errc{} || magnitude > limit) {
        value = negative && Limits::is_signed ? Limits::min() : Limits::max();
        return false;
    }
    // Unsigned arithmetic wraps, as the extractors of unsigned types do for a minus sign.
    value = static_cast<Integer>(negative ? 0 - magnitude : magnitude);
    return true;
}

/// Whether a number is no larger than the largest double as a writer prints it: cut to 16 digits,
/// which rounds it up to just beyond the range. No type of every compiler holds that value.
bool IsNoLargerThanPrinted(std::string_view text) {
    constexpr std::string_view largest = "1797693134862316";
    constexpr std::int64_t exponentOfLargest = 308;
    const std::size_t end = std::min(text.find_first_of("eE"), text.size());
    std::string_view power = text.substr(std::min(end + 1, text.size()));
    if (!power.empty() && power.front() == '+') power.remove_prefix(1);
    std::int64_t exponent = 0;  // of the first digit that is not zero
    std::errc error{};
    if (!power.empty() && (!ConvertWhole(power, exponent, error) || error != std::errc{}))
        return false;
    std::string digits;
    bool point = false;
    for (const char c : text.substr(0, end)) {
        if (c == '.') point = true;
        if (c < '0' || c > '9') continue;
        const bool counts = !digits.empty() || c != '0';
        if (counts && !point) ++exponent;
        if (!counts && point) --exponent;
        if (counts) digits += c;
    }
    --exponent;
    digits.erase(digits.find_last_not_of('0') + 1);
    return exponent < exponentOfLargest || (exponent == exponentOfLargest && digits <= largest);
}

/// A number outside the range of double: the extractor itself decides, but for the largest values
/// that a writer prints.
bool ConvertOutOfRange(std::string_view text, double& value) {
    std::istringstream extractor{std::string(text)};
    extractor.imbue(std::locale::classic());
    if (extractor >> value) return true;
    constexpr double largest = std::numeric_limits<double>::max();
    value = std::clamp(value, -largest, largest);  // some extractors leave an infinity
    return IsNoLargerThanPrinted(text);
}

bool Convert(std::string_view text, double& value) {
    if (!text.empty() && text.front() == '+') text.remove_prefix(1);
    std::errc error{};
    double parsed = 0;
    value = 0;
    if (!ConvertWhole(text, parsed, error)) return false;
    if (error == std::errc::result_out_of_range) return ConvertOutOfRange(text, value);
    value = parsed;
    return true;
}

template <typename T>
void Parse(std::istream& source, T& value) {
    using Shape = std::conditional_t<std::is_same_v<T, double>, DoubleShape, IntegerShape>;
    bool converted = true;
    try {
        if (!SkipToNumber(source)) return;
        const Token<Shape> token(source);
        converted = Convert(token.Text(), value);
    } catch (const std::exception&) {
        // A read error inside the buffer; the extractors report it in the state as well.
        source.setstate(std::ios::badbit);
    }
    if (!converted) source.setstate(std::ios::failbit);
}

}  // namespace

void ParseNumber(std::istream& source, int& value) {
    Parse(source, value);
}
void ParseNumber(std::istream& source, unsigned int& value) {
    Parse(source, value);
}
void ParseNumber(std::istream& source, std::int64_t& value) {
    Parse(source, value);
}
void ParseNumber(std::istream& source, std::uint64_t& value) {
    Parse(source, value);
}
void ParseNumber(std::istream& source, double& value) {
    Parse(source, value);
}

}  // namespace fieldstore
