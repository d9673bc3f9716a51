// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_NUMBER_TEXT_H
#define FIELDSTORE_NUMBER_TEXT_H

#include <charconv>
#include <cstdint>
#include <istream>

namespace fieldstore {

/// Writes `value` at `out` and returns the end: exactly the characters that the standard inserter
/// gives in the classic locale, doubles with 16 significant digits.
inline char* FormatNumber(char* out, char* end, double value) {
    constexpr int digits = 16;
    return std::to_chars(out, end, value, std::chars_format::general, digits).ptr;
}
template <typename Integer>
char* FormatNumber(char* out, char* end, Integer value) {
    return std::to_chars(out, end, value).ptr;
}

/// Reads a number as the standard extractor does in the classic locale: skips white space, consumes
/// the same characters, sets the same state, and stores 0 or the nearest limit on failure. Doubles
/// also take what the writer may give: inf, nan, and the largest value rounded up.
void ParseNumber(std::istream& source, int& value);
void ParseNumber(std::istream& source, unsigned int& value);
void ParseNumber(std::istream& source, std::int64_t& value);
void ParseNumber(std::istream& source, std::uint64_t& value);
void ParseNumber(std::istream& source, double& value);

}  // namespace fieldstore

#endif
