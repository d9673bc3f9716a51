// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_STANDARD_FROM_CHARS_H
#define FIELDSTORE_STANDARD_FROM_CHARS_H

#include <charconv>

namespace fieldstore {

/// std::from_chars in general format. Not every standard library has it for floating point; the C
/// library's conversion then takes its place.
std::from_chars_result StandardFromChars(const char* first, const char* last, double& value);

}  // namespace fieldstore

#endif
