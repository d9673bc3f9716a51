// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_CAMPAIGNS_FAILING_ALLOCATIONS_H
#define FIELDSTORE_CAMPAIGNS_FAILING_ALLOCATIONS_H

/// Replaces operator new by one that fails on demand. Plain numbers, as its host has one thread.
namespace campaigns {

struct FailingAllocations {
    long count = 0;
    long failing = 0;      // the number of the allocation that fails; 0: none
    bool lasting = false;  // all later ones fail as well
};

extern FailingAllocations allocations;

}  // namespace campaigns

#endif
