// SPDX-License-Identifier: Apache-2.0
#include "streams/MemoryBuffer.h"

#include <algorithm>

namespace fieldstore {

/// Requires: begin <= bytes.size()
void MemoryBuffer::Window(std::size_t begin) {
    windowEnd = begin + std::min(kWindow, bytes.size() - begin);
    auto* first = const_cast<char*>(bytes.data());  // a get area is never written to
    setg(first + begin, first + begin, first + windowEnd);
}

MemoryBuffer::int_type MemoryBuffer::underflow() {
    if (gptr() == egptr() && windowEnd < bytes.size()) Window(windowEnd);
    return gptr() == egptr() ? traits_type::eof() : traits_type::to_int_type(*gptr());
}

MemoryBuffer::pos_type MemoryBuffer::seekoff(off_type offset, std::ios_base::seekdir from,
                                             std::ios_base::openmode) {
    const auto here = static_cast<off_type>(windowEnd) - (egptr() - gptr());
    const auto size = static_cast<off_type>(bytes.size());
    const off_type target = offset + (from == std::ios_base::cur   ? here
                                      : from == std::ios_base::end ? size
                                                                   : 0);
    if (target < 0 || target > size) return pos_type(off_type(-1));
    if (target != here) Window(static_cast<std::size_t>(target));
    return pos_type(target);
}

}  // namespace fieldstore
