// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_ACROSSFILES_H
#define FIELDSTORE_TOOL_ACROSSFILES_H

#include "tool/ResultFile.h"
#include "tool/rules/Findings.h"

namespace fieldstore::tool {

/// Notes what does not fit between a file of a directory and those beside it that have their
/// default names: frequencies of circuit matrices and modes, elements of an assembly and the ids of
/// the mesh tree, its nodes and those of the metrics. Each pair counts for the file named first. A
/// file that is missing, cannot be read or has no such keys says nothing. Requires: a whole file.
void CheckAcross(const ResultFile& file, Findings& findings);

}  // namespace fieldstore::tool

#endif
