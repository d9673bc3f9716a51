// SPDX-License-Identifier: Apache-2.0
#include "streams/WordScan.h"

#include <cstddef>

namespace fieldstore {
namespace {

// Loops over so many bytes have counters of a byte, for which compilers find vector instructions.
constexpr std::ptrdiff_t kBlock = 128;

constexpr std::uint8_t IsSpace(char c) {
    const auto byte = static_cast<std::uint8_t>(c);
    return static_cast<std::uint8_t>(
        static_cast<std::uint8_t>(byte == ' ') |
        static_cast<std::uint8_t>(static_cast<std::uint8_t>(byte - '\t') < 5));
}

/// Signs, the point and digits lie close together, and so do the letters of "e", "inf" and "nan".
constexpr std::uint8_t IsOfNumber(char c) {
    const auto byte = static_cast<std::uint8_t>(c);
    const auto letter = static_cast<std::uint8_t>(static_cast<std::uint8_t>(byte | 0x20U) - 'a');
    return static_cast<std::uint8_t>(
        static_cast<std::uint8_t>(static_cast<std::uint8_t>(byte - '+') < 15) |
        static_cast<std::uint8_t>(letter < 14));
}

}  // namespace

const char* WordScan::Over(const char* begin, const char* end) {
    const char* at = begin;
    while (at != end) {
        // A block whose first byte has one before it, so that the ends of words can be counted.
        if (at != begin && end - at >= kBlock) {
            std::uint8_t ends = 0, strange = 0;
            for (std::ptrdiff_t i = 0; i < kBlock; ++i) {
                const std::uint8_t space = IsSpace(at[i]);
                ends = static_cast<std::uint8_t>(ends + (space & (IsSpace(at[i - 1]) ^ 1U)));
                strange = static_cast<std::uint8_t>(strange | ((space | IsOfNumber(at[i])) ^ 1U));
            }
            if (ends < left) {
                left -= ends;
                at += kBlock;
                inWord = IsSpace(at[-1]) == 0;
                foreign = foreign || strange != 0;
                continue;
            }
        }
        // Byte by byte up to the last word's end, or to where a block may begin.
        const char* const stop = end - at >= kBlock ? at + kBlock : end;
        for (; at != stop; ++at) {
            const bool space = IsSpace(*at) != 0;
            if (space && inWord && --left == 0) return at;
            inWord = !space;
            foreign = foreign || (!space && IsOfNumber(*at) == 0);
        }
    }
    return at;
}

}  // namespace fieldstore
