// SPDX-License-Identifier: Apache-2.0
#include <algorithm>

#include "tool/Error.h"
#include "tool/formats/Tables.h"

namespace fieldstore::tool {
namespace {

void PutCell(std::ostream& out, double value) {
    out << NumberText(value);
}
void PutCell(std::ostream& out, const char* value) {
    out << value;
}
template <typename T>
void PutCell(std::ostream& out, T value) {
    out << value;
}

template <typename First, typename... Rest>
void PutRow(std::ostream& out, const First& first, const Rest&... rest) {
    PutCell(out, first);
    ((out << ',', PutCell(out, rest)), ...);
    out << '\n';
}

std::uint32_t Unsigned(int stored) {
    return static_cast<std::uint32_t>(stored);
}

void Put(const ModeInfoBody& body, std::ostream& out) {
    out << "frequency,port,mode,group,value_re,value_im,part,index,re,im\n";
    for (const auto& [key, records] : body.modes) {
        for (std::size_t mode = 0; mode < records.size(); ++mode) {
            const auto& [head, data] = records[mode];
            const std::size_t half = data.size() / 2;
            for (std::size_t i = 0; i < 2 * half; ++i)
                PutRow(out, key.first, key.second, mode, head.first, head.second.real(),
                       head.second.imag(), i < half ? "voltage" : "current", i % half,
                       data[i].real(), data[i].imag());
        }
    }
}

void Put(const CircuitMatricesBody& body, std::ostream& out) {
    out << "frequency,type,row,column,value\n";
    for (const auto& [key, values] : body.matrices) {
        std::size_t dimension = 0;
        while ((dimension + 1) * (dimension + 1) <= values.size()) ++dimension;
        for (std::size_t i = 0; i < values.size(); ++i)
            PutRow(out, key.first, key.second, i / dimension, i % dimension, values[i]);
    }
}

void Put(const SolutionMetricsBody& body, std::ostream& out) {
    out << "type,index,entity,component,value\n";
    for (const auto& [key, values] : body.values)
        for (std::size_t i = 0; i < values.size(); ++i)
            PutRow(out, key.first, Unsigned(key.second.first), Unsigned(key.second.second), i,
                   values[i]);
}

void Put(const PortCircuitDOFsBody& body, std::ostream& out) {
    out << "position,dof,kind,number\n";
    const std::int64_t ports = std::max(body.portDOFCount, 0);
    const std::int64_t start = std::int64_t{body.portDOFCount} + body.offsetDOFCount;
    const std::int64_t end = start + body.circuitDOFCount1 + body.circuitDOFCount2;
    for (const auto& [position, dof] : body.dofTable) {
        if (position >= 0 && position < ports)
            PutRow(out, position, dof, "port", position + 1);
        else if (position >= start && position < end)
            PutRow(out, position, dof, "circuit", position - start + 1);
        else
            PutRow(out, position, dof, "offset", "");
    }
}

template <typename Body>
void Put(const Body& /*body*/, std::ostream& /*out*/) {
    RefuseClass<Body>("csv");
}

}  // namespace

void DumpCsv(const AnyBody& any, std::ostream& out) {
    std::visit([&out](const auto& body) { Put(body, out); }, any);
}

}  // namespace fieldstore::tool
