// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_FIELD_H
#define FIELDSTORE_FIELD_H

#include <array>
#include <string_view>

/// What one commit of a class writes is described once, by the layout next to the class: Visit()
/// names the fields of a body in their order in the file. It takes anything that has members of
/// these names; the objects store and load themselves through it, and whoever else reads, writes,
/// shows or compares bodies is a visitor of it as well.
namespace fieldstore {

/// The name of a part of a field's entries. An id is an unsigned number stored as the signed one of
/// the same bits.
struct Label {
    std::string_view name;
    bool isId = false;
};
constexpr Label IdLabel(std::string_view name) {
    return {name, true};
}

/// A field of a body: its name, the names of the parts of its entries (key, then value, then the
/// parts of the value's own elements), and how many values stand on a line of text.
struct Field {
    std::string_view name;
    std::array<Label, 7> parts{};
    int perLine = 1;
};

}  // namespace fieldstore

#endif
