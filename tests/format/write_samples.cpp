// SPDX-License-Identifier: Apache-2.0
// Writes into the directory of its argument, per class and mode, CLASS.bin or .txt with the sample,
// and CLASS-two.bin or .txt with two commits and a version text; and a blocked DOF list. Status 1
// when a commit fails.

#include "tests/samples/Samples.h"

namespace {

bool Write(const std::string& directory, const std::string& name, const std::string& file,
           bool text, int variant, const std::string& version) {
    const auto object = samples::New(name);
    samples::Fill(*object, variant);
    if (name == "PODOFList" && file == "PODOFList-blocked.bin")
        std::dynamic_pointer_cast<IPODOFList>(object)->SetSelectedBlock(-1);
    object->SetVersion(version);
    object->SetDirectory(directory);
    object->SetFileName(file);
    object->CreateStorageInterface(text ? IPOBase::eWriteText : IPOBase::eWriteBinary, false);
    return object->Commit(true) == 0;
}

}  // namespace

int main(int, char** arguments) {
    const std::string directory = arguments[1] + std::string("/");
    bool written = Write(directory, "PODOFList", "PODOFList-blocked.bin", false, 0, "");
    for (const std::string& name : samples::ClassNames()) {
        for (const bool text : {false, true}) {
            const std::string ending = text ? ".txt" : ".bin";
            written = Write(directory, name, name + ending, text, 0, "") && written;
            for (const int variant : {0, 1})
                written =
                    Write(directory, name, name + "-two" + ending, text, variant, "v 1") && written;
        }
    }
    return written ? 0 : 1;
}
