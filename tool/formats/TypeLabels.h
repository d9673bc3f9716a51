// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_FORMATS_TYPE_LABELS_H
#define FIELDSTORE_TOOL_FORMATS_TYPE_LABELS_H

#include <map>
#include <string>
#include <vector>

#include "tool/Labels.h"
#include "tool/StreamedBodies.h"

namespace fieldstore::tool {

/// The field whose keys have types, and the groups of labels for them; none for most classes.
struct TypedField {
    std::string name;
    std::vector<Labels::Group> groups;
};
TypedField TypedFieldOf(const AnyStreamed& data);

/// The labels of the types in that field of a file, as far as they have one.
std::map<int, TypeLabel> LabelsOfTypes(const AnyStreamed& data, const Labels& labels);

}  // namespace fieldstore::tool

#endif
