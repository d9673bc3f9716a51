// SPDX-License-Identifier: Apache-2.0
#include "streams/FileNames.h"

#include <string_view>
#include <vector>

#include "streams/Windows.h"

namespace fieldstore::platform {
namespace fs = std::filesystem;
namespace {

constexpr std::wstring_view kAsItIs = L"\\\\?\\";  // what the system takes without a change
constexpr std::wstring_view kAsItIsInNetwork = L"\\\\?\\UNC\\";
constexpr std::wstring_view kNetwork = L"\\\\";
// Newer constants, which older headers lack.
constexpr auto kDispositionEx = static_cast<FILE_INFO_BY_HANDLE_CLASS>(21);
constexpr auto kRenameEx = static_cast<FILE_INFO_BY_HANDLE_CLASS>(22);
constexpr DWORD kDelete = 1, kDeleteNameAtOnce = 2;
constexpr DWORD kReplace = 1, kReplaceNameAtOnce = 2;

bool BeginsWith(const std::wstring& text, std::wstring_view with) {
    return std::wstring_view(text).substr(0, with.size()) == with;
}

/// Decodes all of it or nothing.
std::wstring Decoded(const std::string& text, UINT codePage, DWORD flags) {
    const int size = static_cast<int>(text.size());
    const int needed = MultiByteToWideChar(codePage, flags, text.data(), size, nullptr, 0);
    std::wstring decoded(static_cast<std::size_t>(needed), L'\0');
    MultiByteToWideChar(codePage, flags, text.data(), size, decoded.data(), needed);
    return decoded;
}

/// Has `get` fill a buffer, which it asks to be larger when it does not suffice; "" on failure.
template <typename Get>
std::wstring Filled(Get get) {
    std::wstring text(MAX_PATH, L'\0');
    for (;;) {
        const DWORD length = get(static_cast<DWORD>(text.size()), text.data());
        const bool fits = length < text.size();
        text.resize(length);
        if (fits) return text;
    }
}

std::wstring FullName(const std::wstring& name) {
    return Filled([&name](DWORD size, wchar_t* buffer) {
        return GetFullPathNameW(name.c_str(), size, buffer, nullptr);
    });
}

std::wstring WithoutPrefix(std::wstring name) {
    if (BeginsWith(name, kAsItIsInNetwork))
        return name.replace(0, kAsItIsInNetwork.size(), kNetwork);
    return BeginsWith(name, kAsItIs) ? name.substr(kAsItIs.size()) : name;
}

/// The file behind a name, to ask about it and no more; the access may be refused to its content.
HANDLE OpenToAsk(const std::string& name, DWORD flags) {
    return CreateFileW(SystemName(name).c_str(), 0, kSharedWithAll, nullptr, OPEN_EXISTING,
                       FILE_FLAG_BACKUP_SEMANTICS | flags, nullptr);
}

/// The name of an existing file without links; "" for others.
std::wstring FinalName(const std::string& name) {
    const Handle file(OpenToAsk(name, 0));
    if (!file.IsValid()) return {};
    return WithoutPrefix(Filled([&file](DWORD size, wchar_t* buffer) {
        return GetFinalPathNameByHandleW(file.Get(), buffer, size, FILE_NAME_NORMALIZED);
    }));
}

bool IsLink(const std::string& name) {
    WIN32_FIND_DATAW found{};
    const HANDLE search = FindFirstFileW(SystemName(name).c_str(), &found);
    if (search == INVALID_HANDLE_VALUE) return false;
    FindClose(search);
    return (found.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 &&
           (found.dwReserved0 == IO_REPARSE_TAG_SYMLINK ||
            found.dwReserved0 == IO_REPARSE_TAG_MOUNT_POINT);
}

fs::file_type TypeIn(DWORD attributes) {
    return (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0 ? fs::file_type::directory
                                                        : fs::file_type::regular;
}

/// Nothing has a name that none can have.
bool IsMissing(const std::error_code& error) {
    return error == std::errc::no_such_file_or_directory || error == std::errc::invalid_argument ||
           error == std::errc::filename_too_long;
}

/// The name goes at once, even while others have the file open; false where the system is too old
/// or the file system knows no such thing.
bool RemoveNameAtOnce(HANDLE file) {
    DWORD flags = kDelete | kDeleteNameAtOnce;
    return SetFileInformationByHandle(file, kDispositionEx, &flags, sizeof flags) != 0;
}

/// The same for a name that gets another file.
bool RenameAtOnce(HANDLE file, const std::wstring& to) {
    struct Renaming {
        DWORD flags;
        HANDLE directory;
        DWORD bytes;
        wchar_t name[1];
    };
    const std::size_t bytes = to.size() * sizeof(wchar_t);
    // Of whole pointers, so that it is aligned as the structure is.
    std::vector<HANDLE> memory((sizeof(Renaming) + bytes) / sizeof(HANDLE) + 1);
    auto* renaming = reinterpret_cast<Renaming*>(memory.data());
    renaming->flags = kReplace | kReplaceNameAtOnce;
    renaming->bytes = static_cast<DWORD>(bytes);
    to.copy(renaming->name, to.size());
    return SetFileInformationByHandle(file, kRenameEx, renaming,
                                      static_cast<DWORD>(memory.size() * sizeof(HANDLE))) != 0;
}

}  // namespace

// ---- names ----

std::wstring Wide(const std::string& text) {
    std::wstring decoded = Decoded(text, CP_UTF8, MB_ERR_INVALID_CHARS);
    return decoded.empty() ? Decoded(text, CP_ACP, 0) : decoded;
}

std::string Utf8(const std::wstring& text) {
    const int size = static_cast<int>(text.size());
    const auto encode = [&](char* to, int room) {
        return WideCharToMultiByte(CP_UTF8, 0, text.data(), size, to, room, nullptr, nullptr);
    };
    std::string encoded(static_cast<std::size_t>(encode(nullptr, 0)), '\0');
    encode(encoded.data(), static_cast<int>(encoded.size()));
    return encoded;
}

std::wstring SystemName(const std::string& name) {
    std::wstring wide = Wide(name);
    if (BeginsWith(wide, kAsItIs) || BeginsWith(wide, L"\\\\.\\")) return wide;
    constexpr std::size_t longest =
        MAX_PATH - 12;  // of a directory, which has room for a short name
    std::wstring full = FullName(wide);
    if (full.size() < longest) return wide;
    if (BeginsWith(full, kNetwork))
        return std::wstring(kAsItIsInNetwork) + full.substr(kNetwork.size());
    return std::wstring(kAsItIs) + full;
}

fs::path PathOf(const std::string& name) {
    return Wide(name);
}

std::string NameOf(const fs::path& path) {
    return Utf8(path.native());
}

std::size_t LastNameIn(const std::string& name) {
    const auto separator = name.find_last_of("/\\:");
    return separator == std::string::npos ? 0 : separator + 1;
}

/// With the separator, without which C: means another directory than C:\\.
std::string DirectoryOf(const std::string& name) {
    const std::size_t begin = LastNameIn(name);
    return begin == 0 ? "." : name.substr(0, begin);
}

std::string AbsoluteName(const std::string& name) {
    return Utf8(FullName(Wide(name)));
}

std::string BehindLinks(const std::string& name) {
    return IsLink(name) ? Utf8(FinalName(name)) : name;
}

/// As far as the path exists, the name is the one on the disk, whatever the case it was given in.
std::string WholePath(const std::string& name) {
    std::string begin = AbsoluteName(name), rest;
    for (;;) {
        const std::wstring final = FinalName(begin);
        if (!final.empty()) return Utf8(final) + rest;
        const auto separator = begin.rfind('\\');
        if (separator == std::string::npos || separator + 1 >= begin.size()) return begin + rest;
        rest.insert(0, begin, separator, std::string::npos);
        begin.resize(separator);
    }
}

// ---- files ----

fs::file_type TypeOf(const std::string& name, Links links, std::error_code& error) {
    error.clear();
    if (links == Links::Keep && IsLink(name)) return fs::file_type::symlink;
    const DWORD attributes = GetFileAttributesW(SystemName(name).c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) {
        error = LastError();
        return IsMissing(error) ? fs::file_type::not_found : fs::file_type::none;
    }
    if ((attributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0) return TypeIn(attributes);
    const Handle target(OpenToAsk(name, 0));
    BY_HANDLE_FILE_INFORMATION info{};
    if (target.IsValid() && GetFileInformationByHandle(target.Get(), &info) != 0)
        return TypeIn(info.dwFileAttributes);
    error = LastError();
    return IsMissing(error) ? fs::file_type::not_found : fs::file_type::none;
}

std::uint64_t SizeOf(const std::string& name, std::error_code& error) {
    const Handle file(OpenToAsk(name, 0));
    LARGE_INTEGER size{};
    const bool known = file.IsValid() && GetFileSizeEx(file.Get(), &size) != 0;
    error = known ? std::error_code() : LastError();
    return known ? static_cast<std::uint64_t>(size.QuadPart) : ~std::uint64_t{0};
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
    WIN32_FIND_DATAW found{};
    const HANDLE search = FindFirstFileW(SystemName(Joined(directory, "*")).c_str(), &found);
    error = search == INVALID_HANDLE_VALUE ? LastError() : std::error_code();
    if (error) return names;
    do {
        std::string name = Utf8(found.cFileName);
        if (name != "." && name != "..") names.push_back(std::move(name));
    } while (FindNextFileW(search, &found) != 0);
    FindClose(search);
    return names;
}

/// With a slash, which the system takes as well, so that what programs print is the same
/// everywhere.
std::string Joined(const std::string& directory, const std::string& name) {
    if (PathOf(name).is_absolute()) return name;
    const bool bare = LastNameIn(directory) == directory.size();
    return directory + (bare ? "" : "/") + name;
}

std::error_code Remove(const std::string& name) noexcept {
    try {
        const std::wstring systemName = SystemName(name);
        const Handle file(CreateFileW(systemName.c_str(), DELETE, kSharedWithAll, nullptr,
                                      OPEN_EXISTING, FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
        if (file.IsValid() && RemoveNameAtOnce(file.Get())) return {};
        return DeleteFileW(systemName.c_str()) != 0 ? std::error_code() : LastError();
    } catch (const std::bad_alloc&) {
        return std::make_error_code(std::errc::not_enough_memory);
    }
}

std::error_code Rename(const std::string& from, const std::string& to) {
    const std::wstring oldName = SystemName(from), newName = SystemName(to);
    {
        const Handle file(CreateFileW(oldName.c_str(), DELETE | SYNCHRONIZE, kSharedWithAll,
                                      nullptr, OPEN_EXISTING, FILE_FLAG_OPEN_REPARSE_POINT,
                                      nullptr));
        if (file.IsValid() && RenameAtOnce(file.Get(), FullName(newName))) return {};
    }
    constexpr DWORD how = MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH;
    return MoveFileExW(oldName.c_str(), newName.c_str(), how) != 0 ? std::error_code()
                                                                   : LastError();
}

bool IsInUse(const std::error_code& reason) {
    // Another process that has the file open forbids this by either.
    return reason == std::errc::permission_denied ||
           reason == std::error_code(ERROR_SHARING_VIOLATION, std::system_category());
}

}  // namespace fieldstore::platform
