// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_FORMATS_HDF5_H
#define FIELDSTORE_TOOL_FORMATS_HDF5_H

#include <memory>
#include <string>

#include "tool/Labels.h"
#include "tool/LoadedFile.h"

namespace fieldstore::tool {

/// An HDF5 file that takes whole result files: a group per field, arrays of real shapes, complex
/// numbers as the pair of "r" and "i" that h5py knows, checksums on every chunk, deflate where it
/// at least halves one.
class Hdf5File {
public:
    /// Makes a new file in place of what is there. Raises where the tool was built without HDF5.
    explicit Hdf5File(const std::string& path);
    ~Hdf5File();
    Hdf5File(const Hdf5File&) = delete;
    Hdf5File& operator=(const Hdf5File&) = delete;

    /// Puts the fields of a file into the group of that name, "/" for the root, with the class,
    /// mode and version as attributes, and the names and units of types at their groups. Raises
    /// when they cannot be written.
    void Add(const std::string& group, const LoadedFile& loaded, const Labels& labels);
    /// To be called behind the last Add(); raises when something was not written.
    void Close();

private:
    class Implementation;
    std::unique_ptr<Implementation> file;
};

}  // namespace fieldstore::tool

#endif
