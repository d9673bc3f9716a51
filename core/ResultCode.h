// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_RESULT_CODE_H
#define FIELDSTORE_RESULT_CODE_H

namespace fieldstore {

// What the int-returning operations of IPOBase give.
inline constexpr int kSuccess = 0;
inline constexpr int kFailure = 1;
inline constexpr int kInputNotFound = 2;

}  // namespace fieldstore

#endif
