// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_NUMBER_TEXT_H
#define FIELDSTORE_NUMBER_TEXT_H

#include <charconv>
#include <complex>
#include <cstdint>
#include <istream>
#include <system_error>
#include <type_traits>

#include "streams/DoubleText.h"

namespace fieldstore {

/// Writes `value` at `out` and returns the end: exactly the characters that the standard inserter
/// gives in the classic locale, doubles with 16 significant digits.
inline char* FormatNumber(char* out, char*, double value) {
    return FormatDouble(out, value);
}
template <typename Integer>
char* FormatNumber(char* out, char* end, Integer value) {
    return std::to_chars(out, end, value).ptr;
}

template <typename Integer>
std::from_chars_result FromChars(const char* at, const char* end, Integer& value) {
    return std::from_chars(at, end, value);
}
inline std::from_chars_result FromChars(const char* at, const char* end, double& value) {
    return ParseDouble(at, end, value);
}

/// Reads a plain number from memory: white space, a number without "+", and white space behind it.
/// Returns its end, or null when there is anything else; ParseNumber() then decides. Most numbers
/// of a file are plain and lie in its buffer as a whole.
template <typename T>
const char* ParsePlain(const char* at, const char* end, T& value) {
    const auto isSpace = [](char c) { return c == ' ' || (c >= '\t' && c <= '\r'); };
    while (at != end && isSpace(*at)) ++at;
    if (at == end) return nullptr;
    const char* const digits = at + (std::is_signed_v<T> && *at == '-' ? 1 : 0);
    if (digits == end || *digits < '0' || *digits > '9') return nullptr;
    const auto parsed = FromChars(at, end, value);
    const bool whole = parsed.ec == std::errc() && parsed.ptr != end && isSpace(*parsed.ptr);
    return whole ? parsed.ptr : nullptr;
}
inline const char* ParsePlain(const char* at, const char* end, std::complex<double>& value) {
    double parts[2];
    at = ParsePlain(at, end, parts[0]);
    if (at != nullptr) at = ParsePlain(at, end, parts[1]);
    if (at != nullptr) value = {parts[0], parts[1]};
    return at;
}
/// A character may be a digit or a sign itself.
inline const char* ParsePlain(const char*, const char*, char&) {
    return nullptr;
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
