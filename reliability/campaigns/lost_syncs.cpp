// SPDX-License-Identifier: Apache-2.0
// To be preloaded: syncs of directories, or those of files, do nothing, as in a library that forgot
// them. LOST_SYNCS is "directories" or "files".
#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

namespace {

using Sync = int(int);

template <typename Function>
Function* Next(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

const char* KindOf(int file) {
    struct stat status {};
    return fstat(file, &status) == 0 && S_ISDIR(status.st_mode) ? "directories" : "files";
}

bool IsLost(int file) {
    const char* lost = std::getenv("LOST_SYNCS");
    return lost != nullptr && lost == std::string(KindOf(file));
}

}  // namespace

extern "C" int fsync(int file) {
    static Sync* const next = Next<Sync>("fsync");
    return IsLost(file) ? 0 : next(file);
}

extern "C" int fdatasync(int file) {
    static Sync* const next = Next<Sync>("fdatasync");
    return IsLost(file) ? 0 : next(file);
}
