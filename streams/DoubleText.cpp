// SPDX-License-Identifier: Apache-2.0
#include "streams/DoubleText.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "streams/DigitText.h"
#include "streams/DoubleBits.h"
#include "streams/PowersOfTen.h"
#include "streams/StandardFromChars.h"
#include "streams/WideProduct.h"

// Both directions multiply a number of 64 bits by a power of ten with 128 bits and round once.
//
// Why the result is exact: let M < 2^64 be the number and 10^n = (P + d) 2^e, where P is the entry
// of the table and 0 <= d < 1, as the table asserts. The true product is (M P + M d) 2^e. Of M P we
// keep X, without the lowest 64 bits. In units of its last place, X lacks less than 1 for these
// bits and M d / 2^64 < 1 for d, so the true product lies from X to below X + 2.
//
// Let F be the lower f bits of X, which rounding drops, and H = 2^(f - 1) a half. If F > H, the
// true rest lies above the half; if F + 2 <= H, it lies below. (Should it reach 2^f, the result is
// the same: rounded up to the next number, or just above that and rounded down to it.) Only F = H
// and F = H - 1 leave open on which side the true product lies, or whether it is the half itself.
// Then the standard conversion decides. That happens to numbers on a half, and otherwise to hardly
// any: f is at least 73.

namespace fieldstore {
namespace {

using std::uint64_t;

/// X of the comment above.
Wide TimesPowerOfTen(uint64_t number, const Wide& power) {
    Wide product = Multiply(number, power.high);
    const uint64_t carried = Multiply(number, power.low).high;
    product.low += carried;
    product.high += product.low < carried ? 1 : 0;
    return product;
}

/// Divides by 2^(64 + bits) and rounds. Returns false when that leaves open what the result is.
bool RoundProduct(const Wide& product, unsigned bits, uint64_t& rounded) {
    const uint64_t half = uint64_t{1} << (bits - 1);
    const uint64_t rest = product.high & (2 * half - 1);
    rounded = (product.high >> bits) + (product.high >> (bits - 1) & 1);
    const bool isHalf = product.low == 0 && rest == half;
    const bool isBelow = product.low == ~uint64_t{0} && rest == half - 1;
    return !isHalf && !isBelow;
}

// ---- writing ----

/// The value of a double as `digits` 10^(exponent - 15), 10^15 <= digits < 10^16.
struct Decimal {
    uint64_t digits;
    int exponent;
};

/// Rounds a normal double; returns false when the product leaves the result open.
bool RoundToDigits(uint64_t bits, Decimal& decimal) {
    const int exponent = BiasedExponent(bits) - kExponentBias;
    const uint64_t mantissa = (bits | kHiddenBit) << (kWordBits - 1 - kMantissaBits);

    // 2^exponent and the value differ in their decimal exponent when a power of ten lies between.
    // A mantissa equal to the upper word of that power is less than 2^-63 of the value below it, so
    // that either exponent gives the power itself.
    int q = FloorLog10OfTwoTo(exponent);
    const bool reaches = mantissa >= kPowersOfTen[q + 1].high;
    q += FloorLog2OfTenTo(q + 1) == exponent && reaches ? 1 : 0;

    const int n = kTextPrecision - 1 - q;
    const Wide product = TimesPowerOfTen(mantissa, kPowersOfTen[n]);
    // The units of mantissa, power and product's upper word: 2^(exponent - 63 + log - 127 + 128).
    const int dropped = 62 - exponent - FloorLog2OfTenTo(n);
    if (!RoundProduct(product, static_cast<unsigned>(dropped), decimal.digits)) return false;
    decimal.exponent = q;
    if (decimal.digits == TenTo(kTextPrecision)) {
        decimal.digits /= 10;
        ++decimal.exponent;
    }
    return true;
}

char* WriteDecimal(char* out, const Decimal& decimal) {
    const DigitText text(decimal.digits);
    const int exponent = decimal.exponent;
    constexpr int leastFixed = -4;
    if (exponent >= 0 && exponent < kTextPrecision) {
        const auto whole = static_cast<unsigned>(exponent) + 1;
        if (text.length <= whole) {
            text.Write(out);
            return out + whole;
        }
        text.WriteWithPoint(out, whole);
        return out + text.length + 1;
    }
    if (exponent < 0 && exponent >= leastFixed) {
        std::memcpy(out, "0.000000", kCharsAtOnce);
        out += 1 - exponent;
        text.Write(out);
        return out + text.length;
    }
    text.WriteWithPoint(out, 1);
    return WriteExponent(out + (text.length == 1 ? 1 : text.length + 1), exponent);
}

// ---- reading ----

constexpr std::array<uint64_t, kCharsAtOnce + 1> kPowersToEight{
    TenTo(0), TenTo(1), TenTo(2), TenTo(3), TenTo(4), TenTo(5), TenTo(6), TenTo(7), TenTo(8)};

/// The number that eight digits make, one in a byte: pairs, then fours and the whole at once.
uint64_t JoinDigits(uint64_t digits) {
    constexpr uint64_t lane = 0x000000ff000000ffU;
    constexpr uint64_t first = 100 + (uint64_t{1000000} << 32U);
    constexpr uint64_t second = 1 + (uint64_t{10000} << 32U);
    const uint64_t pairs = digits * 10 + (digits >> kCharBits);
    return ((pairs & lane) * first + (pairs >> 16U & lane) * second) >> 32U;
}

/// Reads digits; all of them together make one number, modulo 2^64.
class DigitReader {
public:
    DigitReader(const char* begin, const char* limit) : at(begin), end(limit) {}

