// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TESTS_STORAGE_EVERYCLASS_H
#define FIELDSTORE_TESTS_STORAGE_EVERYCLASS_H

#include <memory>
#include <string>
#include <tuple>

#include "tests/samples/Samples.h"
#include "tests/support.h"

namespace support {

/// An object of a class, pointed at a directory.
inline std::shared_ptr<IPOBase> In(const TempDirectory& directory, const std::string& name) {
    auto object = samples::New(name);
    object->SetDirectory(directory.Path());
    return object;
}

using Type = IPOBase::EStorageType;

inline int CommitSample(const TempDirectory& directory, const std::string& name, Type type,
                        int variant = 0) {
    const auto object = In(directory, name);
    samples::Fill(*object, variant);
    object->CreateStorageInterface(type, true);
    return object->Commit(false);
}

inline int LoadIn(const TempDirectory& directory, const std::string& name, Type type,
                  std::string& held) {
    const auto object = In(directory, name);
    object->CreateStorageInterface(type, false);
    const int result = object->Load();
    if (result == 0) held = samples::Describe(*object);
    return result;
}

class EveryClass : public testing::TestWithParam<std::tuple<std::string, bool>> {
protected:
    const std::string& Name() const { return std::get<0>(GetParam()); }
    bool Text() const { return std::get<1>(GetParam()); }
    Type WriteType() const { return Text() ? IPOBase::eWriteText : IPOBase::eWriteBinary; }
    Type ReadType() const { return Text() ? IPOBase::eReadText : IPOBase::eReadBinary; }

    TempDirectory directory;
    std::string File() const { return directory / samples::New(Name())->GetFileName(); }
};

inline std::string NameOf(const std::tuple<std::string, bool>& parameters) {
    return std::get<0>(parameters) + (std::get<1>(parameters) ? "Text" : "Binary");
}

}  // namespace support

#endif
