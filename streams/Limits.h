// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_LIMITS_H
#define FIELDSTORE_LIMITS_H

#include <chrono>
#include <cstddef>
#include <cstdint>

/// What files and waits are held to.
namespace fieldstore {

/// The largest count of a vector or set that is believed.
inline constexpr std::uint64_t kMaxStreamCount = 10'000'000'000;
/// The longest string that can be read, in bytes.
inline constexpr int kMaxStringLength = 10'000;
/// The most characters of a version line, in text mode its end included.
inline constexpr int kMaxVersionLine = 256;

/// Vectors up to this size are resized at once; larger ones grow as data arrive, so that a false
/// count costs little memory. Raw values beyond `kReadDirectly` go by way of the buffer.
///
/// Under a fuzzer the limits are small: the short inputs that it tries then reach the code for
/// large vectors, and a false count costs it no time.
#ifdef FIELDSTORE_FUZZING
inline constexpr std::uint64_t kResizedAtOnce = std::uint64_t{4} << 10;  // bytes
inline constexpr std::uint64_t kReadDirectly = std::uint64_t{1} << 8;    // bytes
#else
inline constexpr std::uint64_t kResizedAtOnce = std::uint64_t{64} << 20;  // bytes
inline constexpr std::uint64_t kReadDirectly = std::uint64_t{1} << 20;    // bytes
#endif

/// Opening a file is tried this often, with this pause between two attempts.
inline constexpr int kOpenAttempts = 200;
inline constexpr std::chrono::seconds kOpenPause{2};

/// Locks, and files to be deleted, unless SetRetry says otherwise.
inline constexpr int kRetryCount = 200;
inline constexpr double kRetryInterval = 0.1;  // seconds

}  // namespace fieldstore

#endif
