// SPDX-License-Identifier: Apache-2.0
// The library itself, called as persistent objects call it: through the stream interface, on a
// file.
#include "Suite.h"
#include "fieldstore/IStreamer.h"
#include "streams/POStreamFileIO.h"

namespace bench {
namespace {

template <bool textMode>
struct Fieldstore {
    static constexpr const char* kName = "fieldstore";
    static constexpr bool kSameBytes = true;

    template <typename T>
    static void Write(const std::string& path, const T& value) {
        const std::unique_ptr<IStreamer> stream =
            std::make_unique<POStreamFileIO>(textMode, path, &POStreamFileIO::CloseOutputFile);
        stream->OpenOutput(0);
        stream->Write(value, 1, " ", "\n");
        stream->CloseOutput();
    }

    template <typename T>
    static void Read(const std::string& path, T& value) {
        const std::unique_ptr<IStreamer> stream =
            std::make_unique<POStreamFileIO>(textMode, path, [](const std::string&) {});
        stream->OpenInput();
        stream->Read(value);
        stream->CloseInput();
    }
};

}  // namespace

void AddFieldstore(std::vector<Case>& cases) {
    AddCases<Fieldstore<false>>(BinaryWorkloads(), cases);
    AddCases<Fieldstore<true>>(TextWorkloads(), cases);
}

}  // namespace bench
