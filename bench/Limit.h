// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_BENCH_LIMIT_H
#define FIELDSTORE_BENCH_LIMIT_H

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <memory>
#include <string>
#include <system_error>

#include "Suite.h"

// What LIMIT, the hand-written encoders, stands on: a descriptor and one buffer that all files
// share, one after the other.

namespace bench {

inline char* SharedBuffer() {
    static const std::unique_ptr<char[]> buffer(new char[kBufferSize]);
    return buffer.get();
}

[[noreturn]] inline void RaiseErrno(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

class Descriptor {
public:
    Descriptor(const std::string& path, int flags)
        : descriptor_(::open(path.c_str(), flags, 0666)) {
        if (descriptor_ < 0) RaiseErrno("open");
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() {
        if (descriptor_ >= 0) ::close(descriptor_);
    }

    void WriteAll(const char* data, std::size_t size) {
        while (size != 0) {
            const auto written = ::write(descriptor_, data, size);
            if (written < 0) RaiseErrno("write");
            data += written;
            size -= static_cast<std::size_t>(written);
        }
    }

    /// Returns 0 at the end of the file only.
    std::size_t ReadSome(char* data, std::size_t size) {
        const auto count = ::read(descriptor_, data, size);
        if (count < 0) RaiseErrno("read");
        return static_cast<std::size_t>(count);
    }

    void Close() {
        const int descriptor = descriptor_;
        descriptor_ = -1;
        if (::close(descriptor) != 0) RaiseErrno("close");
    }

private:
    int descriptor_;
};

class BufferedWriter {
public:
    explicit BufferedWriter(const std::string& path)
        : file_(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC) {}

    /// Room for `size` bytes, at most the buffer's size. Commit() says where writing ended.
    char* Reserve(std::size_t size) {
        if (static_cast<std::size_t>(end_ - next_) < size) Flush();
        return next_;
    }

    std::size_t Room() const { return static_cast<std::size_t>(end_ - next_); }

    void Commit(char* next) { next_ = next; }

    void PutBlock(const void* data, std::size_t size) {
        if (size > Room()) {
            Flush();
            if (size > kBufferSize) return file_.WriteAll(static_cast<const char*>(data), size);
        }
        if (size == 0) return;
        std::memcpy(next_, data, size);
        next_ += size;
    }

    void Close() {
        Flush();
        file_.Close();
    }

private:
    void Flush() {
        file_.WriteAll(buffer_, static_cast<std::size_t>(next_ - buffer_));
        next_ = buffer_;
    }

    Descriptor file_;
    char* const buffer_ = SharedBuffer();
    char* next_ = buffer_;
    char* const end_ = buffer_ + kBufferSize;
};

class BufferedReader {
public:
    explicit BufferedReader(const std::string& path) : file_(path, O_RDONLY | O_CLOEXEC) {}

    /// The next `size` bytes, at most the buffer's size. Commit() says where reading ended.
    const char* Need(std::size_t size) {
        if (Available() < size && !Fill(size)) throw std::runtime_error("The file is too short.");
        return next_;
    }

    /// The same, but near the end of the file there may be less.
    const char* Want(std::size_t size) {
        if (Available() < size && !ended_) ended_ = !Fill(size);
        return next_;
    }

    std::size_t Available() const { return static_cast<std::size_t>(end_ - next_); }

    void Commit(const char* next) { next_ = next; }

    void GetBlock(void* target, std::size_t size) {
        char* to = static_cast<char*>(target);
        const std::size_t held = Available() < size ? Available() : size;
        if (held != 0) std::memcpy(to, next_, held);
        next_ += held;
        to += held;
        size -= held;
        if (size > kBufferSize) return GetDirectly(to, size);
        if (size == 0) return;
        std::memcpy(to, Need(size), size);
        next_ += size;
    }

private:
    /// Moves what is held to the front and reads until `size` bytes are held.
    bool Fill(std::size_t size) {
        const std::size_t held = Available();
        std::memmove(buffer_, next_, held);
        next_ = buffer_;
        end_ = buffer_ + held;
        while (Available() < size) {
            const auto count = file_.ReadSome(const_cast<char*>(end_), kBufferSize - Available());
            if (count == 0) return false;
            end_ += count;
        }
        return true;
    }

    void GetDirectly(char* to, std::size_t size) {
        while (size != 0) {
            const auto count = file_.ReadSome(to, size);
            if (count == 0) throw std::runtime_error("The file is too short.");
            to += count;
            size -= count;
        }
    }

    Descriptor file_;
    char* const buffer_ = SharedBuffer();
    const char* next_ = buffer_;
    const char* end_ = buffer_;
    bool ended_ = false;
};

}  // namespace bench

#endif
