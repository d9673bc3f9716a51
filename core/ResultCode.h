// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_RESULT_CODE_H
#define FIELDSTORE_RESULT_CODE_H

#include <string>

namespace fieldstore {

// What the int-returning operations of IPOBase give.
inline constexpr int kSuccess = 0;
inline constexpr int kFailure = 1;
inline constexpr int kInputNotFound = 2;

/// 1 for a message that carries the error number 1 ("Error 1: ..."), the input file that could not
/// be opened; 0 for every other message.
int ParseErrorCode(const std::string& message);

/// The result for an operation that failed with this message.
inline int ResultOf(const std::string& message) {
    return ParseErrorCode(message) == 1 ? kInputNotFound : kFailure;
}

}  // namespace fieldstore

#endif
