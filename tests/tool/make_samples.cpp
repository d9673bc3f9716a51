// SPDX-License-Identifier: Apache-2.0
#include <filesystem>
#include <iostream>

#include "tests/samples/Samples.h"

// Writes a file of every class in both modes, and a DOF list in blocks, as a host does: what the
// tests of the tool look at. Appending classes get two bodies.
namespace {

void Store(const std::string& name, const std::string& directory, bool text, bool blocked) {
    const int bodies = samples::Appends(name) ? 2 : 1;
    for (int body = 0; body < bodies; ++body) {
        const auto object = samples::New(name);
        samples::Fill(*object, body);
        if (blocked) dynamic_cast<IPODOFList&>(*object).SetSelectedBlock(-1);
        object->SetVersion("Run 7");
        object->SetDirectory(directory);
        object->CreateStorageInterface(text ? IPOBase::eWriteText : IPOBase::eWriteBinary, false);
        if (object->Commit(false) != 0) throw std::runtime_error("no sample of " + name);
    }
}

}  // namespace

int main(int count, char** arguments) {
    if (count != 2) return 2;
    const std::string root = std::string(arguments[1]) + "/";
    for (const char* mode : {"text", "binary", "blocked"})
        std::filesystem::create_directories(root + mode);
    for (const auto& name : samples::ClassNames())
        for (const bool text : {true, false})
            Store(name, root + (text ? "text/" : "binary/"), text, false);
    Store("PODOFList", root + "blocked/", false, true);
    return 0;
}
