// SPDX-License-Identifier: Apache-2.0
#include "streams/SinkBuffer.h"

#include <cstring>

namespace fieldstore {

SinkBuffer::SinkBuffer(const Sink& takes, std::int64_t first) : sink(takes), position(first) {
    setp(memory.get(), memory.get() + kSize);
}

bool SinkBuffer::Give(const char* bytes, std::size_t count) {
    if (!sink(bytes, count)) return false;
    position += static_cast<std::int64_t>(count);
    return true;
}

bool SinkBuffer::Flush() {
    const auto count = static_cast<std::size_t>(pptr() - pbase());
    if (count != 0 && !Give(pbase(), count)) return false;
    setp(memory.get(), memory.get() + kSize);
    return true;
}

SinkBuffer::int_type SinkBuffer::overflow(int_type next) {
    if (!Flush()) return traits_type::eof();
    if (!traits_type::eq_int_type(next, traits_type::eof())) sputc(traits_type::to_char_type(next));
    return traits_type::not_eof(next);
}

std::streamsize SinkBuffer::xsputn(const char* from, std::streamsize count) {
    if (count > epptr() - pptr() && !Flush()) return 0;
    if (count > epptr() - pptr()) return Give(from, static_cast<std::size_t>(count)) ? count : 0;
    std::memcpy(pptr(), from, static_cast<std::size_t>(count));
    pbump(static_cast<int>(count));
    return count;
}

SinkBuffer::pos_type SinkBuffer::seekoff(off_type offset, std::ios_base::seekdir from,
                                         std::ios_base::openmode) {
    if (from != std::ios_base::cur || offset != 0) return pos_type(off_type(-1));
    return pos_type(position + (pptr() - pbase()));
}

}  // namespace fieldstore
