// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_FORMATS_VTU_H
#define FIELDSTORE_TOOL_FORMATS_VTU_H

#include <string>
#include <vector>

#include "tool/Bodies.h"
#include "tool/CommandLine.h"
#include "tool/Labels.h"
#include "tool/formats/Tables.h"

namespace fieldstore::tool {

/// What the command line says about files for VTK.
struct VtuOptions {
    std::vector<std::string> entities;  // node=4: what the entities of a type are
    std::string assembly;               // the file of the elements; "" for the one next to the data

    bool AnyGiven() const { return !entities.empty() || !assembly.empty(); }
};

void DescribeVtu(const CommandLine& command, VtuOptions& options);

/// Writes the mesh of solution metrics and their values: a file for each index that has values of
/// nodes, elements or edges, and metrics.pvd, which lists them. Raises for another class, and for
/// an assembly that was named and does not fit the mesh; one that was not named is told and left
/// out.
void DumpVtu(const AnyBody& body, const std::string& input, const Labels& labels,
             const VtuOptions& options, const FileSet& files);

}  // namespace fieldstore::tool

#endif
