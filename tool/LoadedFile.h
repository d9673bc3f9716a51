// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_LOADED_FILE_H
#define FIELDSTORE_TOOL_LOADED_FILE_H

#include <string>

#include "tool/Error.h"
#include "tool/ResultFile.h"
#include "tool/Slice.h"
#include "tool/StreamedBodies.h"

namespace fieldstore::tool {

/// The entries of a class have no keys of the kind that a slice asks for.
class NoSuchKey : public Error {
public:
    using Error::Error;
};

/// A file and what a host has after a load of it, or the wanted part of that. The bulk of the data
/// is still in the file.
struct LoadedFile {
    ResultFile file;
    AnyStreamed data;

    /// All of it in memory, in the form of a body.
    AnyBody InMemory() const;
};
/// Finds out what a file is, as InspectWhole() does, and where its entries stand, reading no more
/// than it takes to find the next one. Raises when it is not whole, or with NoSuchKey. What is
/// passed over is not checked.
LoadedFile LoadWhole(const std::string& path, const std::string& className = "",
                     const Slice& slice = {});

}  // namespace fieldstore::tool

#endif
