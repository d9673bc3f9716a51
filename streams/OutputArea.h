// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_OUTPUT_AREA_H
#define FIELDSTORE_OUTPUT_AREA_H

#include <cstdint>
#include <cstring>
#include <memory>
#include <ostream>
#include <utility>

#include "streams/BufferArea.h"
#include "streams/FlatEncoding.h"

namespace fieldstore {

/// A standard output stream, or none, with the short way into the put area of its buffer.
class OutputArea {
public:
    void Set(std::shared_ptr<std::ostream> target) {
        buffer = target ? target->rdbuf() : nullptr;
        stream = std::move(target);
    }
    const std::shared_ptr<std::ostream>& Stream() const { return stream; }
    bool IsGood() const { return stream && stream->good(); }

    /// Raises "Bad stream;" when there is no stream or it is not good.
    void Check() const {
        if (!IsGood()) RaiseBadStream();
    }

    /// Puts bytes for which the area has room; returns false otherwise.
    bool PutBytes(const void* bytes, std::size_t count) {
        if (buffer == nullptr || !stream->good()) return false;
        if (BufferArea::Writable(*buffer) < count) return false;
        std::memcpy(BufferArea::WritePosition(*buffer), bytes, count);
        BufferArea::Advance(*buffer, count);
        return true;
    }

    /// Writes values from `element` on as long as each fits the area, at most `count`, and returns
    /// how many; `element` moves on.
    template <typename Iterator>
    std::size_t PutRun(Iterator& element, std::size_t count) {
        if (buffer == nullptr || !stream->good()) return 0;
        char* const begin = BufferArea::WritePosition(*buffer);
        char* const end = begin + BufferArea::Writable(*buffer);
        char* to = begin;
        std::size_t put = 0;
        Iterator at = element;  // a local, which the stores cannot be taken to change
        for (; put < count; ++put, ++at) {
            const std::size_t size = FlatSize(*at);
            if (size > static_cast<std::size_t>(end - to) || size > BufferArea::kLargestCopy) break;
            to = StoreFlat(to, *at);
        }
        element = at;
        BufferArea::Advance(*buffer, static_cast<std::size_t>(to - begin));
        return put;
    }

    /// Write check, then `count` bytes.
    void Write(const void* bytes, std::uint64_t count) {
        const bool copied = count != 0 && count <= BufferArea::kLargestCopy &&
                            PutBytes(bytes, static_cast<std::size_t>(count));
        if (!copied) WriteSlowly(bytes, count);
    }

private:
    [[noreturn]] static void RaiseBadStream();
    void WriteSlowly(const void* bytes, std::uint64_t count);

    std::shared_ptr<std::ostream> stream;
    std::streambuf* buffer = nullptr;  // the stream's, null for a placeholder; kept for speed
};

}  // namespace fieldstore

#endif
