// SPDX-License-Identifier: Apache-2.0
#include "tool/formats/VtuFile.h"

#include <cstddef>

#include "tool/Visible.h"

namespace fieldstore::tool {
namespace {

constexpr std::array<const char*, 5> kSectionNames{"FieldData", "Points", "Cells", "PointData",
                                                   "CellData"};

void PutHead(std::ostream& out, const VtuFile::Array& array, bool tellsTuples,
             std::uint64_t offset) {
    out << "        <DataArray type=\"" << array.type << "\" Name=\"" << XmlText(array.name) << '"';
    if (tellsTuples) out << " NumberOfTuples=\"" << array.tuples << '"';
    // One is what readers take for granted; some take the word for a matrix of one column.
    if (array.components != 1) out << " NumberOfComponents=\"" << array.components << '"';
    for (std::size_t i = 0; i < array.componentNames.size() && i < array.components; ++i)
        out << " ComponentName" << i << "=\"" << XmlText(array.componentNames[i]) << '"';
    out << " format=\"appended\" offset=\"" << offset << "\"/>\n";
}

}  // namespace

std::string XmlText(const std::string& text) {
    std::string escaped;
    for (const char c : Visible(text)) {
        switch (c) {
            case '&':
                escaped += "&amp;";
                break;
            case '<':
                escaped += "&lt;";
                break;
            case '>':
                escaped += "&gt;";
                break;
            case '"':
                escaped += "&quot;";
                break;
            default:
                escaped += c;
        }
    }
    return escaped;
}

void VtuFile::PutSection(std::ostream& out, Section section, std::uint64_t& offset) const {
    out << "      <" << kSectionNames[section] << ">\n";
    for (const Array& array : sections[section]) {
        PutHead(out, array, section == eFieldData, offset);
        offset += sizeof(std::uint64_t) + array.bytes;
    }
    out << "      </" << kSectionNames[section] << ">\n";
}

void VtuFile::Write(std::ostream& out) const {
    std::uint64_t offset = 0;
    out << "<?xml version=\"1.0\"?>\n"
           "<VTKFile type=\"UnstructuredGrid\" version=\"1.0\" byte_order=\"LittleEndian\" "
           "header_type=\"UInt64\">\n  <UnstructuredGrid>\n";
    PutSection(out, eFieldData, offset);
    out << "    <Piece NumberOfPoints=\"" << points << "\" NumberOfCells=\"" << cells << "\">\n";
    for (const Section section : {ePoints, eCells, ePointData, eCellData})
        PutSection(out, section, offset);
    out << "    </Piece>\n  </UnstructuredGrid>\n  <AppendedData encoding=\"raw\">\n_";
    for (const auto& arrays : sections) {
        for (const Array& array : arrays) {
            out.write(reinterpret_cast<const char*>(&array.bytes), sizeof array.bytes);
            array.put(out);
        }
    }
    out << "\n  </AppendedData>\n</VTKFile>\n";
}

}  // namespace fieldstore::tool
