// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_RESOLVE_FUNCTIONS_H
#define FIELDSTORE_RESOLVE_FUNCTIONS_H

#include "fieldstore/IPOSolutionMetrics.h"

namespace fieldstore {

/// The table of the functions that combine value vectors which meet under one key. Built once, at
/// the first call, from whichever thread.
const IPOSolutionMetrics::ResolveFunctions& ResolveFunctionTable();

/// Whether a function is applied as soon as vectors meet. The mean is not: its contributions are
/// collected while bodies are merged and divided at the end.
bool IsAppliedAtOnce(int resolveFunctionId);

}  // namespace fieldstore

#endif
