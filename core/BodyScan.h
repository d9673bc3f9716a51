// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_BODY_SCAN_H
#define FIELDSTORE_BODY_SCAN_H

#include <cstdint>
#include <memory>

#include "core/POBase.h"
#include "core/POVersion.h"
#include "streams/POStreamIO.h"

namespace fieldstore {

/// Reads the file that an object is about to append to, body by body, without changing its data.
/// For that time the object has an input in place of its output.
class BodyScan {
public:
    explicit BodyScan(POBase& storedObject);
    ~BodyScan();
    BodyScan(const BodyScan&) = delete;
    BodyScan& operator=(const BodyScan&) = delete;

    /// Where the last whole body ends. Raises when the system does not give what is stored, which
    /// says nothing about it.
    std::uint64_t EndOfWhole();

private:
    bool SkipBodies();

    POBase& object;
    POVersion version;
    std::shared_ptr<POStreamIO> output;
    std::uint64_t wholeEnd = 0;
};

}  // namespace fieldstore

#endif
