// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_FAILURE_H
#define FIELDSTORE_FAILURE_H

#include <exception>
#include <string>
#include <system_error>

namespace fieldstore {

/// The result code for an error.
int ResultOf(const std::exception_ptr& error) noexcept;

/// The failure of `doing`, as in "Cannot load", on `path`, in one sentence. `systemError` is what
/// the stream was refused last, for errors that do not tell themselves. Raises std::bad_alloc.
std::string SentenceOf(const std::exception_ptr& error, const char* doing, const std::string& path,
                       const std::error_code& systemError);

}  // namespace fieldstore

#endif
