// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_SYSTEM_FILE_H
#define FIELDSTORE_SYSTEM_FILE_H

#include <cstdint>

namespace fieldstore::platform {

/// What the system calls an open file: a descriptor, on Windows a handle.
#ifdef _WIN32
using SystemFile = std::intptr_t;
#else
using SystemFile = int;
#endif
constexpr SystemFile kNoSystemFile = -1;

}  // namespace fieldstore::platform

#endif
