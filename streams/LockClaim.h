// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_LOCK_CLAIM_H
#define FIELDSTORE_LOCK_CLAIM_H

#include <chrono>
#include <optional>
#include <random>
#include <string>

#include "streams/Platform.h"

namespace fieldstore {

/// What follows the name of a lock's marker in that of its claim.
inline constexpr const char* kClaimSuffix = ".next";

/// The claim to hold a lock next. Without it, a writer that commits again at once would nearly
/// always be faster than those that wait, as it need not find out that the lock is free.
///
/// The claim is an empty file next to the marker. One of the waiting writers has it and looks
/// often; the others, and whoever has just released the lock, leave the lock to that one. It is a
/// matter of courtesy only: what excludes is the marker. Where no claim can stand there is none,
/// and that of a writer that died is removed by the next one that finds the lock free for some
/// milliseconds.
class LockClaim {
public:
    using Time = std::chrono::microseconds;

    explicit LockClaim(const std::string& lockFile);
    /// Gives the claim up.
    ~LockClaim();
    LockClaim(const LockClaim&) = delete;
    LockClaim& operator=(const LockClaim&) = delete;

    /// Waits while another writer has the claim, for some milliseconds at most. By lot, it does so
    /// in two of five cases: a second commit in a row is a cheap one.
    void LetOthersFirst();
    /// Whether this writer may take the lock when it is free. Takes the claim when nobody has it.
    bool IsNext();
    /// Sleeps until it is worth looking at the lock again, no longer than `most`. Returns the time.
    Time Nap(Time most);

private:
    bool AnotherHasIt();
    bool IsAbandoned(const platform::FileIdentity& found);
    bool Take();
    Time NapOfNext() const;
    Time NapOfOther();

    const std::string& lock;
    std::string path;
    std::optional<platform::FileIdentity> mine;
    bool usable = true;                             // a claim can stand here
    Time waited{0};                                 // without the claim
    Time waitedAsNext{0};                           // with it
    std::optional<platform::FileIdentity> another;  // writer's claim, as last seen
    Time unused{0};                                 // how long that one left a free lock alone
    std::minstd_rand random;
};

}  // namespace fieldstore

#endif
