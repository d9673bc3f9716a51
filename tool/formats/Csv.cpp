// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <ostream>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "tool/Bodies.h"
#include "tool/Error.h"
#include "tool/Labels.h"
#include "tool/StreamedBodies.h"
#include "tool/Visible.h"
#include "tool/formats/RowFormatter.h"
#include "tool/formats/Tables.h"
#include "tool/formats/TypeLabels.h"

namespace fieldstore::tool {
namespace {

std::uint32_t Unsigned(int stored) {
    return static_cast<std::uint32_t>(stored);
}

/// Names of columns that are numbered, each with a comma in front.
std::string Numbered(const std::string& name, std::size_t count) {
    std::string names;
    for (std::size_t i = 0; i < count; ++i) names += "," + name + std::to_string(i);
    return names;
}

/// The numbers of a row, and empty cells up to that many.
void PutCells(const double* values, std::size_t count, std::size_t columns, RowText& text) {
    for (std::size_t i = 0; i < columns; ++i) {
        text.Put(',');
        if (i < count) text.Put(values[i]);
    }
}

/// A text as a cell, in one line.
std::string Cell(const std::string& text) {
    std::string line = Visible(text);
    if (line.find_first_of(",\"") == std::string::npos) return line;
    std::string quoted = "\"";
    for (const char c : line) quoted += c == '"' ? "\"\"" : std::string(1, c);
    return quoted + "\"";
}

/// The last columns, for a file with types that have labels: whoever counts columns finds the
/// numbers where they are without labels.
class LabelColumns {
public:
    LabelColumns(const AnyStreamed& data, const Labels& labels) {
        for (const auto& [type, label] : LabelsOfTypes(data, labels))
            cells.emplace(type, "," + Cell(label.name) + "," + Cell(label.unit) + "\n");
    }
    const char* Header() const { return cells.empty() ? "\n" : ",label,unit\n"; }
    /// Ends a row.
    void Put(int type, RowText& text) const {
        const auto found = cells.find(type);
        text.Put(found != cells.end() ? found->second.c_str() : cells.empty() ? "\n" : ",,\n");
    }

private:
    std::map<int, std::string> cells;
};

using ModeEntry = std::pair<std::pair<std::int64_t, int>, std::vector<ModeInfoBody::Record>>;

void PutModes(const ModeEntry& entry, RowText& text) {
    const auto& [key, records] = entry;
    for (std::size_t mode = 0; mode < records.size(); ++mode) {
        const auto& [head, data] = records[mode];
        RowText front;
        front.PutCells(key.first, key.second, mode, head.first, head.second.real(),
                       head.second.imag(), "");
        const std::size_t half = data.size() / 2;
        for (std::size_t i = 0; i < half; ++i) {
            text.Put(front.Text());
            text.PutRow(i, data[i].real(), data[i].imag(), data[half + i].real(),
                        data[half + i].imag());
        }
    }
}

void Put(const StreamedModeInfo& body, const LabelColumns& /*labels*/, std::ostream& out) {
    out << "frequency,port,mode,group,gamma_re,gamma_im,index,voltage_re,voltage_im,current_re,"
           "current_im\n";
    RowFormatter<ModeEntry> rows(out, &PutModes);
    body.modes.ForEach([&rows](const auto& key, const auto& records) {
        std::size_t numbers = 0;
        for (const auto& record : records) numbers += 2 * record.second.size();
        rows.Add(key, records, numbers);
    });
    rows.Finish();
}

using MatrixEntry = std::pair<std::pair<std::int64_t, int>, Doubles>;

/// That of the largest square that so many values fill.
std::size_t Dimension(std::uint64_t values) {
    std::size_t dimension = 0;
    while ((dimension + 1) * (dimension + 1) <= values) ++dimension;
    return dimension;
}

void PutMatrix(const MatrixEntry& entry, std::size_t columns, const LabelColumns& labels,
               RowText& text) {
    const auto& [key, values] = entry;
    const std::size_t dimension = Dimension(values.size());
    for (std::size_t row = 0; row * dimension < values.size(); ++row) {
        const std::size_t begin = row * dimension;
        text.PutCells(key.first, key.second, row);
        PutCells(values.data() + begin, std::min(dimension, values.size() - begin), columns, text);
        labels.Put(key.second, text);
    }
}

void Put(const StreamedMatrices& body, const LabelColumns& labels, std::ostream& out) {
    std::size_t columns = 0;
    body.matrices.ForKeys([&columns](const auto& /*key*/, const auto& extent) {
        columns = std::max(columns, Dimension(extent.count));
    });
    out << "frequency,type,row" << Numbered("column", columns) << labels.Header();
    RowFormatter<MatrixEntry> rows(out, [&labels, columns](const auto& entry, RowText& text) {
        PutMatrix(entry, columns, labels, text);
    });
    body.matrices.ForEach(
        [&rows](const auto& key, const Doubles& values) { rows.Add(key, values, values.size()); });
    rows.Finish();
}

using MetricEntry = std::pair<std::pair<int, std::pair<int, int>>, Doubles>;

void PutMetric(const MetricEntry& entry, std::size_t columns, const LabelColumns& labels,
               RowText& text) {
    const auto& [key, values] = entry;
    text.PutCells(key.first, Unsigned(key.second.first), Unsigned(key.second.second));
    PutCells(values.data(), values.size(), columns, text);
    labels.Put(key.first, text);
}

void Put(const StreamedMetrics& body, const LabelColumns& labels, std::ostream& out) {
    std::size_t columns = 0;
    body.values.ForKeys([&columns](const auto& /*key*/, const auto& extent) {
        columns = std::max(columns, static_cast<std::size_t>(extent.count));
    });
    out << "type,index,entity" << Numbered("value", columns) << labels.Header();
    RowFormatter<MetricEntry> rows(out, [&labels, columns](const auto& entry, RowText& text) {
        PutMetric(entry, columns, labels, text);
    });
    body.values.ForEach([&rows](const auto& key, const Doubles& values) {
        rows.Add(key, values, values.size() + 3);
    });
    rows.Finish();
}

void Put(const PortCircuitDOFsBody& body, const LabelColumns& /*labels*/, std::ostream& out) {
    RowText text;
    text.Put("position,dof,kind,number\n");
    const std::int64_t ports = std::max(body.portDOFCount, 0);
    const std::int64_t start = std::int64_t{body.portDOFCount} + body.offsetDOFCount;
    const std::int64_t end = start + body.circuitDOFCount1 + body.circuitDOFCount2;
    for (const auto& [position, dof] : body.dofTable) {
        if (position >= 0 && position < ports)
            text.PutRow(position, dof, "port", position + 1);
        else if (position >= start && position < end)
            text.PutRow(position, dof, "circuit", position - start + 1);
        else
            text.PutRow(position, dof, "offset", "");
    }
    out << text.Text();
}

template <typename Body>
void Put(const Body& /*body*/, const LabelColumns& /*labels*/, std::ostream& /*out*/) {
    RefuseClass<Body>("csv");
}

}  // namespace

void DumpCsv(const AnyStreamed& data, const Labels& labels, std::ostream& out) {
    const LabelColumns columns(data, labels);
    std::visit([&](const auto& body) { Put(body, columns, out); }, data);
}

}  // namespace fieldstore::tool
