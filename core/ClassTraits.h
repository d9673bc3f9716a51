// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_CLASS_TRAITS_H
#define FIELDSTORE_CLASS_TRAITS_H

#include <cstdint>

namespace fieldstore {

// Bits of persistFlags.
inline constexpr std::uint32_t kPersistent = 0x001;   // set by every class, tested nowhere
inline constexpr std::uint32_t kLockable = 0x010;     // with kAppend: writing takes a lock
inline constexpr std::uint32_t kAppend = 0x100;       // a commit appends a body
inline constexpr std::uint32_t kKeepOnRead = 0x1000;  // reading adds to the data held

inline constexpr std::uint32_t kReplacing = kPersistent | kLockable;
inline constexpr std::uint32_t kAppending = kPersistent | kLockable | kAppend;

/// What distinguishes a persistent class apart from its data; a constant per class that needs no
/// initialisation at run time, so that a host's global object may be created at any moment.
struct ClassTraits {
    const char* name;
    const char* fileName;
    std::uint32_t persistFlags;
    int readType;              // storage type the read default stands for
    int writeType;             // and the write default
    bool versionLine;          // whether its file may begin with a version line
    const char* unknownError;  // logged when a destructor meets an error without a text
};

}  // namespace fieldstore

#endif
