// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_FORMATS_VTU_FILE_H
#define FIELDSTORE_TOOL_FORMATS_VTU_FILE_H

#include <array>
#include <cstdint>
#include <functional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace fieldstore::tool {

/// An unstructured grid in the XML form of VTK, with the arrays as bytes behind the XML.
class VtuFile {
public:
    enum Section { eFieldData, ePoints, eCells, ePointData, eCellData };

    struct Array {
        std::string name;                         // any text
        std::string type;                         // as VTK calls it: Float64
        std::uint64_t tuples = 0;                 // entries
        std::uint64_t components = 1;             // numbers of an entry
        std::vector<std::string> componentNames;  // as far as they have any
        std::uint64_t bytes = 0;
        std::function<void(std::ostream&)> put;  // writes that many
    };

    VtuFile(std::uint64_t pointCount, std::uint64_t cellCount)
        : points(pointCount), cells(cellCount) {}

    /// Requires: points and cells have the three arrays that VTK asks for, and data of points and
    /// cells an entry for each.
    void Add(Section section, Array array) { sections[section].push_back(std::move(array)); }
    /// Adds numbers that outlive the file.
    template <typename T>
    void Add(Section section, const std::string& name, const std::vector<T>& numbers,
             std::uint64_t components = 1) {
        const auto bytes = numbers.size() * sizeof(T);
        Add(section, {name,
                      TypeName(T()),
                      numbers.size() / components,
                      components,
                      {},
                      bytes,
                      [&numbers, bytes](std::ostream& out) {
                          out.write(reinterpret_cast<const char*>(numbers.data()),
                                    static_cast<std::streamsize>(bytes));
                      }});
    }

    void Write(std::ostream& out) const;

private:
    static const char* TypeName(double) { return "Float64"; }
    static const char* TypeName(std::int64_t) { return "Int64"; }
    static const char* TypeName(std::uint32_t) { return "UInt32"; }
    static const char* TypeName(std::uint8_t) { return "UInt8"; }
    void PutSection(std::ostream& out, Section section, std::uint64_t& offset) const;

    std::uint64_t points, cells;
    std::array<std::vector<Array>, 5> sections;
};

/// A text as the value of an attribute, visible and with the marks of XML escaped.
std::string XmlText(const std::string& text);

}  // namespace fieldstore::tool

#endif
