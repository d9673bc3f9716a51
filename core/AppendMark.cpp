// SPDX-License-Identifier: Apache-2.0
#include "core/AppendMark.h"

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <system_error>
#include <utility>

#include "streams/FileExists.h"
#include "streams/FileNames.h"
#include "streams/Platform.h"

namespace fieldstore {
namespace fs = std::filesystem;
namespace {

constexpr std::string_view kHost = "host ";
constexpr std::string_view kBoot = "boot ";
constexpr std::string_view kProcess = "process ";
constexpr std::string_view kStart = "start ";
constexpr std::string_view kData = "data ";

/// What follows `key` in the next line, which is taken away; nothing for another line.
std::optional<std::string_view> TakeLine(std::string_view& text, std::string_view key) {
    const auto end = text.find('\n');
    if (end == std::string_view::npos || text.substr(0, key.size()) != key) return std::nullopt;
    const auto value = text.substr(key.size(), end - key.size());
    text.remove_prefix(end + 1);
    return value;
}

/// A file's content, as far as it can be a mark's; nothing when the file is gone.
std::optional<std::string> BeginningOf(const std::string& path) {
    constexpr std::size_t most = std::size_t{1} << 14;  // with the longest path
    auto file = platform::OpenForReading(path);
    if (file.Error() == std::errc::no_such_file_or_directory) return std::nullopt;
    if (!file.IsOpen()) throw FileSystemError("open", path, file.Error());
    std::string text(most, '\0');
    const auto length = file.Read(text.data(), text.size());
    if (length < 0) throw FileSystemError("read", path, file.Error());
    text.resize(static_cast<std::size_t>(length));
    return text;
}

}  // namespace

AppendRecord AppendRecord::Now(std::uint64_t length, std::string dataPath) {
    return {length, Writer::ThisProcess(), platform::BootId(), std::move(dataPath)};
}

AppendRecord AppendRecord::OfOneStep(std::uint64_t length, std::string dataPath) {
    AppendRecord record = Now(length, std::move(dataPath));
    record.boot = kOneStep;
    return record;
}

bool AppendRecord::EndsData() const {
    if (!writer) return false;
    return writer->Now() == Writer::State::OnAnotherHost || boot != platform::BootId();
}

std::string AppendRecord::Text() const {
    const Writer by = writer.value_or(Writer{});
    std::string text = std::to_string(length) + "\n";
    text.append(kHost).append(by.host) += '\n';
    text.append(kBoot).append(boot) += '\n';
    text.append(kProcess).append(std::to_string(by.process)) += '\n';
    text.append(kStart).append(std::to_string(by.start)) += '\n';
    text.append(kData).append(dataPath) += '\n';
    return text;
}

std::optional<AppendRecord> AppendRecord::Parse(std::string_view text) {
    if (text.empty()) return AppendRecord{kUnknownLength, {}, "", ""};
    if (const auto alone = ParseDecimal(text)) return AppendRecord{*alone, {}, "", ""};
    const auto length = ParseDecimal(TakeLine(text, "").value_or(""));
    const auto host = TakeLine(text, kHost);
    const auto boot = TakeLine(text, kBoot);
    const auto process = ParseDecimal(TakeLine(text, kProcess).value_or(""));
    const auto start = ParseDecimal(TakeLine(text, kStart).value_or(""));
    if (!length || !host || !boot || !process || !start) return std::nullopt;
    // A path may hold line ends.
    if (text.substr(0, kData.size()) != kData || text.back() != '\n') return std::nullopt;
    const auto path = text.substr(kData.size(), text.size() - kData.size() - 1);
    const Writer writer{std::string(*host), static_cast<std::int64_t>(*process), *start};
    return AppendRecord{*length, writer, std::string(*boot), std::string(path)};
}

AppendMark AppendMark::At(const std::string& path) {
    std::error_code error;
    const auto type = platform::TypeOf(path, platform::Links::Keep, error);
    if (type == fs::file_type::not_found || error == std::errc::filename_too_long) return {};
    if (type == fs::file_type::none) throw FileSystemError("exists", path, error);
    if (type != fs::file_type::regular) return {Kind::Other, {}};
    const auto text = BeginningOf(path);
    if (!text) return {};
    auto record = AppendRecord::Parse(*text);
    if (!record) return {Kind::Other, {}};
    return {Kind::Mark, std::move(*record)};
}

}  // namespace fieldstore
