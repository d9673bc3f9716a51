// SPDX-License-Identifier: Apache-2.0
#include "tool/Slice.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <optional>

#include "core/FrequencyKey.h"
#include "streams/DoubleText.h"
#include "tool/Error.h"

namespace fieldstore::tool {
namespace {

[[noreturn]] void Refuse(const std::string& option, const std::string& text,
                         const std::string& remedy) {
    throw Error("", option + ": '" + text + "' is no range", remedy);
}

/// Both ends of a range, one of which may be empty; of a single value twice the same.
std::pair<std::string, std::string> EndsOf(const std::string& text) {
    const auto colon = text.find(':');
    if (colon == std::string::npos) return {text, text};
    return {text.substr(0, colon), text.substr(colon + 1)};
}

template <typename Parse>
Range RangeOf(const std::string& option, const std::string& text, const std::string& remedy,
              const Parse& parse) {
    const auto [first, last] = EndsOf(text);
    if (first.empty() && last.empty()) Refuse(option, text, remedy);
    Range range;
    const auto set = [&](const std::string& end, std::int64_t& target) {
        if (end.empty()) return;
        const std::optional<std::int64_t> value = parse(end);
        if (!value) Refuse(option, text, remedy);
        target = *value;
    };
    set(first, range.least);
    set(last, range.most);
    if (range.least > range.most) throw Error("", option + ": " + text + " ends first", "");
    return range;
}

/// The power of ten of a unit of frequency; nothing for no unit.
std::optional<int> PowerOf(std::string unit) {
    std::transform(unit.begin(), unit.end(), unit.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    constexpr int step = 3;
    const std::array<const char*, 5> units{"hz", "khz", "mhz", "ghz", "thz"};
    const auto found = std::find(units.begin(), units.end(), unit);
    if (found == units.end()) return std::nullopt;
    return step * static_cast<int>(found - units.begin());
}

struct FrequencyText {
    std::string number;
    std::string unit;

    explicit FrequencyText(const std::string& text) {
        const auto end = text.find_last_of("0123456789.") + 1;
        number = text.substr(0, end);
        unit = text.substr(end);
    }
};

/// The unit goes into the exponent before the text becomes a number, so that 2.4GHz is exactly
/// 2400000000.
std::optional<std::int64_t> FrequencyOf(const FrequencyText& text) {
    const auto power = PowerOf(text.unit.empty() ? "Hz" : text.unit);
    const auto mark = text.number.find_first_of("eE");
    int exponent = 0;
    if (mark != std::string::npos) {
        const char* from = text.number.data() + mark + 1;
        const char* end = text.number.data() + text.number.size();
        if (from != end && *from == '+') ++from;
        const auto [rest, error] = std::from_chars(from, end, exponent);
        if (error != std::errc() || rest != end) return std::nullopt;
    }
    constexpr int largest = 400;  // beyond any double
    if (!power || std::abs(exponent) > largest) return std::nullopt;
    const std::string whole = text.number.substr(0, mark) + "e" + std::to_string(exponent + *power);
    double value = 0;
    const char* end = whole.data() + whole.size();
    const auto [rest, error] = ParseDouble(whole.data(), end, value);
    if (error != std::errc() || rest != end) return std::nullopt;
    return FrequencyKey(value);
}

}  // namespace

Range ParseRange(const std::string& option, const std::string& text) {
    return RangeOf(option, text, "Give a number, as 3, or a first and a last one, as 3:5.",
                   [](const std::string& end) -> std::optional<std::int64_t> {
                       std::int64_t value = 0;
                       const auto [rest, error] =
                           std::from_chars(end.data(), end.data() + end.size(), value);
                       if (error != std::errc() || rest != end.data() + end.size())
                           return std::nullopt;
                       return value;
                   });
}

Range ParseFrequencies(const std::string& option, const std::string& text) {
    const auto [first, last] = EndsOf(text);
    const std::string shared =
        FrequencyText(last).unit.empty() ? FrequencyText(first).unit : FrequencyText(last).unit;
    return RangeOf(option, text,
                   "Give a frequency, as 10GHz, or a first and a last one, as 8GHz:12GHz. The "
                   "units: Hz, kHz, MHz, GHz, THz.",
                   [&shared](const std::string& end) {
                       FrequencyText frequency(end);
                       if (frequency.unit.empty()) frequency.unit = shared;
                       return FrequencyOf(frequency);
                   });
}

KeyFilter Slice::Of(const Field& field) const {
    KeyFilter filter;
    for (std::size_t i = 0; i < KeyFilter::kMostParts; ++i) {
        const auto found = wanted.find(std::string(field.parts[i].name));
        if (found == wanted.end()) continue;
        filter.ranges[i] = found->second;
        filter.active = true;
        if (field.parts[i].isId) filter.ids |= 1U << i;
    }
    return filter;
}

bool Slice::Names(const Field& field) const {
    return std::all_of(wanted.begin(), wanted.end(), [&field](const auto& part) {
        return std::any_of(field.parts.begin(), field.parts.end(),
                           [&part](const Label& label) { return label.name == part.first; });
    });
}

std::string Slice::Options() const {
    std::string names;
    for (const auto& part : wanted) names += (names.empty() ? "--" : ", --") + part.first;
    return names;
}

}  // namespace fieldstore::tool
