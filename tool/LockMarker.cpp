// SPDX-License-Identifier: Apache-2.0
#include "tool/LockMarker.h"

#include <stdexcept>
#include <system_error>
#include <utility>

#include "core/SideFiles.h"
#include "streams/FileNames.h"
#include "streams/POWindowsFileLocker.h"
#include "streams/Platform.h"
#include "tool/Error.h"
#include "tool/System.h"
#include "tool/Terminal.h"

namespace fieldstore::tool {

std::string MarkerPathFor(const std::string& dataPath, const std::string& lockDirectory) {
    if (lockDirectory.empty()) return LockPathFor(dataPath);
    return LockPathFor(
        platform::Joined(lockDirectory, dataPath.substr(platform::LastNameIn(dataPath))));
}

std::optional<LockMarker> FindMarker(const std::string& markerPath) {
    std::error_code error;
    const auto state = system::StateOf(markerPath, platform::Links::Keep, error);
    if (error)
        throw Error(markerPath, "cannot be looked at: " + error.message(), "Check the directory.");
    if (!state) return std::nullopt;
    return LockMarker{markerPath, state->age, state->isFile && state->size == 0};
}

std::optional<LockMarker> FindLock(const std::string& path) {
    return FindMarker(LockPathFor(path));
}

HeldLock::HeldLock(const std::string& dataPath, const std::string& lockDirectory)
    : marker(MarkerPathFor(dataPath, lockDirectory)) {
    {
        const HeldSignals untilNamed;
        if (!platform::CreateExclusively(marker)) {
            removal.emplace(marker);
            return;
        }
    }
    const auto held = FindMarker(marker);
    if (!held)
        throw Error(marker, "the lock cannot be taken", "Check the directory and its permissions.");
    throw Error(dataPath, "a writer has locked it for " + ReadableTime(held->age),
                "Wait for it, or, when none is left, run: fieldstore unlock " + marker);
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
        Say(error);  // another error is on its way
    }
}

}  // namespace fieldstore::tool
