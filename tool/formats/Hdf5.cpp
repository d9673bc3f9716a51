// SPDX-License-Identifier: Apache-2.0
#include "tool/formats/Hdf5.h"

#include <hdf5.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <new>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "tool/Error.h"
#include "tool/StreamedBodies.h"
#include "tool/formats/Arrays.h"
#include "tool/formats/TypeLabels.h"

namespace fieldstore::tool {
namespace {

[[noreturn]] void RaiseFailure(const std::string& path) {
    throw Error(path, "HDF5 cannot write it", "Make room or choose another place.");
}

/// An identifier of the library, closed with the object.
class Id {
public:
    using Closer = herr_t (*)(hid_t);

    Id(hid_t opened, Closer closer, const std::string& path) : id(opened), close(closer) {
        if (id < 0) RaiseFailure(path);
    }
    ~Id() { close(id); }
    Id(const Id&) = delete;
    Id& operator=(const Id&) = delete;
    operator hid_t() const { return id; }  // NOLINT: the library's functions take it everywhere

private:
    hid_t id;
    Closer close;
};

void Require(herr_t result, const std::string& path) {
    if (result < 0) RaiseFailure(path);
}

/// The checksum of the format: of big-endian words of 16 bits, the last one filled up with zero.
/// The sum of the sums so far is one of words times the number of words left, which needs no word
/// to wait for the one before.
std::uint32_t Fletcher32(const std::vector<unsigned char>& bytes) {
    constexpr std::size_t wordsAtOnce = 360;  // as many as no sum overflows for
    constexpr unsigned half = 16, low = 0xffff, byteBits = 8;
    const auto fold = [](std::uint32_t value) { return (value & low) + (value >> half); };
    std::uint32_t sum = 0, sumOfSums = 0;
    const unsigned char* word = bytes.data();
    for (std::size_t left = bytes.size() / 2; left != 0;) {
        const auto count = static_cast<std::uint32_t>(std::min(left, wordsAtOnce));
        std::uint32_t plain = 0, weighted = 0;
        for (std::uint32_t i = 0; i < count; ++i, word += 2) {
            const std::uint32_t value = static_cast<std::uint32_t>(word[0]) << byteBits | word[1];
            plain += value;
            weighted += (count - i) * value;
        }
        sumOfSums = fold(sumOfSums + count * sum + weighted);
        sum = fold(sum + plain);
        left -= count;
    }
    if (bytes.size() % 2 != 0) {
        sum = fold(sum + (static_cast<std::uint32_t>(bytes.back()) << byteBits));
        sumOfSums = fold(sumOfSums + sum);
    }
    return fold(sumOfSums) << half | fold(sum);
}

/// First all first bytes of the elements, then all second ones, and so on: so they deflate better.
void Shuffle(const unsigned char* from, std::size_t elements, std::size_t size,
             std::vector<unsigned char>& to) {
    to.resize(elements * size);
    for (std::size_t byte = 0; byte < size; ++byte)
        for (std::size_t i = 0; i < elements; ++i) to[byte * elements + i] = from[i * size + byte];
}

/// Deflates with one state again and again: to make one takes as long as a few kilobytes.
class Deflater {
public:
    Deflater() {
        constexpr int fastest = 1;
        if (deflateInit(&state, fastest) != Z_OK) throw std::bad_alloc();
    }
    ~Deflater() { deflateEnd(&state); }
    Deflater(const Deflater&) = delete;
    Deflater& operator=(const Deflater&) = delete;

