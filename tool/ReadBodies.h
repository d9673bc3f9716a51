// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_READ_BODIES_H
#define FIELDSTORE_TOOL_READ_BODIES_H

#include <cstdint>
#include <functional>
#include <string>

#include "tool/ResultFile.h"
#include "tool/Slice.h"
#include "tool/StreamedBodies.h"

namespace fieldstore::tool {

/// A way in which a file may be meant.
struct Reading {
    std::size_t kind;
    bool text;
    bool versioned;           // its first line is taken for a version line
    std::uint64_t begin = 0;  // of the first body to be read
};

/// A new body of a kind, in memory (AnyBody) or streamed (AnyStreamed).
template <typename Any>
Any NewBody(std::size_t kind);

/// Reads bodies until the file ends or something is wrong; both end up in `file`. Returns the body
/// that came last, which may lack something. `visit` may be empty. Instantiated for AnyBody and
/// AnyStreamed.
template <typename Any>
Any ReadBodies(ResultFile& file, const Reading& reading,
               const std::function<void(Any& body, const Layout& layout)>& visit = {},
               const Slice& slice = {});

using BodyVisitor = std::function<void(AnyBody& body, const Layout& layout)>;
/// Reads the whole bodies one after another; `visit` may be empty. Raises when they are not those
/// of before. Requires: a file that is not
/// unreadable.
void ForEachBody(const ResultFile& file, const BodyVisitor& visit);

/// Reads on in a file of known kind and mode, from a byte where a body begins up to `end`. The
/// result has the bodies and the fault found there; `last`, if given, the body that was read last,
/// which may lack something.
ResultFile ReadFrom(const ResultFile& known, std::uint64_t begin, std::uint64_t end,
                    const BodyVisitor& visit = {}, AnyBody* last = nullptr);

/// A torn DOF list in blocks as far as it can be saved: the whole blocks. A lost one before these
/// is empty, so that they keep their numbers. Raises when no block is whole. Requires: such a list.
AnyBody SavedBlocks(const ResultFile& file);

}  // namespace fieldstore::tool

#endif
