// SPDX-License-Identifier: Apache-2.0
#include "streams/StandardFromChars.h"

#ifndef __cpp_lib_to_chars  // as of libc++ before version 20
#include <locale.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <string>
#include <utility>
#endif

namespace fieldstore {

#ifdef __cpp_lib_to_chars

std::from_chars_result StandardFromChars(const char* first, const char* last, double& value) {
    return std::from_chars(first, last, value);
}

#else

namespace {

const char* BehindDigits(const char* at, const char* last) {
    return std::find_if(at, last, [](char c) { return c < '0' || c > '9'; });
}

bool IsWord(const char* at, const char* last) {
    constexpr std::ptrdiff_t length = 3;
    if (last - at < length) return false;
    std::string word(at, length);
    for (char& c : word) c = static_cast<char>(c | ' ');
    return word == "inf" || word == "nan";
}

/// Where a number ends, of which the C library would also take other forms; null without one.
const char* EndOfNumber(const char* first, const char* last) {
    const char* const begin = first != last && *first == '-' ? first + 1 : first;
    if (IsWord(begin, last)) return begin + 3;
    const char* const point = BehindDigits(begin, last);
    const bool hasPoint = point != last && *point == '.';
    const char* const end = hasPoint ? BehindDigits(point + 1, last) : point;
    if (end - begin == (hasPoint ? 1 : 0)) return nullptr;
    if (end == last || (*end | ' ') != 'e') return end;
    const char* const sign = end + 1;
    const bool hasSign = sign != last && (*sign == '-' || *sign == '+');
    const char* const exponent = hasSign ? sign + 1 : sign;
    const char* const behind = BehindDigits(exponent, last);
    return behind == exponent ? end : behind;
}

/// Whatever the locale of the process.
locale_t Classic() {
    static const locale_t classic = newlocale(LC_ALL_MASK, "C", nullptr);
    return classic;
}

}  // namespace

std::from_chars_result StandardFromChars(const char* first, const char* last, double& value) {
    const char* const end = EndOfNumber(first, last);
    if (end == nullptr) return {first, std::errc::invalid_argument};
    const int errorBefore = std::exchange(errno, 0);
    const double converted = strtod_l(std::string(first, end).c_str(), nullptr, Classic());
    const bool isOutside = errno == ERANGE && (converted == 0 || std::isinf(converted));
    errno = errorBefore;
    if (isOutside) return {end, std::errc::result_out_of_range};
    value = converted;
    return {end, {}};
}

#endif

}  // namespace fieldstore
