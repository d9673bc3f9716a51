// SPDX-License-Identifier: Apache-2.0
#include "factory/ClassTable.h"

#include "factory/Release.h"
#include "objects/Classes.h"

namespace fieldstore {
namespace {

template <typename Class>
std::shared_ptr<IPOBase> Create() {
    return std::shared_ptr<IPOBase>(new Class, Release<Class>());
}

}  // namespace

#define FIELDSTORE_ENTRY(Name) {L"PO" #Name, &Create<PO##Name>},
const std::initializer_list<ClassEntry> kClassTable{FIELDSTORE_CLASSES(FIELDSTORE_ENTRY)};
#undef FIELDSTORE_ENTRY

}  // namespace fieldstore
