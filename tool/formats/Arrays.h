// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_FORMATS_ARRAYS_H
#define FIELDSTORE_TOOL_FORMATS_ARRAYS_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tool/StreamedBodies.h"

/// A file as arrays of numbers with names and shapes: what NumPy files and HDF5 have in common.
namespace fieldstore::tool {

enum class Element { Int32, UInt32, Int64, UInt64, Float64, Complex128 };
std::size_t SizeOf(Element type);

/// An array before its values come.
struct ArrayInfo {
    static constexpr std::uint64_t kOpen = ~std::uint64_t{0};  // as long as values come

    std::vector<std::string> path;  // the field, a series of it when it has several, the array
    Element type;
    std::vector<std::uint64_t> shape;     // none for a single value; the first may be kOpen
    std::vector<std::string> dimensions;  // a name for each
    std::string unit;                     // empty when there is none

    /// Values of one element of the first dimension.
    std::uint64_t RowLength() const;
};

/// Takes the values of one array, row after row.
class ArrayWriter {
public:
    virtual ~ArrayWriter() = default;
    virtual void Put(const void* values, std::size_t bytes) = 0;
    /// When all have come.
    virtual void Close() = 0;
};

/// Where arrays go.
class ArraySink {
public:
    virtual ~ArraySink() = default;
    virtual std::unique_ptr<ArrayWriter> Begin(const ArrayInfo& info) = 0;
};

/// Hands all fields of a file to a sink, a row at a time. Docs: docs/tool.md.
void PutArrays(const AnyStreamed& data, ArraySink& sink);

}  // namespace fieldstore::tool

#endif