    // Both return how many digits came, or -1 when the text ends with them or nearly so.

    /// One at a time: the whole part of a number is short and often as long as the one before.
    std::ptrdiff_t TakeWhole() {
        const char* const first = at;
        for (; at != end; ++at) {
            const auto digit = static_cast<unsigned>(*at - '0');
            if (digit > 9) return at - first;
            number = number * 10 + digit;
        }
        return -1;
    }
    /// Eight at a time: a fraction is long.
    std::ptrdiff_t TakeFraction() {
        const char* const first = at;
        while (end - at >= std::ptrdiff_t{kCharsAtOnce}) {
            const uint64_t digits = LoadChars(at) ^ Repeated('0');
            // The highest bit of a byte shows what is no digit; a carry spoils only later bytes.
            const uint64_t others = ((digits + Repeated(0x76)) | digits) & Repeated(0x80);
            if (others != 0) {
                const unsigned length = TrailingZeros(others) / kCharBits;
                if (length != 0) Append(digits, length);
                return at - first;
            }
            Append(digits, kCharsAtOnce);
        }
        return -1;
    }
    void Skip() { ++at; }
    /// The character behind the digits; there is one unless they were -1.
    char Next() const { return *at; }
    const char* Position() const { return at; }
    uint64_t Number() const { return number; }

private:
    void Append(uint64_t digits, unsigned length) {
        const unsigned missing = (kCharsAtOnce - length) * kCharBits;
        number = number * kPowersToEight[length] + JoinDigits(digits << missing);
        at += length;
    }

