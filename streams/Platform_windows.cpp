// SPDX-License-Identifier: Apache-2.0
#define NOMINMAX
#include <share.h>
#include <windows.h>

#include "streams/Platform.h"

namespace fieldstore::platform {
namespace {

template <typename File>
void OpenDenyNone(File& file, const std::string& path, std::ios::openmode mode) {
    file.clear();
#if defined(_MSC_VER)
    file.open(path, mode, _SH_DENYNO);
#else
    file.open(path, mode);  // the runtime of the other compilers opens in shared mode
#endif
}

}  // namespace

bool CreateExclusively(const std::string& path, std::string_view content) {
    const HANDLE handle = CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                                      FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE) return false;
    DWORD written = 0;
    const bool whole =
        content.empty() ||
        (WriteFile(handle, content.data(), static_cast<DWORD>(content.size()), &written, nullptr) &&
         written == content.size());
    CloseHandle(handle);
    if (!whole) DeleteFileA(path.c_str());
    return whole;
}

std::optional<std::string> CreateBeside(const std::string& target) {
    const DWORD attributes = GetFileAttributesA(target.c_str());
    const bool exists = attributes != INVALID_FILE_ATTRIBUTES;
    if (exists && (attributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_READONLY)) != 0)
        return "";
    constexpr int attempts = 100;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        const std::string path = target + kReplacementSuffix +
                                 std::to_string(GetCurrentProcessId()) + "-" +
                                 std::to_string(attempt);
        if (CreateExclusively(path)) return path;
        if (GetLastError() == ERROR_ACCESS_DENIED) return "";
        if (GetLastError() != ERROR_FILE_EXISTS) return std::nullopt;
    }
    return "";
}

bool AppendText(const std::string& path, std::string_view text) {
    std::ofstream file;
    OpenShared(file, path, std::ios::out | std::ios::app);
    file.write(text.data(), static_cast<std::streamsize>(text.size()));
    file.close();
    return !file.fail();
}

void OpenShared(std::ifstream& file, const std::string& path, std::ios::openmode mode) {
    OpenDenyNone(file, path, mode);
}

void OpenShared(std::ofstream& file, const std::string& path, std::ios::openmode mode) {
    OpenDenyNone(file, path, mode);
}

}  // namespace fieldstore::platform
