// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_STREAM_ERRORS_H
#define FIELDSTORE_STREAM_ERRORS_H

#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>

#include "streams/StreamMessages.h"

/// The errors that callers tell apart by their type. The texts are those of StreamMessages.h.
namespace fieldstore {

/// A stream that cannot be read or written any more, or is at its end: what came before is at
/// fault.
class StreamStateError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A file that the system does not give, with its path and, where there is one, the system's
/// reason.
class FileError : public std::runtime_error {
public:
    FileError(const char* text, std::string filePath, std::error_code systemReason)
        : std::runtime_error(text), path(std::move(filePath)), reason(systemReason) {}

    const std::string& Path() const { return path; }
    const std::error_code& Reason() const { return reason; }

private:
    std::string path;
    std::error_code reason;
};

/// The file to read is missing, unreadable, or no file.
class InputNotOpened : public FileError {
public:
    explicit InputNotOpened(std::string filePath, std::error_code systemReason = {})
        : FileError(messages::kInputNotOpened, std::move(filePath), systemReason) {}
};

}  // namespace fieldstore

#endif