    /// Whether `to` got all of `from` in at most so many bytes.
    bool Fits(std::vector<unsigned char>& from, std::size_t most, std::vector<unsigned char>& to) {
        to.resize(most);
        deflateReset(&state);
        state.next_in = from.data();
        state.avail_in = static_cast<uInt>(from.size());
        state.next_out = to.data();
        state.avail_out = static_cast<uInt>(most);
        if (deflate(&state, Z_FINISH) != Z_STREAM_END) return false;
        to.resize(most - state.avail_out);
        return true;
    }

private:
    z_stream state{};
};

/// What makes of the values of a chunk the bytes that are stored. To deflate what hardly gets
/// smaller, as measured or computed numbers, would take ten times as long as all the rest; a
/// sample tells, and the chunk says that it was left out.
class ChunkFilter {
public:
    /// Returns the mask of the filters that were left out.
    std::uint32_t Apply(std::vector<unsigned char>& chunk, std::size_t elementSize) {
        constexpr std::uint32_t none = 0, shuffleAndDeflate = 3;
        const bool deflated = MakeSmaller(chunk, elementSize);
        const std::uint32_t sum = Fletcher32(chunk);
        for (unsigned byte = 0; byte < sizeof sum; ++byte)
            chunk.push_back(static_cast<unsigned char>(sum >> 8U * byte));
        return deflated ? none : shuffleAndDeflate;
    }

private:
    bool MakeSmaller(std::vector<unsigned char>& chunk, std::size_t elementSize) {
        if (!IsWorthIt(chunk, elementSize)) return false;
        Shuffle(chunk.data(), chunk.size() / elementSize, elementSize, shuffled);
        if (!deflater.Fits(shuffled, chunk.size(), packed)) return false;
        chunk.swap(packed);
        return true;
    }
    bool IsWorthIt(const std::vector<unsigned char>& chunk, std::size_t elementSize) {
        constexpr std::size_t sampled = 2048, small = 16 * sampled;
        if (chunk.size() <= small) return true;
        const std::size_t begin = chunk.size() / 2 / elementSize * elementSize;
        Shuffle(chunk.data() + begin, sampled / elementSize, elementSize, shuffled);
        return deflater.Fits(shuffled, sampled / 2, packed);
    }

    Deflater deflater;
    std::vector<unsigned char> shuffled, packed;
};

hid_t TypeOf(Element type, hid_t complexType) {
    switch (type) {
        case Element::Int32:
            return H5T_STD_I32LE;
        case Element::UInt32:
            return H5T_STD_U32LE;
        case Element::Int64:
            return H5T_STD_I64LE;
        case Element::UInt64:
            return H5T_STD_U64LE;
        case Element::Float64:
            return H5T_IEEE_F64LE;
        default:
            return complexType;
    }
}

void PutText(hid_t object, const char* name, const std::string& text, const std::string& path) {
    const Id type(H5Tcopy(H5T_C_S1), &H5Tclose, path);
    Require(H5Tset_size(type, H5T_VARIABLE), path);
    Require(H5Tset_cset(type, H5T_CSET_UTF8), path);
    const Id space(H5Screate(H5S_SCALAR), &H5Sclose, path);
    const Id attribute(H5Acreate2(object, name, type, space, H5P_DEFAULT, H5P_DEFAULT), &H5Aclose,
                       path);
    const char* const written = text.c_str();
    Require(H5Awrite(attribute, type, &written), path);
}

/// An attribute of several texts; none for no texts.
void PutTexts(hid_t object, const char* name, const std::vector<std::string>& texts,
              const std::string& path) {
    if (texts.empty()) return;
    const Id type(H5Tcopy(H5T_C_S1), &H5Tclose, path);
    Require(H5Tset_size(type, H5T_VARIABLE), path);
    Require(H5Tset_cset(type, H5T_CSET_UTF8), path);
    const hsize_t count = texts.size();
    const Id space(H5Screate_simple(1, &count, nullptr), &H5Sclose, path);
    const Id attribute(H5Acreate2(object, name, type, space, H5P_DEFAULT, H5P_DEFAULT), &H5Aclose,
                       path);
    std::vector<const char*> written;
    written.reserve(texts.size());
    for (const auto& text : texts) written.push_back(text.c_str());
    Require(H5Awrite(attribute, type, written.data()), path);
}

/// What a type is called, at its group or its values.
void PutLabel(hid_t group, const std::string& object, const TypeLabel& label,
              const std::string& path) {
    const Id place(H5Oopen(group, object.c_str(), H5P_DEFAULT), &H5Oclose, path);
    PutText(place, "label", label.name, path);
    if (!label.unit.empty()) PutText(place, "units", label.unit, path);
    PutTexts(place, "components", label.components, path);
}

/// What the numbers of the definitions mean, one text for each.
void PutMeanings(hid_t group, const StreamedMetrics& metrics, const Labels& labels,
                 const std::string& path) {
    std::vector<std::string> types, functions;
    for (const auto& [type, definition] : metrics.definitions) {
        types.push_back(labels.Of("definitions", "type", type).name);
        functions.push_back(labels.Of("definitions", "function", definition.second).name);
    }
    const Id typeNumbers(H5Oopen(group, "definitions/type", H5P_DEFAULT), &H5Oclose, path);
    if (labels.NamesTypes()) PutTexts(typeNumbers, "labels", types, path);
    const Id functionNumbers(H5Oopen(group, "definitions/function", H5P_DEFAULT), &H5Oclose, path);
    PutTexts(functionNumbers, "labels", functions, path);
}

/// One array of a group. Chunks are made and filtered here and handed over as they will stand in
/// the file.
class Hdf5Array : public ArrayWriter {
public:
    Hdf5Array(hid_t group, hid_t complexType, ArrayInfo array, const std::string& filePath,
              ChunkFilter& chunkFilter)
        : info(std::move(array)),
          path(filePath),
          type(TypeOf(info.type, complexType)),
          rowBytes(SizeOf(info.type) * info.RowLength()),
          filter(chunkFilter),
          dataSet(Create(group), &H5Dclose, path) {
        if (!info.unit.empty()) PutText(dataSet, "units", info.unit, path);
        // Where h5py and the dimension scales look for them.
        PutTexts(dataSet, "DIMENSION_LABELS", info.dimensions, path);
    }

