// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_FUZZ_STANDARD_NUMBERS_H
#define FIELDSTORE_FUZZ_STANDARD_NUMBERS_H

#include <charconv>
#include <cstring>
#include <string_view>

#include "streams/DoubleText.h"
#include "streams/StandardFromChars.h"
#include "tool/ShortestText.h"

namespace fieldstore::fuzz {

/// A double in text, by the standard conversion.
class StandardText {
public:
    explicit StandardText(double value)
        : end(std::to_chars(text, text + sizeof text, value, std::chars_format::general, 16).ptr) {}
    std::string_view View() const { return {text, static_cast<std::size_t>(end - text)}; }

private:
    char text[kDoubleTextCapacity];
    char* end;
};

/// Whether the library writes the characters that the standard conversion gives.
inline bool WritesAsStandard(double value, const StandardText& expected) {
    char text[kDoubleTextCapacity];
    const char* end = FormatDouble(text, value);
    return std::string_view(text, static_cast<std::size_t>(end - text)) == expected.View();
}

/// Whether the tool writes the shortest text as the standard conversion does.
inline bool WritesShortestAsStandard(double value) {
    char text[tool::kShortestTextCapacity], expected[tool::kShortestTextCapacity];
    const char* const end = tool::FormatShortest(text, value);
    const char* const standard = std::to_chars(expected, expected + sizeof expected, value).ptr;
    return std::string_view(text, static_cast<std::size_t>(end - text)) ==
           std::string_view(expected, static_cast<std::size_t>(standard - expected));
}

/// Whether the library reads what the standard conversion reads: value, end and error.
inline bool ReadsAsStandard(std::string_view text) {
    const char* const last = text.data() + text.size();
    double value = 77, expected = 77;
    const auto result = ParseDouble(text.data(), last, value);
    const auto standard = StandardFromChars(text.data(), last, expected);
    return result.ptr == standard.ptr && result.ec == standard.ec &&
           std::memcmp(&value, &expected, sizeof value) == 0;
}

}  // namespace fieldstore::fuzz

#endif
