// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_BUFFER_AREA_H
#define FIELDSTORE_BUFFER_AREA_H

#include <cstddef>
#include <streambuf>

namespace fieldstore {

/// Direct access to the get and put area of any stream buffer. A primitive that fits the area is
/// then a bounds test and a copy; going through the stream costs several times that.
///
/// Naming the protected members through this class is what makes the access legal.
class BufferArea : public std::streambuf {
public:
    static std::size_t Readable(const std::streambuf& buffer) {
        return static_cast<std::size_t>((buffer.*&BufferArea::egptr)() -
                                        (buffer.*&BufferArea::gptr)());
    }
    static const char* ReadPosition(const std::streambuf& buffer) {
        return (buffer.*&BufferArea::gptr)();
    }
    /// `count` must not exceed Readable().
    static void Consume(std::streambuf& buffer, std::size_t count) {
        (buffer.*&BufferArea::gbump)(static_cast<int>(count));
    }

    static std::size_t Writable(const std::streambuf& buffer) {
        return static_cast<std::size_t>((buffer.*&BufferArea::epptr)() -
                                        (buffer.*&BufferArea::pptr)());
    }
    static char* WritePosition(const std::streambuf& buffer) {
        return (buffer.*&BufferArea::pptr)();
    }
    /// Takes `count` bytes at WritePosition() as written; at most Writable().
    static void Advance(std::streambuf& buffer, std::size_t count) {
        (buffer.*&BufferArea::pbump)(static_cast<int>(count));
    }

    /// Blocks above this size always go through the stream: they gain nothing from a copy into the
    /// area, and the area's positions move in steps of int.
    static constexpr std::size_t kLargestCopy = std::size_t{1} << 16;
};

}  // namespace fieldstore

#endif
