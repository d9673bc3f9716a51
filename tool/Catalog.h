// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_CATALOG_H
#define FIELDSTORE_TOOL_CATALOG_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/ClassTraits.h"
#include "tool/Bodies.h"

namespace fieldstore::tool {

/// What is known of a kind of body apart from its data. A class is one kind, but for the DOF list,
/// which is two. Never changes.
struct Kind {
    const ClassTraits* traits;
    bool blocked;       // the second form of its class
    AnyBody (*make)();  // a new body of the kind

    std::string_view ClassName() const { return traits->name; }
    bool Appends() const { return (traits->persistFlags & kAppend) != 0; }
};

/// All kinds, by their position in AnyBody.
const std::vector<Kind>& Kinds();

/// The kinds of the class of that name; with or without "PO", in any case. Raises for no class.
std::vector<std::size_t> KindsOfClass(const std::string& name);
/// The kinds of the class whose default file name it is; none for another name.
std::vector<std::size_t> KindsOfFileName(std::string_view name);
/// The position of every kind.
std::vector<std::size_t> AllKinds();

}  // namespace fieldstore::tool

#endif
