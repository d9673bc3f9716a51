// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_WINDOWS_H
#define FIELDSTORE_WINDOWS_H

#ifndef NOMINMAX
#define NOMINMAX
#endif
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

#include <memory>
#include <string>
#include <system_error>
#include <utility>

#include "streams/SystemFile.h"

/// What the sources for Windows share.
namespace fieldstore::platform {

/// A handle, closed at the end of its life.
class Handle {
public:
    explicit Handle(HANDLE opened) : handle(opened) {}
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    ~Handle() {
        if (IsValid()) CloseHandle(handle);
    }
    bool IsValid() const { return handle != INVALID_HANDLE_VALUE && handle != nullptr; }
    HANDLE Get() const { return handle; }

private:
    HANDLE handle;
};

inline HANDLE HandleOf(SystemFile file) {
    return reinterpret_cast<HANDLE>(file);
}

constexpr DWORD kSharedWithAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

/// Why the last call failed; as a generic error where others ask for one.
std::error_code LastError();
std::error_code ErrorOf(DWORD code);

/// UTF-8, or else the code page of the system, as the system's own characters.
std::wstring Wide(const std::string& text);
std::string Utf8(const std::wstring& text);
/// A name for the calls of the system, however long it is.
std::wstring SystemName(const std::string& name);

/// Two halves of a number.
constexpr std::uint64_t Joined(DWORD high, DWORD low) {
    constexpr int bitsOfHalf = 32;
    return (std::uint64_t{high} << bitsOfHalf) | low;
}

}  // namespace fieldstore::platform

#endif
