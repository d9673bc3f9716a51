// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_POWERS_OF_TEN_H
#define FIELDSTORE_POWERS_OF_TEN_H

#include <array>
#include <cstddef>
#include <cstdint>

#include "streams/WideProduct.h"

/// Powers of ten with 128 bits, computed by the compiler.
///
/// Each entry P stands for 10^n = (P + d) 2^(FloorLog2OfTenTo(n) - 127) with 2^127 <= P < 2^128 and
/// 0 <= d < 1: the power, truncated.
namespace fieldstore {

/// What conversions between normal doubles and up to 19 digits need.
inline constexpr int kLeastPowerOfTen = -327;
inline constexpr int kGreatestPowerOfTen = 323;

/// floor(n log2(10)); the table below checks it for all its powers.
constexpr int FloorLog2OfTenTo(int n) {
    return (n * 217706) >> 16;
}
/// floor(n log10(2)), for the exponents of doubles.
constexpr int FloorLog10OfTwoTo(int n) {
    return (n * 315653) >> 20;
}

/// A power of ten to 256 bits, the highest of which is set, and its binary exponent. Each step to a
/// neighbour truncates, so that a power is too small by less than two units of the last place per
/// step.
class PowerOfTen {
public:
    constexpr void StepUp() {
        Multiply(5);
        Normalise(1);
    }
    constexpr void StepDown() {
        Multiply(8);
        Divide(5);
        Normalise(-4);
    }
    constexpr int FloorLog2() const { return exponent; }
    /// The upper half.
    constexpr Wide Truncated() const {
        return {std::uint64_t{limbs[7]} << 32U | limbs[6],
                std::uint64_t{limbs[5]} << 32U | limbs[4]};
    }
    /// Whether the upper half is that of the exact power: less than 2^32 units of the last place,
    /// much more than all steps together may lack, do not carry into it.
    constexpr bool TruncatesExactly() const {
        return (limbs[3] & limbs[2] & limbs[1]) != 0xffffffffU;
    }

private:
    constexpr void Multiply(std::uint32_t factor) {
        std::uint64_t carry = 0;
        for (std::uint32_t& limb : limbs) {
            carry += std::uint64_t{limb} * factor;
            limb = static_cast<std::uint32_t>(carry);
            carry >>= 32U;
        }
    }
    constexpr void Divide(std::uint32_t divisor) {
        std::uint64_t rest = 0;
        for (std::size_t i = limbs.size(); i-- > 0;) {
            rest = rest << 32U | limbs[i];
            limbs[i] = static_cast<std::uint32_t>(rest / divisor);
            rest %= divisor;
        }
    }
    /// Takes `change` into the exponent and empties the limb for what overflows.
    constexpr void Normalise(int change) {
        unsigned bits = 0;
        while (limbs.back() >> bits != 0) ++bits;
        for (std::size_t i = 0; i + 1 < limbs.size(); ++i) {
            const std::uint64_t two = std::uint64_t{limbs[i + 1]} << 32U | limbs[i];
            limbs[i] = static_cast<std::uint32_t>(two >> bits);
        }
        limbs.back() = 0;
        exponent += change + static_cast<int>(bits);
    }

    // From the lowest to the highest; the last is empty but within a step.
    std::array<std::uint32_t, 9> limbs{0, 0, 0, 0, 0, 0, 0, 0x80000000U, 0};
    int exponent = 0;
};

struct PowersOfTen {
    std::array<Wide, kGreatestPowerOfTen - kLeastPowerOfTen + 1> powers{};
    bool exact = true;

    constexpr const Wide& operator[](int n) const {
        return powers[static_cast<std::size_t>(n - kLeastPowerOfTen)];
    }
    constexpr void Set(int n, const PowerOfTen& power) {
        powers[static_cast<std::size_t>(n - kLeastPowerOfTen)] = power.Truncated();
        exact = exact && power.TruncatesExactly() && power.FloorLog2() == FloorLog2OfTenTo(n);
    }
};

constexpr PowersOfTen ComputePowersOfTen() {
    PowersOfTen all;
    PowerOfTen up, down;
    all.Set(0, up);
    for (int n = 1; n <= kGreatestPowerOfTen; ++n) {
        up.StepUp();
        all.Set(n, up);
    }
    for (int n = -1; n >= kLeastPowerOfTen; --n) {
        down.StepDown();
        all.Set(n, down);
    }
    return all;
}

inline constexpr PowersOfTen kPowersOfTen = ComputePowersOfTen();
static_assert(kPowersOfTen.exact, "Every entry is its power, truncated.");

/// 10^q <= 2^n < 10^(q + 1) with q = FloorLog10OfTwoTo(n), for every exponent of a normal double.
constexpr bool FloorLog10IsRight() {
    for (int n = -1022; n <= 1023; ++n) {
        const int q = FloorLog10OfTwoTo(n);
        // No power of ten but 10^0 is a power of two.
        if (FloorLog2OfTenTo(q) > n || (FloorLog2OfTenTo(q) == n && q != 0)) return false;
        if (FloorLog2OfTenTo(q + 1) < n) return false;
    }
    return true;
}
static_assert(FloorLog10IsRight());

}  // namespace fieldstore

#endif
