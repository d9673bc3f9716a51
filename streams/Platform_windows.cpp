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

bool CreateExclusively(const std::string& path) {
    const HANDLE handle = CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                                      FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE) return false;
    CloseHandle(handle);
    return true;
}

void OpenShared(std::ifstream& file, const std::string& path, std::ios::openmode mode) {
    OpenDenyNone(file, path, mode);
}

void OpenShared(std::ofstream& file, const std::string& path, std::ios::openmode mode) {
    OpenDenyNone(file, path, mode);
}

}  // namespace fieldstore::platform
