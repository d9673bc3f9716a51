// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_CLASS_TABLE_H
#define FIELDSTORE_CLASS_TABLE_H

#include <initializer_list>
#include <memory>
#include <string_view>

#include "fieldstore/IPOBase.h"

namespace fieldstore {

/// A class that NewInstance knows: its name and how an object of it comes into being.
struct ClassEntry {
    std::wstring_view name;
    std::shared_ptr<IPOBase> (*create)();
};

/// The closed set of classes, in the order in which names are tested.
extern const std::initializer_list<ClassEntry> kClassTable;

}  // namespace fieldstore

#endif
