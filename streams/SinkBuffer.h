// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_SINK_BUFFER_H
#define FIELDSTORE_SINK_BUFFER_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <ios>
#include <memory>
#include <streambuf>

namespace fieldstore {

/// A stream buffer that hands what is written to a function, in pieces; what is larger than the
/// buffer comes as it is. Knows its position, but cannot go to another one.
class SinkBuffer final : public std::streambuf {
public:
    /// Returns whether it took the bytes.
    using Sink = std::function<bool(const char* bytes, std::size_t count)>;

    /// `first` is the position of the first byte. Requires: the function outlives the buffer.
    SinkBuffer(const Sink& takes, std::int64_t first);

protected:
    int_type overflow(int_type next) override;
    std::streamsize xsputn(const char* from, std::streamsize count) override;
    int sync() override { return Flush() ? 0 : -1; }
    pos_type seekoff(off_type offset, std::ios_base::seekdir from,
                     std::ios_base::openmode) override;

private:
    static constexpr std::size_t kSize = std::size_t{256} << 10;

    bool Flush();
    bool Give(const char* bytes, std::size_t count);

    const Sink& sink;
    std::unique_ptr<char[]> memory{new char[kSize]};
    std::int64_t position;  // behind what was given
};

}  // namespace fieldstore

#endif
