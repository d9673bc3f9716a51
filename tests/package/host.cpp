// SPDX-License-Identifier: Apache-2.0
// A host outside the project: every class through the installed headers and library.
#include <cstdio>

#include "fieldstore/fieldstore.h"

int main() {
    fieldstore::Create<IPODOFMap>();
    fieldstore::Create<IPOCircuitMatrices>();
    fieldstore::Create<IPOMeshTree>();
    fieldstore::Create<IPODOFList>();
    fieldstore::Create<IPOBinaryTree>();
    fieldstore::Create<IPOPortCircuitDOFs>();
    fieldstore::Create<IPOSolutionMetrics>();
    fieldstore::Create<IPOAssemblyInfo>();
    const auto modes = fieldstore::Create<IPOModeInfo>();
    std::puts(fieldstore::Storage(modes).GetFileName().c_str());
}
