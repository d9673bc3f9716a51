// SPDX-License-Identifier: Apache-2.0
#include "streams/FileNames.h"

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <string>
#include <system_error>
#include <vector>

namespace fieldstore::platform {
namespace fs = std::filesystem;

fs::path PathOf(const std::string& name) {
    return name;
}

std::string NameOf(const fs::path& path) {
    return path.string();
}

std::size_t LastNameIn(const std::string& name) {
    const auto slash = name.rfind('/');
    return slash == std::string::npos ? 0 : slash + 1;
}

std::string DirectoryOf(const std::string& name) {
    const std::size_t begin = LastNameIn(name);
    if (begin == 0) return ".";
    return begin == 1 ? "/" : name.substr(0, begin - 1);
}

fs::file_type TypeOf(const std::string& name, Links links, std::error_code& error) {
    const auto status =
        links == Links::Follow ? fs::status(name, error) : fs::symlink_status(name, error);
    return status.type();
}

std::uint64_t SizeOf(const std::string& name, std::error_code& error) {
    return fs::file_size(name, error);
}

std::string BehindLinks(const std::string& name) {
    std::error_code error;
    if (!fs::is_symlink(fs::symlink_status(name, error))) return name;
    const std::string whole = fs::canonical(name, error).string();
    return error ? "" : whole;
}

std::string AbsoluteName(const std::string& name) {
    return fs::absolute(name).string();
}

std::string WholePath(const std::string& name) {
    std::error_code error;
    const auto absolute = fs::absolute(name, error);
    const auto whole = fs::weakly_canonical(absolute, error);
    return (error ? fs::path(name).lexically_normal() : whole).string();
}

bool Exists(const std::string& name) {
    std::error_code none;
    const auto type = TypeOf(name, Links::Follow, none);
    return type != fs::file_type::none && type != fs::file_type::not_found;
}

bool IsDirectory(const std::string& name) {
    std::error_code none;
    return TypeOf(name, Links::Follow, none) == fs::file_type::directory;
}

std::vector<std::string> NamesIn(const std::string& directory, std::error_code& error) {
    std::vector<std::string> names;
    for (fs::directory_iterator entry(directory, error); !error && entry != fs::end(entry);
         entry.increment(error))
        names.push_back(entry->path().filename().string());
    return names;
}

std::string Joined(const std::string& directory, const std::string& name) {
    return (fs::path(directory) / name).string();
}

std::error_code Remove(const std::string& name) noexcept {
    if (std::remove(name.c_str()) == 0) return {};
    return {errno, std::generic_category()};
}

std::error_code Rename(const std::string& from, const std::string& to) {
    if (std::rename(from.c_str(), to.c_str()) == 0) return {};
    return {errno, std::generic_category()};
}

bool IsInUse(const std::error_code& /*reason*/) {
    return false;  // a name may always be taken from an open file
}

}  // namespace fieldstore::platform
