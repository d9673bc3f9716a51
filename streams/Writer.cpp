// SPDX-License-Identifier: Apache-2.0
#include "streams/Writer.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <system_error>

#include "streams/Platform.h"

namespace fieldstore {
namespace {

constexpr std::string_view kReplacementSuffix = ".new";

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

bool IsPlain(char c) {
    return IsDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '-' || c == '_';
}

/// A part of a file's name, whatever the machine is called.
std::string PlainHostName() {
    constexpr std::size_t longest = 63;
    std::string name = platform::HostName().substr(0, longest);
    std::replace_if(
        name.begin(), name.end(), [](char c) { return !IsPlain(c); }, '_');
    return name.empty() ? "_" : name;
}

/// What comes before the next "-", which is taken away with it.
std::string_view TakePart(std::string_view& text) {
    const auto end = std::min(text.find('-'), text.size());
    const auto part = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    return part;
}

}  // namespace

Writer Writer::ThisProcess() {
    const std::int64_t process = platform::ProcessId();
    return {PlainHostName(), process, platform::ProcessStart(process).value_or(0)};
}

Writer::State Writer::Now() const {
    if (host != PlainHostName()) return State::OnAnotherHost;
    const auto started = platform::ProcessStart(process);
    if (!started) return State::Gone;
    const bool isUnknown = *started == 0;
    return isUnknown || *started == start ? State::Runs : State::Gone;
}

std::optional<std::uint64_t> ParseDecimal(std::string_view digits) {
    std::uint64_t number = 0;
    const char* end = digits.data() + digits.size();
    const auto parsed = std::from_chars(digits.data(), end, number);
    if (parsed.ec != std::errc() || parsed.ptr != end) return std::nullopt;
    return number;
}

std::string ReplacementSuffix(const Writer& writer, int number) {
    return std::string(kReplacementSuffix) + std::to_string(writer.process) + "-" +
           std::to_string(writer.start) + "-" + std::to_string(number) + "-" + writer.host;
}

std::optional<ReplacementName> ParseReplacementName(std::string_view name) {
    const auto at = name.rfind(kReplacementSuffix);
    if (at == std::string_view::npos) return std::nullopt;
    ReplacementName parsed{name.substr(0, at), {}};
    auto rest = name.substr(at + kReplacementSuffix.size());
    const auto process = ParseDecimal(TakePart(rest));
    if (!process) return std::nullopt;
    if (rest.empty()) return parsed;
    const auto start = ParseDecimal(TakePart(rest));
    if (!start) return std::nullopt;
    if (rest.empty()) return parsed;
    const auto number = ParseDecimal(TakePart(rest));
    if (!number || rest.empty() || !std::all_of(rest.begin(), rest.end(), IsPlain))
        return std::nullopt;
    parsed.writer = Writer{std::string(rest), static_cast<std::int64_t>(*process), *start};
    return parsed;
}

}  // namespace fieldstore
