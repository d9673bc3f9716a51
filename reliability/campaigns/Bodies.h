// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_CAMPAIGNS_BODIES_H
#define FIELDSTORE_CAMPAIGNS_BODIES_H

#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "fieldstore/fieldstore.h"

/// Bodies that tell their key and every wrong value, so that a reader knows what it has.
namespace campaigns {

/// Fills an object with the body of a key. `size` is about the count of its numbers; 0 gives the
/// small sample of the tests, which every class has.
void Fill(IPOBase& object, int key, int size);

/// The keys of the bodies in a loaded object, for the classes that Fill can make large and for
/// POSolutionMetrics. Raises std::runtime_error when a value is not that of its body.
std::set<int> Keys(IPOBase& object);

/// A new object of the class on a file, ready to commit or to load; null when its storage cannot be
/// built.
std::shared_ptr<IPOBase> Open(const std::string& className, const std::string& path, bool text,
                              bool writing, bool withLock);

/// What a host does with an operation and its words; returns the exit status.
using Operation = std::function<int(const std::vector<std::string>& words)>;
/// Runs the operation that the first argument names. What it raises is said on standard error, and
/// gives the status `failed`.
int RunOperation(const std::map<std::string, Operation>& operations, int failed, int count,
                 char** arguments);

}  // namespace campaigns

#endif
