// SPDX-License-Identifier: Apache-2.0
#include "tool/Visible.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <string_view>
#include <utility>

namespace fieldstore::tool {
namespace {

struct Character {
    char32_t code;
    std::size_t length;  // in bytes; 0 when they are no UTF-8
};

Character Decode(std::string_view text) {
    constexpr Character none{0, 0};
    constexpr std::array<char32_t, 5> least{0, 0, 0x80, 0x800, 0x10000};  // by the length
    const auto lead = static_cast<unsigned char>(text.front());
    if (lead < 0x80) return {lead, 1};
    if (lead < 0xC2 || lead > 0xF4) return none;
    const std::size_t length = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    if (text.size() < length) return none;
    char32_t code = lead & (0x7FU >> length);
    for (const char c : text.substr(1, length - 1)) {
        const auto byte = static_cast<unsigned char>(c);
        if ((byte & 0xC0U) != 0x80) return none;
        code = code << 6U | (byte & 0x3FU);
    }
    const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
    if (code < least[length] || code > 0x10FFFF || surrogate) return none;
    return {code, length};
}

bool IsObeyed(char32_t code) {
    using Range = std::pair<char32_t, char32_t>;
    constexpr std::array<Range, 7> ranges{{{0, 0x1F},           // control characters
                                           {0x7F, 0x9F},        // and the rest of these
                                           {0x61C, 0x61C},      // mark of Arabic letters
                                           {0x200E, 0x200F},    // marks of the direction
                                           {0x2028, 0x2029},    // ends of lines and paragraphs
                                           {0x202A, 0x202E},    // embedding, overriding
                                           {0x2066, 0x2069}}};  // isolating
    return std::any_of(ranges.begin(), ranges.end(), [code](const Range& range) {
        return code >= range.first && code <= range.second;
    });
}

std::string Escape(const char* form, unsigned code) {
    std::array<char, 12> text{};
    std::snprintf(text.data(), text.size(), form, code);
    return text.data();
}

}  // namespace

std::string Visible(const std::string& text) {
    std::string visible;
    std::string_view rest(text);
    while (!rest.empty()) {
        const Character next = Decode(rest);
        const std::size_t length = std::max<std::size_t>(next.length, 1);
        const auto byte = static_cast<unsigned char>(rest.front());
        if (next.length == 0 || (IsObeyed(next.code) && length == 1))
            visible += Escape("\\x%02x", byte);
        else if (IsObeyed(next.code))
            visible += Escape("\\u%04x", static_cast<unsigned>(next.code));
        else
            visible += rest.substr(0, length);
        rest.remove_prefix(length);
    }
    return visible;
}

}  // namespace fieldstore::tool
