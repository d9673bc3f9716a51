// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_FORMATS_TOUCHSTONE_H
#define FIELDSTORE_TOOL_FORMATS_TOUCHSTONE_H

#include <string>

#include "tool/Bodies.h"
#include "tool/CommandLine.h"
#include "tool/Labels.h"
#include "tool/formats/Tables.h"

namespace fieldstore::tool {

/// What the command line says about a Touchstone file; empty texts were not given.
struct TouchstoneOptions {
    bool version2 = false;
    std::string parameter;  // z=0,1: what is stored, and the types of its parts
    std::string reference;  // ohms: one number, or one for each port of the matrix
    std::string ports;      // positions in the matrix, from 0
    std::string unit;       // of frequency
    std::string notation;   // of complex numbers

    bool AnyGiven() const { return !(parameter + reference + ports + unit + notation).empty(); }
};

void DescribeTouchstone(const CommandLine& command, TouchstoneOptions& options);

/// Writes the S-parameters that circuit matrices hold or follow from; a frequency counts as whole
/// hertz. In a directory the file is circuitmatrices.sNp or .ts. Raises for another class, for
/// types and ports that the data do not have, and for what such a file cannot hold.
void DumpTouchstone(const AnyBody& body, const std::string& input, const Labels& labels,
                    const TouchstoneOptions& options, const std::string& output,
                    const FileSet& files);

}  // namespace fieldstore::tool

#endif
