// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_OBJECT_CLASSES_H
#define FIELDSTORE_OBJECT_CLASSES_H

// IWYU pragma: begin_exports
#include "core/ClassTraits.h"
#include "fieldstore/classes.h"
#include "objects/POAssemblyInfo.h"
#include "objects/POBinaryTree.h"
#include "objects/POCircuitMatrices.h"
#include "objects/PODOFList.h"
#include "objects/PODOFMap.h"
#include "objects/POMeshTree.h"
#include "objects/POModeInfo.h"
#include "objects/POPortCircuitDOFs.h"
#include "objects/POSolutionMetrics.h"
// IWYU pragma: end_exports

namespace fieldstore {

/// What distinguishes the classes, in the order of FIELDSTORE_CLASSES.
#define FIELDSTORE_TRAITS(Name) &Name##Layout::kTraits,
inline constexpr const ClassTraits* kAllTraits[] = {FIELDSTORE_CLASSES(FIELDSTORE_TRAITS)};
#undef FIELDSTORE_TRAITS

}  // namespace fieldstore

#endif
