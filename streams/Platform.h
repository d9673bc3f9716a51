// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_PLATFORM_H
#define FIELDSTORE_PLATFORM_H

#include <fstream>
#include <string>

/// What differs between operating systems; the build picks Platform_posix.cpp or
/// Platform_windows.cpp.
namespace fieldstore::platform {

/// Creates an empty file and closes it, in one step that fails when anything of that name exists, a
/// link included. Returns whether it was created.
bool CreateExclusively(const std::string& path);

/// Opens a file that other processes may read and write meanwhile. Failure leaves the fail state.
void OpenShared(std::ifstream& file, const std::string& path, std::ios::openmode mode);
void OpenShared(std::ofstream& file, const std::string& path, std::ios::openmode mode);

}  // namespace fieldstore::platform

#endif
