// SPDX-License-Identifier: Apache-2.0
#include "streams/FileBuffer.h"

#include <algorithm>
#include <cstring>
#include <system_error>
#include <utility>

#include "streams/StopRequest.h"

namespace fieldstore {

FileBuffer::FileBuffer(platform::File openFile, Direction toOrFrom)
    : file(std::move(openFile)), direction(toOrFrom) {
    if (direction == Direction::Out && file.IsOpen()) setp(Begin(), Begin() + kSize);
}

/// Beginning well off the start of a page: copies between addresses that agree within a page but
/// for a few bytes, as a page of the file and the buffer would, take twice as long.
char* FileBuffer::Begin() const {
    const auto address = reinterpret_cast<std::uintptr_t>(memory.get());
    return memory.get() + (kPage - address % kPage) % kPage + kDisplacement;
}

bool FileBuffer::Close() {
    const bool flushed = !file.IsOpen() || Flush();
    setp(nullptr, nullptr);
    setg(nullptr, nullptr, nullptr);
    const auto reason = file.Error();
    const bool closed = file.Close();
    if (!flushed) file = platform::File::NotOpened(reason);  // the first failure is the cause
    return flushed && closed;
}

bool FileBuffer::Flush() {
    const auto count = static_cast<std::size_t>(pptr() - pbase());
    if (count == 0) return true;
    if (!file.Write(pbase(), count)) return false;
    position += static_cast<std::int64_t>(count);
    Drop();
    return true;
}

/// 0 at the end.
std::ptrdiff_t FileBuffer::Read(char* to, std::size_t count) {
    StopIfRequested();
    const auto here = static_cast<std::uint64_t>(position);
    const std::uint64_t left = here < inputEnd ? inputEnd - here : 0;
    const auto read = file.Read(to, static_cast<std::size_t>(std::min<std::uint64_t>(count, left)));
    // Unlike the end of the file, this makes the stream bad, which a host can tell apart.
    if (read < 0) throw std::system_error(file.Error(), "read");
    position += read;
    return read;
}

FileBuffer::int_type FileBuffer::underflow() {
    if (gptr() < egptr()) return traits_type::to_int_type(*gptr());
    if (direction != Direction::In || !file.IsOpen()) return traits_type::eof();
    const auto count = Read(Begin(), kSize);
    setg(Begin(), Begin(), Begin() + count);
    return count == 0 ? traits_type::eof() : traits_type::to_int_type(*gptr());
}

std::streamsize FileBuffer::xsgetn(char* to, std::streamsize count) {
    std::streamsize given = 0;
    while (given < count) {
        const std::streamsize held = std::min<std::streamsize>(egptr() - gptr(), count - given);
        if (held > 0) {
            std::memcpy(to + given, gptr(), static_cast<std::size_t>(held));
            setg(eback(), gptr() + held, egptr());
            given += held;
            continue;
        }
        const auto left = static_cast<std::size_t>(count - given);
        if (left < kSize) {
            if (underflow() == traits_type::eof()) break;
            continue;
        }
        // What is larger than the buffer gains nothing from it.
        if (direction != Direction::In || !file.IsOpen()) break;
        const auto read = Read(to + given, left);
        if (read == 0) break;
        setg(Begin(), Begin(), Begin());
        given += read;
    }
    return given;
}

FileBuffer::int_type FileBuffer::overflow(int_type next) {
    if (direction != Direction::Out || !file.IsOpen() || !Flush()) return traits_type::eof();
    if (!traits_type::eq_int_type(next, traits_type::eof())) sputc(traits_type::to_char_type(next));
    return traits_type::not_eof(next);
}

std::streamsize FileBuffer::xsputn(const char* from, std::streamsize count) {
    if (direction != Direction::Out || !file.IsOpen()) return 0;
    std::streamsize taken = 0;
    while (taken < count) {
        const std::streamsize left = count - taken;
        // What is larger than the buffer gains nothing from it.
        if (pptr() == pbase() && left >= static_cast<std::streamsize>(kSize)) {
            if (!file.Write(from + taken, static_cast<std::size_t>(left))) break;
            position += left;
            return count;
        }
        const bool large = left >= static_cast<std::streamsize>(kSize);
        const std::streamsize room = large ? 0 : std::min<std::streamsize>(epptr() - pptr(), left);
        std::memcpy(pptr(), from + taken, static_cast<std::size_t>(room));
        pbump(static_cast<int>(room));
        taken += room;
        if (taken < count && !Flush()) break;
    }
    return taken;
}

FileBuffer::pos_type FileBuffer::seekoff(off_type offset, std::ios_base::seekdir from,
                                         std::ios_base::openmode) {
    if (!file.IsOpen()) return pos_type(off_type(-1));
    const std::int64_t here = position - (egptr() - gptr()) + (pptr() - pbase());
    if (from == std::ios_base::cur && offset == 0) return pos_type(here);
    if (!Flush()) return pos_type(off_type(-1));
    std::int64_t target = offset;
    if (from == std::ios_base::cur) target += here;
    if (from == std::ios_base::end) {
        const std::int64_t end = file.SeekToEnd();
        if (end < 0) return pos_type(off_type(-1));
        target += end;
    }
    const std::int64_t reached = file.Seek(target);
    if (reached < 0) return pos_type(off_type(-1));
    position = reached;
    if (direction == Direction::In) setg(Begin(), Begin(), Begin());
    return pos_type(position);
}

}  // namespace fieldstore
