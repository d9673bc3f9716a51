// SPDX-License-Identifier: Apache-2.0
#include "tool/Error.h"
#include "tool/formats/Hdf5.h"

// In place of Hdf5.cpp where the tool is built without the library.
namespace fieldstore::tool {

class Hdf5File::Implementation {};

Hdf5File::Hdf5File(const std::string& /*path*/) {
    throw Error("", "this fieldstore was built without HDF5",
                "Install libhdf5-dev and zlib1g-dev and build it again; or choose npy.");
}
Hdf5File::~Hdf5File() = default;
void Hdf5File::Add(const std::string& /*group*/, const LoadedFile& /*loaded*/,
                   const Labels& /*labels*/) {}
void Hdf5File::Close() {}

}  // namespace fieldstore::tool
