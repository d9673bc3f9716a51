// SPDX-License-Identifier: Apache-2.0
#include "streams/FileStreams.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <ostream>
#include <string>
#include <utility>
#include <vector>
#include "streams/Platform.h"
#include "tool/Error.h"
#include "tool/Labels.h"
#include "tool/OutputFile.h"
#include "tool/StreamedBodies.h"
#include "tool/formats/Arrays.h"
#include "tool/formats/Tables.h"
#include "tool/formats/TypeLabels.h"

namespace fieldstore::tool {
namespace {

const char* TypeName(Element type) {
    switch (type) {
        case Element::Int32:
            return "<i4";
        case Element::UInt32:
            return "<u4";
        case Element::Int64:
            return "<i8";
        case Element::UInt64:
            return "<u8";
        case Element::Float64:
            return "<f8";
        default:
            return "<c16";
    }
}

/// A shape as a Python tuple.
std::string ShapeText(const std::vector<std::uint64_t>& shape) {
    std::string text = "(";
    for (const auto length : shape) text += std::to_string(length) + ", ";
    if (shape.size() > 1) text.resize(text.size() - 2);
    if (shape.size() == 1) text.pop_back();
    return text + ")";
}

/// An array file of version 1.0: magic, length of the header, header, the values as they are. The
/// header has room for a first dimension that is known last.
class NpyWriter : public ArrayWriter {
public:
    NpyWriter(const std::string& path, bool replace, ArrayInfo array)
        : file(path, replace), out(file.OpenEmptied()), info(std::move(array)) {
        PutHeader();
    }

    void Put(const void* values, std::size_t bytes) override {
        out.write(static_cast<const char*>(values), static_cast<std::streamsize>(bytes));
        written += bytes;
        RequireWritten(out.good());
    }
    void Close() override {
        if (!info.shape.empty() && info.shape.front() == ArrayInfo::kOpen) {
            info.shape.front() = written / SizeOf(info.type) / info.RowLength();
            out.seekp(0);
            PutHeader();
        }
        RequireWritten(out.good());
        RequireWritten(out.Buffer().Close());
        file.Publish();
    }

private:
    static constexpr std::size_t kHeader = 128;

    void PutHeader() {
        constexpr std::size_t front = 10;
        std::string header = std::string("{'descr': '") + TypeName(info.type) +
                             "', 'fortran_order': False, 'shape': " + ShapeText(info.shape) + ", }";
        header.resize(kHeader - front - 1, ' ');
        header += '\n';
        out << "\x93NUMPY\x01" << '\0' << static_cast<char>(header.size() & 0xffU)
            << static_cast<char>(header.size() >> 8U) << header;
    }
    void RequireWritten(bool done) {
        if (done) return;
        throw Error(file.Path(), "cannot be written whole: " + out.File().Error().message(),
                    "Make room or choose another place.");
    }

    OutputFile file;
    OutputFileStream out;
    ArrayInfo info;
    std::uint64_t written = 0;  // bytes
};

/// A file per array, named after its path.
class NpySink : public ArraySink {
public:
    explicit NpySink(const FileSet& set) : files(set) {}
    std::unique_ptr<ArrayWriter> Begin(const ArrayInfo& info) override {
        std::string name;
        for (const auto& part : info.path) name += part + ".";
        return std::make_unique<NpyWriter>(files.PathOf(name + "npy"), files.Replaces(), info);
    }

private:
    const FileSet& files;
};

}  // namespace

void DumpNpy(const AnyStreamed& data, const Labels& labels, const FileSet& files) {
    NpySink sink(files);
    PutArrays(data, sink);
    const TypedField typed = TypedFieldOf(data);
    const Labels own = labels.Only(typed.groups);
    if (!own.NamesTypes()) return;
    // Not plain labels.json: that of the data must not be replaced when arrays go beside them.
    files.Write(typed.name + ".labels.json", [&own](std::ostream& out) { out << own.Document(); });
}

}  // namespace fieldstore::tool
