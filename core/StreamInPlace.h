// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_STREAM_IN_PLACE_H
#define FIELDSTORE_STREAM_IN_PLACE_H

#include <memory>
#include <utility>

#include "streams/POStreamIO.h"

namespace fieldstore {

/// Another stream in place of an object's own, for a scope.
class StreamInPlace {
public:
    StreamInPlace(std::shared_ptr<POStreamIO>& place, std::shared_ptr<POStreamIO> other)
        : stream(place), own(std::exchange(place, std::move(other))) {}
    ~StreamInPlace() { stream = std::move(own); }
    StreamInPlace(const StreamInPlace&) = delete;
    StreamInPlace& operator=(const StreamInPlace&) = delete;

private:
    std::shared_ptr<POStreamIO>& stream;
    std::shared_ptr<POStreamIO> own;
};

}  // namespace fieldstore

#endif
