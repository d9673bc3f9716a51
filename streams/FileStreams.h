// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_FILE_STREAMS_H
#define FIELDSTORE_FILE_STREAMS_H

#include <istream>
#include <locale>
#include <ostream>
#include <utility>

#include "streams/FileBuffer.h"
#include "streams/Platform.h"

namespace fieldstore {

/// A standard stream over an open file, with the classic locale, whatever the host's global locale
/// does to digits and characters. In the fail state when the file is not open.
template <typename Stream, FileBuffer::Direction kDirection>
class FileStream final : public Stream {
public:
    explicit FileStream(platform::File file)
        : Stream(nullptr), buffer(std::move(file), kDirection) {
        this->rdbuf(&buffer);
        this->imbue(std::locale::classic());
        if (!buffer.IsOpen()) this->setstate(std::ios::failbit);
    }

    FileBuffer& Buffer() { return buffer; }
    platform::File& File() { return buffer.File(); }

private:
    FileBuffer buffer;
};

using InputFileStream = FileStream<std::istream, FileBuffer::Direction::In>;
using OutputFileStream = FileStream<std::ostream, FileBuffer::Direction::Out>;

}  // namespace fieldstore

#endif