    void Put(const void* values, std::size_t bytes) override {
        const auto* from = static_cast<const unsigned char*>(values);
        while (bytes != 0) {
            const std::size_t taken = std::min(bytes, chunkBytes - chunk.size());
            chunk.insert(chunk.end(), from, from + taken);
            from += taken;
            bytes -= taken;
            if (chunk.size() == chunkBytes) PutChunk();
        }
    }
    void Close() override {
        if (chunkRows == 0) return PutAtOnce();
        const std::uint64_t rows = rowsPut + (rowBytes == 0 ? 0 : chunk.size() / rowBytes);
        if (!chunk.empty()) {
            chunk.resize(chunkBytes);
            PutChunk();
        }
        if (!IsOpen()) return;
        auto extent = Dimensions();
        extent.front() = rows;
        Require(H5Dset_extent(dataSet, extent.data()), path);
    }

private:
    bool IsOpen() const { return !info.shape.empty() && info.shape.front() == ArrayInfo::kOpen; }
    std::vector<hsize_t> Dimensions() const {
        std::vector<hsize_t> dimensions(info.shape.begin(), info.shape.end());
        if (IsOpen()) dimensions.front() = 0;
        return dimensions;
    }

    hid_t Create(hid_t group) {
        std::string name;
        for (const auto& part : info.path) name += (name.empty() ? "" : "/") + part;
        const Id links(H5Pcreate(H5P_LINK_CREATE), &H5Pclose, path);
        Require(H5Pset_create_intermediate_group(links, 1), path);
        const Id creation(H5Pcreate(H5P_DATASET_CREATE), &H5Pclose, path);
        Require(H5Pset_obj_track_times(creation, false), path);  // the same data, the same bytes
        auto dimensions = Dimensions();
        auto most = dimensions;
        if (IsOpen()) most.front() = H5S_UNLIMITED;
        const Id space(dimensions.empty() ? H5Screate(H5S_SCALAR)
                                          : H5Screate_simple(static_cast<int>(dimensions.size()),
                                                             dimensions.data(), most.data()),
                       &H5Sclose, path);
        ChooseChunks(creation);
        return H5Dcreate2(group, name.c_str(), type, space, links, creation, H5P_DEFAULT);
    }

    /// Whole rows, about 256 KiB of them. Single values, arrays without values and rows beyond what
    /// a chunk may have stand in one piece.
    void ChooseChunks(hid_t creation) {
        constexpr std::uint64_t wished = std::uint64_t{256} << 10, most = std::uint64_t{1} << 31;
        if (info.shape.empty() || rowBytes == 0 || rowBytes > most) return;
        chunkRows = std::max<std::uint64_t>(wished / rowBytes, 1);
        if (!IsOpen()) chunkRows = std::min(chunkRows, info.shape.front());
        if (chunkRows == 0) return;
        chunkBytes = static_cast<std::size_t>(chunkRows * rowBytes);
        std::vector<hsize_t> dimensions(info.shape.begin(), info.shape.end());
        dimensions.front() = chunkRows;
        Require(H5Pset_chunk(creation, static_cast<int>(dimensions.size()), dimensions.data()),
                path);
        constexpr unsigned fastest = 1;
        Require(H5Pset_shuffle(creation), path);
        Require(H5Pset_deflate(creation, fastest), path);
        Require(H5Pset_fletcher32(creation), path);
    }

