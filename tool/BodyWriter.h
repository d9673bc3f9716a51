// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_BODY_WRITER_H
#define FIELDSTORE_TOOL_BODY_WRITER_H

#include <memory>
#include <optional>
#include <ostream>
#include <string>

#include "streams/POStreamFileIO.h"
#include "tool/Bodies.h"
#include "tool/TemporaryFile.h"

namespace fieldstore::tool {

/// Writes bodies to a file, or a stream, as commits do. Visitor of bodies. Open until Close(); one
/// that is destroyed before may lack the end of what was written.
class BodyWriter {
public:
    /// Empties the file. The version text, where there is one, becomes the first line; raises when
    /// a load would not find it there.
    BodyWriter(const TemporaryFile& file, bool text, const std::optional<std::string>& version);

    /// Writes bodies without a version line to a stream.
    BodyWriter(const std::shared_ptr<std::ostream>& out, bool text);

    /// Requires: a writer that is open, and the kind that the file has. Raises for a DOF list in
    /// blocks when the file is text.
    void Write(const AnyBody& body);
    /// Raises what the last flush raises. Requires: a writer that is open.
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
