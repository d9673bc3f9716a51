// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_MEMORY_BUFFER_H
#define FIELDSTORE_MEMORY_BUFFER_H

#include <cstddef>
#include <ios>
#include <streambuf>

#include "streams/Span.h"

namespace fieldstore {

/// A stream buffer that reads bytes of somebody else, without a copy.
class MemoryBuffer final : public std::streambuf {
public:
    explicit MemoryBuffer(Span<const char> content) : bytes(content) { Window(0); }

protected:
    int_type underflow() override;
    pos_type seekoff(off_type offset, std::ios_base::seekdir from,
                     std::ios_base::openmode) override;
    pos_type seekpos(pos_type target, std::ios_base::openmode mode) override {
        return seekoff(off_type(target), std::ios_base::beg, mode);
    }

private:
    /// The get area moves in steps of int.
    static constexpr std::size_t kWindow = std::size_t{1} << 30;

    void Window(std::size_t begin);

    Span<const char> bytes;
    std::size_t windowEnd = 0;
};

}  // namespace fieldstore

#endif
