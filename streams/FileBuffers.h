// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_FILE_BUFFERS_H
#define FIELDSTORE_FILE_BUFFERS_H

#include <fstream>
#include <locale>
#include <memory>

namespace fieldstore {

/// A large buffer that outlives the file stream using it: a base class listed before the stream, so
/// that it is destroyed after the stream has flushed.
class FileBufferMemory {
protected:
    static constexpr std::size_t kSize = std::size_t{256} << 10;
    std::unique_ptr<char[]> memory{new char[kSize]};  // not zeroed, unlike make_unique
};

/// A standard file stream with that buffer and with the classic locale, whatever the host's global
/// locale does to digits and characters.
template <typename File>
class BufferedFile : private FileBufferMemory, public File {
public:
    BufferedFile() {
        this->rdbuf()->pubsetbuf(memory.get(), static_cast<std::streamsize>(kSize));
        this->imbue(std::locale::classic());
    }
};

using InputFile = BufferedFile<std::ifstream>;
using OutputFile = BufferedFile<std::ofstream>;

}  // namespace fieldstore

#endif
