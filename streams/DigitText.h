// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_DIGIT_TEXT_H
#define FIELDSTORE_DIGIT_TEXT_H

#include <cstdint>
#include <cstring>

#include "streams/WideProduct.h"

/// Decimal digits as characters, many at once.
namespace fieldstore {

inline constexpr unsigned kWordBits = 64;

/// Characters are handled eight at a time, the first in the lowest byte: hosts are little-endian.
inline constexpr unsigned kCharBits = 8;
inline constexpr unsigned kCharsAtOnce = 8;

constexpr std::uint64_t Repeated(unsigned char byte) {
    return byte * 0x0101010101010101U;
}

inline std::uint64_t LoadChars(const char* at) {
    std::uint64_t chars;
    std::memcpy(&chars, at, sizeof chars);
    return chars;
}
inline void StoreChars(char* at, std::uint64_t chars) {
    std::memcpy(at, &chars, sizeof chars);
}

constexpr std::uint64_t TenTo(int n) {
    return n == 0 ? 1 : 10 * TenTo(n - 1);
}

/// The eight digits of a number below 10^8, one in a byte: halves, quarters and digits are split
/// off at once in all lanes. The factors are reciprocals that are exact for what can occur.
inline std::uint64_t SplitDigits(std::uint64_t number) {
    const std::uint64_t fours = number / 10000 | (number % 10000) << 32U;
    const std::uint64_t hundreds = (fours * 5243 >> 19U) & 0x0000007f0000007fU;
    const std::uint64_t twos = hundreds | (fours - hundreds * 100) << 16U;
    const std::uint64_t tens = (twos * 103 >> 10U) & 0x000f000f000f000fU;
    return tens | (twos - tens * 10) << kCharBits;
}

/// Sixteen digits as characters, and how many are left without zeros at the end.
struct DigitText {
    explicit DigitText(std::uint64_t digits) {
        constexpr std::uint64_t split = TenTo(kCharsAtOnce);
        const std::uint64_t first = SplitDigits(digits / split);
        const std::uint64_t last = SplitDigits(digits % split);
        const unsigned zeros = LeadingZeros(last != 0 ? last : first) / kCharBits;
        length = (last != 0 ? 2 * kCharsAtOnce : kCharsAtOnce) - zeros;
        high = first | Repeated('0');
        low = last | Repeated('0');
    }

    /// Writes all of them with a point behind the first `whole`, 1 to 15.
    void WriteWithPoint(char* out, unsigned whole) const {
        if (whole < kCharsAtOnce) {
            WriteEightWithPoint(out, high, whole);
            return StoreChars(out + kCharsAtOnce + 1, low);
        }
        StoreChars(out, high);
        WriteEightWithPoint(out + kCharsAtOnce, low, whole - kCharsAtOnce);
    }
    void Write(char* out) const {
        StoreChars(out, high);
        StoreChars(out + kCharsAtOnce, low);
    }

    std::uint64_t high;  // the first eight
    std::uint64_t low;
    unsigned length;

private:
    static void WriteEightWithPoint(char* out, std::uint64_t chars, unsigned whole) {
        const unsigned shift = whole * kCharBits;
        const std::uint64_t below = (std::uint64_t{1} << shift) - 1;
        StoreChars(out,
                   (chars & below) | std::uint64_t{'.'} << shift | (chars & ~below) << kCharBits);
        out[kCharsAtOnce] = static_cast<char>(chars >> (kWordBits - kCharBits));
    }
};

inline char* WriteExponent(char* out, int exponent) {
    *out++ = 'e';
    *out++ = exponent < 0 ? '-' : '+';
    const auto magnitude = static_cast<unsigned>(exponent < 0 ? -exponent : exponent);
    const unsigned hundreds = magnitude / 100, rest = magnitude % 100;
    if (hundreds != 0) *out++ = static_cast<char>('0' + hundreds);
    *out++ = static_cast<char>('0' + rest / 10);
    *out++ = static_cast<char>('0' + rest % 10);
    return out;
}

}  // namespace fieldstore

#endif
