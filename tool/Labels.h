// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_LABELS_H
#define FIELDSTORE_TOOL_LABELS_H

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace fieldstore::tool {

/// The file of labels beside the data that it names.
inline constexpr const char* kLabelsName = "labels.json";

/// What a number in the data means.
struct TypeLabel {
    std::string name;                     // "" where nobody has said it
    std::string unit;                     // "" for none
    std::vector<std::string> components;  // of a vector, as far as they are named

    /// The name, and the unit in brackets when there is one.
    std::string Text() const { return unit.empty() ? name : name + " [" + unit + "]"; }
};

/// The names of the bare numbers that result files hold, by docs/labels.md. Names are texts of
/// someone else's: whoever shows them makes them visible.
class Labels {
public:
    enum Group { eMatrixTypes, eEntityTypes, eValueTypes, eResolveFunctions };
    using Entries = std::map<int, TypeLabel>;

    /// No names but those of the resolve functions, which the library defines.
    Labels();
    /// Those in a file; raises for one that cannot be read or does not follow docs/labels.md.
    static Labels Read(const std::string& path);
    /// Those in the directory of a result file, if there are any; raises as Read().
    static Labels Beside(const std::string& resultFile);

    /// Null for a number without a name.
    const TypeLabel* Find(Group group, int number) const;
    const Entries& All(Group group) const { return groups[group]; }
    void Set(Group group, int number, TypeLabel label);

    /// What a part of a field's entries means. Where the value type of metrics has no label, that
    /// of the entity tells.
    TypeLabel Of(std::string_view field, std::string_view part, std::int64_t value) const;
    /// The same as a text: "error indicator [V]", or empty.
    std::string Meaning(std::string_view field, std::string_view part, std::int64_t value) const {
        return Of(field, part, value).Text();
    }

    /// Those of some groups.
    Labels Only(const std::vector<Group>& chosen) const;
    /// Whether somebody has named a type.
    bool NamesTypes() const;
    /// The document that Read() takes.
    std::string Document() const;

private:
    std::array<Entries, 4> groups;
};

/// The parts of the number under which metrics keep their values.
constexpr int EntityTypeOf(int combination) {
    return combination / 10;
}
constexpr int ValueTypeOf(int combination) {
    return combination % 10;
}

}  // namespace fieldstore::tool

#endif
