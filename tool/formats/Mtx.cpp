// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <ostream>
#include <string>
#include <variant>
#include <vector>

#include "tool/Bodies.h"
#include "tool/Error.h"
#include "tool/Labels.h"
#include "tool/Visible.h"
#include "tool/formats/Tables.h"

namespace fieldstore::tool {
namespace {

/// Rows and columns count from 1, and entries stand as they are stored: zeros and repeats too.
void Put(const DOFMapBody& body, const Labels& /*labels*/, const FileSet& files) {
    files.WriteSingle("dofmap.mtx", [&body](std::ostream& out) {
        std::size_t entries = 0;
        std::size_t columns = body.rows.size();
        for (const auto& row : body.rows) {
            entries += row.size();
            for (const auto& [column, weight] : row) {
                if (column < 0) throw Error("", "a column is negative", "Run fieldstore check.");
                columns = std::max(columns, static_cast<std::size_t>(column) + 1);
            }
        }
        out << "%%MatrixMarket matrix coordinate real general\n"
            << body.rows.size() << ' ' << columns << ' ' << entries << '\n';
        for (std::size_t row = 0; row < body.rows.size(); ++row)
            for (const auto& [column, weight] : body.rows[row])
                out << row + 1 << ' ' << column + 1 << ' ' << NumberText(weight) << '\n';
    });
}

/// The values stand row after row in the file, and column after column in this format.
void PutMatrix(const std::vector<double>& values, const std::string& meaning, std::ostream& out) {
    std::size_t dimension = 0;
    while ((dimension + 1) * (dimension + 1) <= values.size()) ++dimension;
    if (dimension * dimension != values.size())
        throw Error("", "a matrix is not square", "Run fieldstore check.");
    out << "%%MatrixMarket matrix array real general\n";
    if (!meaning.empty()) out << "% " << Visible(meaning) << '\n';
    out << dimension << ' ' << dimension << '\n';
    for (std::size_t column = 0; column < dimension; ++column)
        for (std::size_t row = 0; row < dimension; ++row)
            out << NumberText(values[row * dimension + column]) << '\n';
}

void Put(const CircuitMatricesBody& body, const Labels& labels, const FileSet& files) {
    for (const auto& entry : body.matrices) {
        const auto name = "matrix_" + std::to_string(entry.first.first) + "_" +
                          std::to_string(entry.first.second) + ".mtx";
        const auto write = [&](std::ostream& out) {
            PutMatrix(entry.second, labels.Meaning("matrices", "type", entry.first.second), out);
        };
        body.matrices.size() == 1 ? files.WriteSingle(name, write) : files.Write(name, write);
    }
}

template <typename Body>
void Put(const Body& /*body*/, const Labels& /*labels*/, const FileSet& /*files*/) {
    RefuseClass<Body>("mtx");
}

}  // namespace

void DumpMtx(const AnyBody& any, const Labels& labels, const FileSet& files) {
    std::visit([&](const auto& body) { Put(body, labels, files); }, any);
}

}  // namespace fieldstore::tool
