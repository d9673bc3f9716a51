// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_BENCH_FILE_STREAMS_H
#define FIELDSTORE_BENCH_FILE_STREAMS_H

#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>

#include "Suite.h"

namespace bench {

/// A standard file stream with the large buffer that a user who cares for speed gives it.
template <typename Stream>
class FileStream {
public:
    FileStream(const std::string& path, std::ios::openmode mode) {
        stream_.rdbuf()->pubsetbuf(buffer_.get(), static_cast<std::streamsize>(kBufferSize));
        stream_.open(path, mode);
        if (!stream_) throw std::runtime_error("Cannot open " + path);
    }

    Stream& Get() { return stream_; }

    void Close() {
        stream_.close();
        if (!stream_) throw std::runtime_error("Cannot close a file.");
    }

private:
    std::unique_ptr<char[]> buffer_{new char[kBufferSize]};
    Stream stream_;
};

using OutputFile = FileStream<std::ofstream>;
using InputFile = FileStream<std::ifstream>;

/// A serialization library that puts an archive on a standard stream.
template <typename OutputArchive, typename InputArchive>
struct ArchivePeer {
    static constexpr bool kSameBytes = false;

    template <typename T>
    static void Write(const std::string& path, const T& value) {
        OutputFile file(path, std::ios::out | std::ios::binary);
        {
            // The archive may write its last bytes when it is destroyed.
            OutputArchive archive(file.Get());
            archive << value;
        }
        file.Close();
    }

    template <typename T>
    static void Read(const std::string& path, T& value) {
        InputFile file(path, std::ios::in | std::ios::binary);
        InputArchive archive(file.Get());
        archive >> value;
    }
};

}  // namespace bench

#endif
