// SPDX-License-Identifier: Apache-2.0
#include "tool/LockMarker.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <utility>

#include "core/SideFiles.h"
#include "streams/POWindowsFileLocker.h"
#include "streams/Platform.h"
#include "tool/Error.h"
#include "tool/Terminal.h"

namespace fieldstore::tool {

std::optional<LockMarker> FindLock(const std::string& path) {
    const std::string marker = LockPathFor(path);
    struct stat info {};
    if (lstat(marker.c_str(), &info) != 0) {
        if (errno == ENOENT || errno == ENOTDIR) return std::nullopt;
        throw Error(marker, std::string("cannot be looked at: ") + std::strerror(errno),
                    "Check the directory.");
    }
    const auto age = std::max<std::time_t>(std::time(nullptr) - info.st_mtime, 0);
    return LockMarker{marker, std::chrono::seconds(age)};
}

HeldLock::HeldLock(const std::string& dataPath) : marker(LockPathFor(dataPath)) {
    {
        const HeldSignals untilNamed;
        if (platform::CreateExclusively(marker)) {
            removal.emplace(marker);
            return;
        }
    }
    const auto held = FindLock(dataPath);
    if (!held)
        throw Error(marker, "the lock cannot be taken", "Check the directory's permissions.");
    throw Error(dataPath, "a writer has locked it for " + ReadableTime(held->age),
                "Wait for it, or, when none is left, run: fieldstore unlock " + dataPath);
}

void HeldLock::Release() {
    const std::string held = std::exchange(marker, "");
    try {
        POWindowsFileLocker(held, [] {
            return std::string();
        }).Unlock();  // which tries long enough
    } catch (const std::runtime_error& error) {
        throw Error(held, error.what(), "Remove it by hand, or nobody can write.");
    }
}

HeldLock::~HeldLock() {
    try {
        if (!marker.empty()) Release();
    } catch (const Error& error) {
        Say(error.what());  // another error is on its way
    }
}

}  // namespace fieldstore::tool
