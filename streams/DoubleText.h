// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_DOUBLE_TEXT_H
#define FIELDSTORE_DOUBLE_TEXT_H

#include <charconv>
#include <cstddef>

namespace fieldstore {

/// The digits of a double in text.
inline constexpr int kTextPrecision = 16;

/// The room that FormatDouble() needs, more than its longest text.
inline constexpr std::size_t kDoubleTextCapacity = 24;

/// The same characters as std::to_chars in general format with `kTextPrecision` digits, several
/// times as fast. Returns their end; what is behind it, up to the capacity, may be overwritten.
char* FormatDouble(char* out, double value);

/// The same as std::from_chars in general format.
std::from_chars_result ParseDouble(const char* first, const char* last, double& value);

}  // namespace fieldstore

#endif
