// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_CLASSES_H
#define FIELDSTORE_CLASSES_H

// IWYU pragma: begin_exports
#include "fieldstore/IPOAssemblyInfo.h"
#include "fieldstore/IPOBinaryTree.h"
#include "fieldstore/IPOCircuitMatrices.h"
#include "fieldstore/IPODOFList.h"
#include "fieldstore/IPODOFMap.h"
#include "fieldstore/IPOMeshTree.h"
#include "fieldstore/IPOModeInfo.h"
#include "fieldstore/IPOPortCircuitDOFs.h"
#include "fieldstore/IPOSolutionMetrics.h"
// IWYU pragma: end_exports

/// The kinds of results, for what is to be done with each: FIELDSTORE_CLASSES(USE) expands to
/// USE(Thing) for every class POThing, whose interface is IPOThing. The order is that in which
/// NewInstance compares names.
#define FIELDSTORE_CLASSES(USE) \
    USE(ModeInfo)               \
    USE(DOFMap)                 \
    USE(CircuitMatrices)        \
    USE(MeshTree)               \
    USE(DOFList)                \
    USE(BinaryTree)             \
    USE(PortCircuitDOFs)        \
    USE(SolutionMetrics)        \
    USE(AssemblyInfo)

#endif
