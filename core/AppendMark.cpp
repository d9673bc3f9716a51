// SPDX-License-Identifier: Apache-2.0
#include "core/AppendMark.h"

#include <charconv>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <limits>

#include "streams/FileExists.h"
#include "streams/Platform.h"

namespace fieldstore {
namespace fs = std::filesystem;

bool AppendMark::Stands() const {
    std::error_code error;
    const auto type = fs::symlink_status(path, error).type();
    // Data whose name leaves no room for the ending are appended to without a mark.
    if (error == std::errc::filename_too_long) return false;
    if (type == fs::file_type::none) throw fs::filesystem_error("exists", path, error);
    return type != fs::file_type::not_found;
}

std::uint64_t AppendMark::Length() const {
    constexpr auto unknown = std::numeric_limits<std::uint64_t>::max();
    std::error_code error;
    if (fs::symlink_status(path, error).type() != fs::file_type::regular) return unknown;
    constexpr std::size_t most = 20;  // digits
    char text[most] = {};
    std::ifstream file(path, std::ios::binary);
    file.read(text, most);
    const char* end = text + file.gcount();
    std::uint64_t length = unknown;
    const auto parsed = std::from_chars(text, end, length);
    return parsed.ec == std::errc() && parsed.ptr == end ? length : unknown;
}

void AppendMark::Set(const std::string& dataPath) const {
    const std::uintmax_t length = FileExists(dataPath) ? fs::file_size(dataPath) : 0;
    platform::CreateExclusively(path, std::to_string(length));
}

void AppendMark::Clear() const noexcept {
    std::remove(path.c_str());
}

}  // namespace fieldstore
