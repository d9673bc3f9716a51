// SPDX-License-Identifier: Apache-2.0
#include "streams/StopRequest.h"

#include <system_error>
#include <utility>

namespace fieldstore {
namespace {

thread_local StopQuestion asked = nullptr;

}  // namespace

StopOnRequest::StopOnRequest(StopQuestion question) noexcept
    : outer(std::exchange(asked, question)) {}

StopOnRequest::~StopOnRequest() {
    asked = outer;
}

void StopIfRequested() {
    if (asked != nullptr && asked())
        throw std::system_error(std::make_error_code(std::errc::interrupted));
}

}  // namespace fieldstore
