// SPDX-License-Identifier: Apache-2.0
#include "streams/OutputArea.h"

#include "streams/StreamErrors.h"
#include "streams/StreamMessages.h"

namespace fieldstore {

void OutputArea::RaiseBadStream() {
    throw StreamStateError(messages::kBadStreamState);
}

// The copy of the pointer keeps the stream alive should something close it meanwhile.
void OutputArea::WriteSlowly(const void* bytes, std::uint64_t count) {
    const auto target = stream;
    Check();
    if (count != 0)
        target->write(static_cast<const char*>(bytes), static_cast<std::streamsize>(count));
}

}  // namespace fieldstore
