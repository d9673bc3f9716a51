// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_PYTHON_CLASSES_H
#define FIELDSTORE_PYTHON_CLASSES_H

#include <memory>
#include <stdexcept>
#include <string>

#include "ColumnObject.h"
#include "fieldstore/NewInstance.h"
#include "objects/Classes.h"

namespace fieldstore::python {

template <typename Class, typename Visit>
bool VisitAs(IPOBase& object, const Visit& visit) {
    auto* typed = dynamic_cast<Class*>(&object);
    if (typed != nullptr) visit(*typed);
    return typed != nullptr;
}

/// What a class's files are loaded into.
template <typename Object>
struct LoadedAs {
    using Type = Object;
};
template <>
struct LoadedAs<POModeInfo> {
    using Type = LoadedModes;
};
template <>
struct LoadedAs<PODOFMap> {
    using Type = LoadedDOFMap;
};
template <>
struct LoadedAs<POCircuitMatrices> {
    using Type = LoadedMatrices;
};

/// Calls `visit` with an object for reading as what it is.
template <typename Visit>
void WithClass(IPOBase& object, const Visit& visit) {
#define FIELDSTORE_VISIT(Name) \
    if (VisitAs<LoadedAs<PO##Name>::Type>(object, visit)) return;
    FIELDSTORE_CLASSES(FIELDSTORE_VISIT)
#undef FIELDSTORE_VISIT
    throw std::invalid_argument("Not a persistent object.");
}

/// A new object of that class; raises std::invalid_argument for an unknown name.
inline std::shared_ptr<IPOBase> MakeObject(const std::string& className) {
    std::shared_ptr<IPOBase> object;
    NewInstance(std::wstring(className.begin(), className.end()), &object);
    if (!object) throw std::invalid_argument("There is no class " + className + ".");
    return object;
}

/// The same for reading: what the library holds in nodes goes into columns.
inline std::shared_ptr<IPOBase> MakeReadable(const std::string& className) {
    if (className == ModeInfoLayout::kTraits.name) return std::make_shared<LoadedModes>();
    if (className == DOFMapLayout::kTraits.name) return std::make_shared<LoadedDOFMap>();
    if (className == CircuitMatricesLayout::kTraits.name) return std::make_shared<LoadedMatrices>();
    return MakeObject(className);
}

}  // namespace fieldstore::python

#endif
