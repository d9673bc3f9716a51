// SPDX-License-Identifier: Apache-2.0
//
// A host that loads the library at run time and is linked against nothing of it.
//
// Build:  cmake --preset release && cmake --build --preset release
// Run:    build/release/examples/quickstart/dlopen_host build/release/libfieldstore.so /tmp/wr90/
//         (on Windows: dlopen_host fieldstore.dll wr90/)
//
// Prints how many frequencies and ports the mode file in the directory holds. Status 0, or 2 with a
// message when the library or the file cannot be loaded.

#include <iostream>
#include <string>

#include "fieldstore/fieldstore.h"
#include "shared_library.h"

namespace {

int CountFrequencies(fieldstore::NewInstanceFunction* newInstance, const std::string& directory) {
    const auto modeInfo = fieldstore::CreateWith<IPOModeInfo>(newInstance);
    IPOBase& storage = fieldstore::Storage(modeInfo);
    storage.SetDirectory(directory);
    if (storage.Load() != 0) {
        std::cerr << "Cannot load " << directory << storage.GetFileName() << ".\n";
        return 2;
    }
    std::cout << modeInfo->GetFrequencyCount() << " frequencies, " << modeInfo->GetPortCount()
              << " ports\n";
    return 0;
}

}  // namespace

int main(int argumentCount, char** arguments) {
    if (argumentCount != 3) {
        std::cerr << "Usage: dlopen_host LIBRARY DIRECTORY/\n";
        return 2;
    }
    try {
        // Every object must be released before the library goes, so it is opened first and closed
        // last.
        const SharedLibrary library(arguments[1]);
        auto* newInstance = library.Find<fieldstore::NewInstanceFunction>("NewInstance");
        return CountFrequencies(newInstance, arguments[2]);
    } catch (const std::exception& error) {
        std::cerr << "dlopen_host: " << error.what() << "\n";
        return 2;
    }
}
