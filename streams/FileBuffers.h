// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_FILE_BUFFERS_H
#define FIELDSTORE_FILE_BUFFERS_H

#include <cstdint>
#include <fstream>
#include <locale>
#include <memory>

namespace fieldstore {

/// A large buffer that outlives the file stream using it: a base class listed before the stream, so
/// that it is destroyed after the stream has flushed.
class FileBufferMemory {
protected:
    // A file buffer is filled up to its last byte but one; with one more than a power of two every
    // refill begins at a multiple of it in the file.
    static constexpr std::size_t kSize = (std::size_t{256} << 10) + 1;

    /// Beginning well off the start of a page: copies between addresses that agree within a page
    /// but for a few bytes, as a page of the file and the buffer would, take twice as long.
    char* Begin() const {
        const auto address = reinterpret_cast<std::uintptr_t>(memory.get());
        return memory.get() + (kPage - address % kPage) % kPage + kDisplacement;
    }

private:
    static constexpr std::size_t kPage = 4096;
    static constexpr std::size_t kDisplacement = 1024;
    // Not zeroed, unlike by make_unique.
    std::unique_ptr<char[]> memory{new char[kSize + kPage + kDisplacement]};
};

/// A standard file stream with that buffer and with the classic locale, whatever the host's global
/// locale does to digits and characters.
template <typename File>
class BufferedFile : private FileBufferMemory, public File {
public:
    BufferedFile() {
        this->rdbuf()->pubsetbuf(Begin(), static_cast<std::streamsize>(kSize));
        this->imbue(std::locale::classic());
    }
};

using InputFile = BufferedFile<std::ifstream>;
using OutputFile = BufferedFile<std::ofstream>;

}  // namespace fieldstore

#endif
