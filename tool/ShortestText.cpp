// SPDX-License-Identifier: Apache-2.0
#include "tool/ShortestText.h"

#include <charconv>
#include <cstdint>
#include <cstring>

#include "streams/DigitText.h"
#include "streams/DoubleBits.h"
#include "streams/PowersOfTen.h"

// The method: R. Giulietti, "The Schubfach way to render doubles" (2020).
//
// All decimals from half way to the double below to half way to the double above read back as the
// double, the ends too when its mantissa is even. With k = floor(log10(width of that interval)), it
// contains a multiple of 10^k, and at most one of 10^(k + 1). The latter is the shortest, if it
// is there, and else the closest multiple of 10^k.
//
// The double and both ends are multiplied by 10^-k. Of a product the bits below a quarter of a unit
// only count as "not zero": they are ored into the last bit that is kept. Powers of ten that are
// not exact are rounded up, which may have made the lowest of those bits.

namespace fieldstore::tool {
namespace {

std::uint64_t ProductWithSticky(const Wide& power, std::uint64_t factor) {
    const std::uint64_t carried = Multiply(power.low, factor).high;
    Wide product = Multiply(power.high, factor);
    product.low += carried;
    product.high += product.low < carried ? 1 : 0;
    return product.high | (product.low > 1 ? 1 : 0);
}

/// Not below 10^n, in the unit of the table.
Wide PowerRoundedUp(int n) {
    constexpr int greatestExact = 55;  // 5^55 < 2^128
    Wide power = kPowersOfTen[n];
    if (n >= 0 && n <= greatestExact) return power;
    if (++power.low == 0) ++power.high;
    return power;
}

/// 16 or 17 digits in units of 10^k, of a normal double whose power of ten is in the table.
std::uint64_t FindShortest(std::uint64_t mantissa, int exponent, bool isCloserBelow, int k) {
    const bool isEven = mantissa % 2 == 0;
    const Wide power = PowerRoundedUp(-k);
    const auto shift = static_cast<unsigned>(exponent + FloorLog2OfTenTo(-k) + 1);
    const std::uint64_t middle = 4 * mantissa;
    // In quarters of 10^k.
    const std::uint64_t value = ProductWithSticky(power, middle << shift);
    const std::uint64_t below =
        ProductWithSticky(power, (middle - (isCloserBelow ? 1 : 2)) << shift);
    const std::uint64_t above = ProductWithSticky(power, (middle + 2) << shift);
    const std::uint64_t least = isEven ? below : below + 1;
    const std::uint64_t most = isEven ? above : above - 1;

    // Which of them it is cannot be foreseen, so both are made without a branch.
    const std::uint64_t ones = value / 4;
    const std::uint64_t tens = ones / 10;
    const bool lowerTen = least <= 40 * tens, upperTen = 40 * tens + 40 <= most;
    const bool lower = least <= 4 * ones, upper = 4 * ones + 4 <= most;
    const std::uint64_t half = 4 * ones + 2;
    const bool isUpperCloser = value > half || (value == half && ones % 2 != 0);
    const std::uint64_t closest = ones + (lower != upper ? upper : isUpperCloser);
    return lowerTen != upperTen ? 10 * (tens + upperTen) : closest;
}

/// Writes digits in units of 10^k. Returns null for a number that fixed notation shows with zeros
/// for digits that a double has.
char* Write(char* out, std::uint64_t digits, int k) {
    constexpr std::uint64_t limit = TenTo(16);
    const bool hasOneMore = digits >= limit;
    const std::uint64_t tenth = digits / 10;
    const DigitText text(hasOneMore ? tenth : digits);
    const char last = static_cast<char>('0' + (hasOneMore ? digits - 10 * tenth : 0));
    const unsigned length = last != '0' ? 17 : text.length;
    const int exponent = k + (hasOneMore ? 16 : 15);  // of the first digit

    // Fixed notation where it is not longer; that has a point as well, but for a single digit.
    const int pointed = length > 1 ? 1 : 0;
    if (exponent < 0 && -exponent <= 3 + pointed) {
        std::memcpy(out, "0.000000", kCharsAtOnce);
        out += 1 - exponent;
        text.Write(out);
        out[16] = last;
        return out + length;
    }
    const int most = static_cast<int>(length) + pointed + 4;  // of the other notation
    if (exponent >= 0 && exponent + 1 <= most) {
        if (exponent > 14) return nullptr;
        const auto whole = static_cast<unsigned>(exponent) + 1;
        text.WriteWithPoint(out, whole);
        out[17] = last;
        return out + (length <= whole ? whole : length + 1);
    }
    text.WriteWithPoint(out, 1);
    out[17] = last;
    return WriteExponent(out + (length == 1 ? 1 : length + 1), exponent);
}

}  // namespace

char* FormatShortest(char* out, double value) {
    const std::uint64_t bits = BitsOf(value);
    const int biased = BiasedExponent(bits);
    const std::uint64_t fraction = bits & (kHiddenBit - 1);
    const bool isCloserBelow = fraction == 0 && biased > 1;
    const int exponent = biased - kExponentBias - static_cast<int>(kMantissaBits);
    // floor(log10(2^exponent)), or of three quarters of that.
    const int k = (exponent * 1262611 - (isCloserBelow ? 524031 : 0)) >> 22;
    if (biased != 0 && biased != static_cast<int>(kExponentMask) && -k <= kGreatestPowerOfTen) {
        const bool isNegative = bits >> (kWordBits - 1) != 0;
        *out = '-';
        const auto digits = FindShortest(fraction | kHiddenBit, exponent, isCloserBelow, k);
        if (char* const end = Write(out + (isNegative ? 1 : 0), digits, k)) return end;
    }
    return std::to_chars(out, out + kShortestTextCapacity, value).ptr;
}

}  // namespace fieldstore::tool
