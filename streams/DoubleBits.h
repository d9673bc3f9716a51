// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_DOUBLE_BITS_H
#define FIELDSTORE_DOUBLE_BITS_H

#include <cstdint>
#include <cstring>

/// What the bits of a double are.
namespace fieldstore {

inline constexpr unsigned kMantissaBits = 52;  // those stored
inline constexpr std::uint64_t kHiddenBit = std::uint64_t{1} << kMantissaBits;
inline constexpr int kExponentBias = 1023;
inline constexpr unsigned kExponentMask = 0x7ff;

inline std::uint64_t BitsOf(double value) {
    std::uint64_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}
inline int BiasedExponent(std::uint64_t bits) {
    return static_cast<int>(bits >> kMantissaBits & kExponentMask);
}

}  // namespace fieldstore

#endif