    void PutChunk() {
        if (IsOpen()) {
            auto extent = Dimensions();
            extent.front() = rowsPut + chunkRows;
            Require(H5Dset_extent(dataSet, extent.data()), path);
        }
        const std::uint32_t mask = filter.Apply(chunk, SizeOf(info.type));
        std::vector<hsize_t> offset(info.shape.size());
        offset.front() = rowsPut;
        Require(
            H5Dwrite_chunk(dataSet, H5P_DEFAULT, mask, offset.data(), chunk.size(), chunk.data()),
            path);
        rowsPut += chunkRows;
        chunk.clear();
    }

    void PutAtOnce() {
        if (chunk.empty()) return;
        Require(H5Dwrite(dataSet, type, H5S_ALL, H5S_ALL, H5P_DEFAULT, chunk.data()), path);
    }

    ArrayInfo info;
    std::string path;
    hid_t type;
    std::uint64_t rowBytes;
    std::uint64_t chunkRows = 0;
    std::size_t chunkBytes = ~std::size_t{0};
    std::uint64_t rowsPut = 0;
    std::vector<unsigned char> chunk;
    ChunkFilter& filter;
    Id dataSet;
};

class GroupSink : public ArraySink {
public:
    GroupSink(hid_t target, hid_t complexNumbers, std::string filePath)
        : group(target), complexType(complexNumbers), path(std::move(filePath)) {}
    std::unique_ptr<ArrayWriter> Begin(const ArrayInfo& info) override {
        return std::make_unique<Hdf5Array>(group, complexType, info, path, filter);
    }

private:
    hid_t group;
    hid_t complexType;
    std::string path;
    ChunkFilter filter;
};

hid_t MakeComplexType() {
    const hid_t type = H5Tcreate(H5T_COMPOUND, SizeOf(Element::Complex128));
    H5Tinsert(type, "r", 0, H5T_IEEE_F64LE);
    H5Tinsert(type, "i", sizeof(double), H5T_IEEE_F64LE);
    return type;
}

hid_t MakeFile(const std::string& path) {
    H5Eset_auto2(H5E_DEFAULT, nullptr, nullptr);  // the tool tells what went wrong itself
    return H5Fcreate(path.c_str(), H5F_ACC_TRUNC, H5P_DEFAULT, H5P_DEFAULT);
}

}  // namespace

class Hdf5File::Implementation {
public:
    explicit Implementation(const std::string& target)
        : path(target),
          file(MakeFile(target), &H5Fclose, target),
          complexType(MakeComplexType(), &H5Tclose, target) {}

    void Add(const std::string& name, const LoadedFile& loaded, const Labels& labels) {
        const Id group(name == "/"
                           ? H5Gopen2(file, "/", H5P_DEFAULT)
                           : H5Gcreate2(file, name.c_str(), H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT),
                       &H5Gclose, path);
        PutText(group, "class", loaded.file.ClassName(), path);
        PutText(group, "mode", loaded.file.Mode(), path);
        if (loaded.file.version) PutText(group, "version", *loaded.file.version, path);
        GroupSink sink(group, complexType, path);
        PutArrays(loaded.data, sink);
        const std::string field = TypedFieldOf(loaded.data).name;
        for (const auto& [type, label] : LabelsOfTypes(loaded.data, labels)) {
            const std::string series = field + "/type" + std::to_string(type);
            PutLabel(group, series, label, path);
            PutLabel(group, series + "/values", label, path);
        }
        if (const auto* metrics = std::get_if<StreamedMetrics>(&loaded.data))
            PutMeanings(group, *metrics, labels, path);
    }
    void Flush() { Require(H5Fflush(file, H5F_SCOPE_GLOBAL), path); }

private:
    std::string path;
    Id file;
    Id complexType;
};

Hdf5File::Hdf5File(const std::string& path) : file(std::make_unique<Implementation>(path)) {}
Hdf5File::~Hdf5File() = default;

void Hdf5File::Add(const std::string& group, const LoadedFile& loaded, const Labels& labels) {
    file->Add(group, loaded, labels);
}

void Hdf5File::Close() {
    file->Flush();
    file.reset();
}

}  // namespace fieldstore::tool
