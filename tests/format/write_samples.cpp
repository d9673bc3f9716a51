// SPDX-License-Identifier: Apache-2.0
// Writes into the directory of its argument, per class and mode, CLASS.bin or .txt with the sample,
// and CLASS-two.bin or .txt with two commits and a version text; and a blocked DOF list. With the
// word "describe" after the directory, loads these files and prints what they hold instead. Status
// 1 when a commit or a load fails.

#include <iostream>

#include "tests/samples/Samples.h"

namespace {

struct File {
    std::string className;
    std::string name;
    bool text;
    bool twice;

    bool IsBlocked() const { return name == "PODOFList-blocked.bin"; }
};

std::vector<File> Files() {
    std::vector<File> files{{"PODOFList", "PODOFList-blocked.bin", false, false}};
    for (const std::string& name : samples::ClassNames()) {
        for (const bool text : {false, true}) {
            const std::string ending = text ? ".txt" : ".bin";
            files.push_back({name, name + ending, text, false});
            files.push_back({name, name + "-two" + ending, text, true});
        }
    }
    return files;
}

std::shared_ptr<IPOBase> Open(const std::string& directory, const File& file, int block) {
    auto object = samples::New(file.className);
    if (file.IsBlocked()) std::dynamic_pointer_cast<IPODOFList>(object)->SetSelectedBlock(block);
    object->SetDirectory(directory);
    object->SetFileName(file.name);
    return object;
}

bool Write(const std::string& directory, const File& file, int variant) {
    constexpr int whole = -1;
    const auto object = Open(directory, file, whole);
    samples::Fill(*object, variant);
    object->SetVersion(file.twice ? "v 1" : "");
    object->CreateStorageInterface(file.text ? IPOBase::eWriteText : IPOBase::eWriteBinary, false);
    return object->Commit(true) == 0;
}

bool Describe(const std::string& directory, const File& file, int block) {
    const auto object = Open(directory, file, block);
    object->CreateStorageInterface(file.text ? IPOBase::eReadText : IPOBase::eReadBinary, false);
    const bool loaded = object->Load() == 0;
    std::cout << file.name << ": " << (loaded ? samples::Describe(*object) : "none") << '\n';
    return loaded;
}

}  // namespace

int main(int count, char** arguments) {
    const std::string directory = arguments[1] + std::string("/");
    const bool describes = count > 2 && arguments[2] == std::string("describe");
    bool done = true;
    for (const File& file : Files()) {
        const bool isTwice = describes ? file.IsBlocked() : file.twice;  // blocks, or commits
        for (int i = 0; i <= static_cast<int>(isTwice); ++i)
            done = (describes ? Describe(directory, file, i) : Write(directory, file, i)) && done;
    }
    return done ? 0 : 1;
}
