// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_RESOLVE_FUNCTIONS_H
#define FIELDSTORE_RESOLVE_FUNCTIONS_H

#include <cstdint>
#include <vector>

#include "fieldstore/IPOSolutionMetrics.h"

namespace fieldstore {

/// The table of the functions that combine value vectors which meet under one key. Built once, at
/// the first call, from whichever thread.
const IPOSolutionMetrics::ResolveFunctions& ResolveFunctionTable();

/// Whether values that meet while bodies are merged are put one after the other: those to append,
/// and contributions to a mean, which are divided at the end.
bool CollectsValues(int resolveFunctionId);

/// Combines the values of a body that is merged with those that are stored under the same key, as a
/// function does that does not collect them. `count` is what the definition says.
/// Raises "Inconsistent data." when the result would be longer than all that goes into it, and what
/// the function raises.
void MergeValues(int resolveFunctionId, std::uint32_t count, std::vector<double>& stored,
                 const std::vector<double>& incoming);

/// Whether a function is applied as soon as a host adds values to others. The mean is not.
bool IsAppliedAtOnce(int resolveFunctionId);

}  // namespace fieldstore

#endif
