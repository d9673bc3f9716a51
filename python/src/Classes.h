// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_PYTHON_CLASSES_H
#define FIELDSTORE_PYTHON_CLASSES_H

#include <memory>
#include <stdexcept>
#include <string>

#include "fieldstore/NewInstance.h"
#include "objects/Classes.h"

namespace fieldstore::python {

template <typename Class, typename Visit>
bool VisitAs(IPOBase& object, const Visit& visit) {
    auto* typed = dynamic_cast<Class*>(&object);
    if (typed != nullptr) visit(*typed);
    return typed != nullptr;
}

/// Calls `visit` with the object as what it is.
template <typename Visit>
void WithClass(IPOBase& object, const Visit& visit) {
#define FIELDSTORE_VISIT(Name) \
    if (VisitAs<PO##Name>(object, visit)) return;
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

}  // namespace fieldstore::python

#endif
