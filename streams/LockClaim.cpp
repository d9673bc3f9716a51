// SPDX-License-Identifier: Apache-2.0
#include "streams/LockClaim.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "streams/FileNames.h"
#include "streams/RetryPause.h"

namespace fieldstore {
namespace fs = std::filesystem;
namespace {

using Time = LockClaim::Time;

// Whoever is next looks soon at first, when the commit of the other may be a short one, then less
// often: an eighth of what it has waited delays little, and a network's file system bears the last.
constexpr Time kShortestNap{50};
constexpr Time kLongestNap{2000};
constexpr int kNapsInWait = 8;

// The naps of the others are drawn by lot, so that all of them get the claim equally often; from
// shorter ones the longer they wait, so that nobody waits for ever.
constexpr Time kShortestLot{100};
constexpr Time kLongestLot{8000};
constexpr int kWaitsInLot = 4;

// More than a living writer that has the claim sleeps.
constexpr Time kAbandonedAfter{5000};
constexpr Time kLongestCourtesy{10000};
constexpr double kGoesAhead = 0.6;

/// Someone's data may have this name.
bool IsForeign(const std::string& path) {
    std::error_code error;
    const auto type = platform::TypeOf(path, platform::Links::Keep, error);
    if (type != fs::file_type::regular) return type != fs::file_type::not_found;
    const auto size = platform::SizeOf(path, error);
    return !error && size != 0;
}

auto Seed() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch().count();
    return static_cast<std::minstd_rand::result_type>(now);
}

}  // namespace

LockClaim::LockClaim(const std::string& lockFile)
    : lock(lockFile), path(lockFile + kClaimSuffix), random(Seed()) {}

LockClaim::~LockClaim() {
    if (mine && platform::IdentityOf(path) == mine) platform::Remove(path);
}

bool LockClaim::IsNext() {
    if (mine && platform::IdentityOf(path) != mine) mine.reset();  // another one took it for left
    if (mine || !usable) return true;
    if (AnotherHasIt()) return false;
    return !usable || Take();
}

void LockClaim::LetOthersFirst() {
    // What a second commit in a row needs is still in the processor's caches.
    if (!AnotherHasIt() || std::bernoulli_distribution(kGoesAhead)(random)) return;
    Time given{0};
    while (given < kLongestCourtesy && AnotherHasIt()) given += Nap(kLongestCourtesy - given);
}

/// Tells whether a living writer has it, and removes that of a dead one.
bool LockClaim::AnotherHasIt() {
    const auto found = platform::IdentityOf(path);
    if (!found) return false;
    usable = !IsForeign(path);
    if (!usable) return false;
    if (!IsAbandoned(*found)) return true;
    platform::Remove(path);
    return false;
}

bool LockClaim::IsAbandoned(const platform::FileIdentity& found) {
    if (another != found || platform::IdentityOf(lock)) {
        another = found;
        unused = Time(0);
    }
    return unused >= kAbandonedAfter;
}

bool LockClaim::Take() {
    const auto error = platform::CreateExclusively(path);
    if (!error) mine = platform::IdentityOf(path);
    if (error == std::errc::file_exists) return false;  // another was faster
    usable = !error;
    return true;
}

Time LockClaim::Nap(Time most) {
    const Time nap = std::min(mine || !usable ? NapOfNext() : NapOfOther(), most);
    Pause(nap);
    (mine || !usable ? waitedAsNext : waited) += nap;
    unused += nap;
    return nap;
}

Time LockClaim::NapOfNext() const {
    return std::clamp(waitedAsNext / kNapsInWait, kShortestNap, kLongestNap);
}

Time LockClaim::NapOfOther() {
    const Time longest = std::max(kLongestNap, kLongestLot - waited / kWaitsInLot);
    return Time(std::uniform_int_distribution(kShortestLot.count(), longest.count())(random));
}

}  // namespace fieldstore
