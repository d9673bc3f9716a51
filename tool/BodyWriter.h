// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_BODY_WRITER_H
#define FIELDSTORE_TOOL_BODY_WRITER_H

#include <optional>
#include <string>

#include "streams/POStreamFileIO.h"
#include "tool/Bodies.h"
#include "tool/TemporaryFile.h"

namespace fieldstore::tool {

/// Writes bodies to a file as commits do. Visitor of bodies.
class BodyWriter {
public:
    /// The version text, where there is one, becomes the first line.
    BodyWriter(const TemporaryFile& file, bool text, const std::optional<std::string>& version);

    void Write(const AnyBody& body);
    /// Raises what the last flush raises.
    void Close();

    template <typename T>
    void operator()(const Field& field, const T& value) {
        if constexpr (std::is_arithmetic_v<T>)
            stream.Write(value, "\n");
        else
            stream.Write(value, field.perLine, " ", "\n");
    }

private:
    void WriteBlocks(const BlockedDOFListBody& body);
    POStreamFileIO stream;
};

}  // namespace fieldstore::tool

#endif
