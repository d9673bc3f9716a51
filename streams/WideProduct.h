// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_WIDE_PRODUCT_H
#define FIELDSTORE_WIDE_PRODUCT_H

#include <cstdint>

namespace fieldstore {

/// An unsigned number of 128 bits.
struct Wide {
    std::uint64_t high;
    std::uint64_t low;
};

/// The product by halves of 32 bits, for compilers without an integer of 128.
constexpr Wide MultiplyByHalves(std::uint64_t a, std::uint64_t b) {
    constexpr unsigned half = 32;
    constexpr std::uint64_t mask = 0xffffffffU;
    const std::uint64_t aHigh = a >> half, aLow = a & mask;
    const std::uint64_t bHigh = b >> half, bLow = b & mask;
    // None of the sums overflows: (2^32 - 1)^2 + 2 (2^32 - 1) is 2^64 - 1.
    const std::uint64_t low = aLow * bLow;
    const std::uint64_t middle = aHigh * bLow + (low >> half);
    const std::uint64_t other = aLow * bHigh + (middle & mask);
    return {aHigh * bHigh + (middle >> half) + (other >> half), (other << half) | (low & mask)};
}
static_assert(MultiplyByHalves(~0ULL, ~0ULL).high == ~0ULL - 1 &&
                  MultiplyByHalves(~0ULL, ~0ULL).low == 1,
              "(2^64 - 1)^2 = (2^64 - 2) 2^64 + 1");
static_assert(MultiplyByHalves(0x100000000ULL, 0xffffffff00000001ULL).high == 0xffffffffULL &&
                  MultiplyByHalves(0x100000000ULL, 0xffffffff00000001ULL).low == 0x100000000ULL,
              "A factor of 2^32 shifts.");

inline Wide Multiply(std::uint64_t a, std::uint64_t b) {
#ifdef __SIZEOF_INT128__
    __extension__ using Integer128 = unsigned __int128;
    const Integer128 product = static_cast<Integer128>(a) * b;
    constexpr unsigned bitsOfLow = 64;
    return {static_cast<std::uint64_t>(product >> bitsOfLow), static_cast<std::uint64_t>(product)};
#else
    return MultiplyByHalves(a, b);
#endif
}

/// The number of zero bits above the highest one; `value` must not be 0.
inline unsigned LeadingZeros(std::uint64_t value) {
#ifdef __GNUC__
    return static_cast<unsigned>(__builtin_clzll(value));
#else
    unsigned zeros = 0;
    for (; value >> 63U == 0; value <<= 1U) ++zeros;
    return zeros;
#endif
}

/// The number of zero bits below the lowest one; `value` must not be 0.
inline unsigned TrailingZeros(std::uint64_t value) {
#ifdef __GNUC__
    return static_cast<unsigned>(__builtin_ctzll(value));
#else
    unsigned zeros = 0;
    for (; (value & 1U) == 0; value >>= 1U) ++zeros;
    return zeros;
#endif
}

}  // namespace fieldstore

#endif
