// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_ERROR_LOG_H
#define FIELDSTORE_ERROR_LOG_H

#include <string>

namespace fieldstore {

/// The log next to a data file: the name up to its last ".", backslashes turned round, and "err".
/// Empty when the name has no ".".
std::string ErrorLogPathFor(const std::string& dataPath);

/// Appends a line to the log; to standard error when the path is empty or cannot be written.
void AppendToErrorLog(const std::string& logPath, const std::string& line);

}  // namespace fieldstore

#endif