    const char* at;
    const char* end;
    uint64_t number = 0;
};

/// A plain decimal number: `digits` 10^exponent, and where it ends in the text.
struct DecimalText {
    bool negative = false;
    uint64_t digits = 0;
    int exponent = 0;
    const char* end = nullptr;
};

/// Reads what follows an "e". Returns false unless that is one to three digits and more text.
bool ParseExponent(const char* first, const char* last, DecimalText& text) {
    const char* at = first;
    const bool negative = at != last && *at == '-';
    if (at != last && (*at == '-' || *at == '+')) ++at;
    const char* const digits = at;
    int magnitude = 0;
    for (; at != last && *at >= '0' && *at <= '9' && at - digits <= 3; ++at)
        magnitude = magnitude * 10 + (*at - '0');
    if (at == last || at == digits || at - digits > 3) return false;
    text.exponent += negative ? -magnitude : magnitude;
    text.end = at;
    return true;
}

/// How many digits of a number are zeros before all others.
std::ptrdiff_t CountZerosInFront(const char* at, const char* end) {
    std::ptrdiff_t zeros = 0;
    for (; at != end && (*at == '0' || *at == '.'); ++at) zeros += *at == '0' ? 1 : 0;
    return zeros;
}

/// Reads a number with digits on both sides of its point, up to 19 in all and more text behind.
/// Returns false for any other.
bool ParseDecimal(const char* first, const char* last, DecimalText& text) {
    text.negative = first != last && *first == '-';
    if (text.negative) ++first;
    DigitReader reader(first, last);
    std::ptrdiff_t count = reader.TakeWhole();
    if (count <= 0) return false;
    std::ptrdiff_t fraction = 0;
    if (reader.Next() == '.') {
        reader.Skip();
        fraction = reader.TakeFraction();
        if (fraction <= 0 || fraction > -kLeastPowerOfTen) return false;
        count += fraction;
    }
    constexpr std::ptrdiff_t most = 19;  // 10^19 < 2^64
    if (count > most) count -= CountZerosInFront(first, reader.Position());
    if (count > most) return false;
    text.digits = reader.Number();
    text.exponent = -static_cast<int>(fraction);
    text.end = reader.Position();
    const char next = reader.Next();
    return (next != 'e' && next != 'E') || ParseExponent(text.end + 1, last, text);
}

/// Rounds to a normal double or zero. Returns false for others, and when the product leaves the
/// result open.
bool RoundToDouble(const DecimalText& text, double& value) {
    uint64_t bits = 0;
    if (text.digits != 0) {
        constexpr int most = 308;
        if (text.exponent < kLeastPowerOfTen || text.exponent > most) return false;
        const unsigned zeros = LeadingZeros(text.digits);
        const Wide product = TimesPowerOfTen(text.digits << zeros, kPowersOfTen[text.exponent]);
        // Two factors of which the highest bit is set: in the product it is the first or the
        // second.
        const unsigned first = static_cast<unsigned>(product.high >> (kWordBits - 1));
        if (!RoundProduct(product, kWordBits - 2 - kMantissaBits + first, bits)) return false;
        const int biased = 63 - static_cast<int>(zeros) + FloorLog2OfTenTo(text.exponent) +
                           static_cast<int>(first) + kExponentBias;
        // Rounding may still carry into the exponent; the hidden bit adds 1 to it in any case.
        if (biased < 1 || biased + 1 >= static_cast<int>(kExponentMask)) return false;
        bits += static_cast<uint64_t>(biased - 1) << kMantissaBits;
    }
    bits |= uint64_t{text.negative} << (kWordBits - 1);
    std::memcpy(&value, &bits, sizeof value);
    return true;
}

}  // namespace

char* FormatDouble(char* out, double value) {
    const uint64_t bits = BitsOf(value);
    const int biased = BiasedExponent(bits);
    const unsigned sign = static_cast<unsigned>(bits >> (kWordBits - 1));
    *out = '-';
    if (bits << 1U == 0) {
        out[sign] = '0';
        return out + sign + 1;
    }
    const bool isWord = biased == static_cast<int>(kExponentMask);
    if (isWord && bits << (kWordBits - kMantissaBits) != 0) {
        // Some standard libraries have longer words for it.
        constexpr std::string_view word = "nan";
        return std::copy(word.begin(), word.end(), out + sign);
    }
    const bool normal = biased != 0 && !isWord;
    Decimal decimal;
    if (!normal || !RoundToDigits(bits, decimal)) {
        char* const end = out + kDoubleTextCapacity;
        return std::to_chars(out, end, value, std::chars_format::general, kTextPrecision).ptr;
    }
    return WriteDecimal(out + sign, decimal);
}

std::from_chars_result ParseDouble(const char* first, const char* last, double& value) {
    DecimalText text;
    if (ParseDecimal(first, last, text) && RoundToDouble(text, value)) return {text.end, {}};
    return StandardFromChars(first, last, value);
}

}  // namespace fieldstore
