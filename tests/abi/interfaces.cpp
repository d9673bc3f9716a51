// SPDX-License-Identifier: Apache-2.0
// Functions that name every type a host shares with the library, so that their debug information
// holds all of them; one for each class, so that a new class changes nothing of the others.
// scripts/check-abi compiles it; nothing runs it.
#include "fieldstore/IPOStorageControl.h"
#include "fieldstore/IStreamer.h"
#include "fieldstore/NewInstance.h"
#include "fieldstore/classes.h"

extern "C" void Interfaces(decltype(&NewInstance), IPOBase&, IStreamer&, IPOStorageControl&,
                           IPOSolutionMetrics::EResolveFunction) {}
#define FIELDSTORE_INTERFACE_OF(Name) \
    extern "C" void InterfaceOf##Name(IPO##Name&) {}
FIELDSTORE_CLASSES(FIELDSTORE_INTERFACE_OF)
