// SPDX-License-Identifier: Apache-2.0
// One function that names every type a host shares with the library, so that its debug information
// holds all of them. scripts/check-abi compiles it; nothing runs it.
#include "fieldstore/IPOAssemblyInfo.h"
#include "fieldstore/IPOBinaryTree.h"
#include "fieldstore/IPOCircuitMatrices.h"
#include "fieldstore/IPODOFList.h"
#include "fieldstore/IPODOFMap.h"
#include "fieldstore/IPOMeshTree.h"
#include "fieldstore/IPOModeInfo.h"
#include "fieldstore/IPOPortCircuitDOFs.h"
#include "fieldstore/IPOSolutionMetrics.h"
#include "fieldstore/IPOStorageControl.h"
#include "fieldstore/IStreamer.h"
#include "fieldstore/NewInstance.h"

extern "C" void Interfaces(decltype(&NewInstance), IPOBase&, IStreamer&, IPOAssemblyInfo&,
                           IPOBinaryTree&, IPOCircuitMatrices&, IPODOFList&, IPODOFMap&,
                           IPOMeshTree&, IPOModeInfo&, IPOPortCircuitDOFs&, IPOSolutionMetrics&,
                           IPOSolutionMetrics::EResolveFunction, IPOStorageControl&) {}
