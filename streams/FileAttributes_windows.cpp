// SPDX-License-Identifier: Apache-2.0
#include "streams/FileAttributes.h"

#include "streams/Windows.h"

namespace fieldstore::platform {
namespace {

/// The access list of a file; nothing when the system does not tell.
std::vector<char> AccessListOf(const std::wstring& name) {
    DWORD size = 0;
    GetFileSecurityW(name.c_str(), DACL_SECURITY_INFORMATION, nullptr, 0, &size);
    std::vector<char> list(size);
    const bool known = size != 0 && GetFileSecurityW(name.c_str(), DACL_SECURITY_INFORMATION,
                                                     list.data(), size, &size) != 0;
    return known ? list : std::vector<char>();
}

}  // namespace

/// Owner and group are those of the process, as the system does it for every new file.
TakenAttributes TakeAttributes(const std::string& from, SystemFile to) {
    TakenAttributes taken;
    std::vector<char> list = AccessListOf(SystemName(from));
    const bool kept =
        !list.empty() &&
        SetKernelObjectSecurity(HandleOf(to), DACL_SECURITY_INFORMATION, list.data()) != 0;
    if (!kept) taken.lost.push_back("its access list could not be kept: " + LastError().message());
    return taken;
}

}  // namespace fieldstore::platform
