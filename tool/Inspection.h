// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_INSPECTION_H
#define FIELDSTORE_TOOL_INSPECTION_H

#include <functional>
#include <string>
#include <vector>

#include "tool/ReadBodies.h"
#include "tool/ResultFile.h"

namespace fieldstore::tool {

/// Finds out what a file is; "" for the class leaves it to the file's name, and else to trying.
/// Raises when there is no such file or it cannot be read at all.
ResultFile Inspect(const std::string& path, const std::string& className = "",
                   LastNumber lastNumber = LastNumber::Ended);
/// The same for a file that must at least begin with a body; raises what is wrong otherwise.
ResultFile InspectReadable(const std::string& path, const std::string& className = "");
/// And for one that must be whole.
ResultFile InspectWhole(const std::string& path, const std::string& className = "");

/// Reads a file in one of the ways in which it may be meant. Returns what to do when that is the
/// best one so far.
using TryReading = std::function<std::function<void()>(ResultFile& file, const Reading& reading)>;
/// Reads `unread` as each of the kinds, or as every one there is, and returns what it is by the
/// reading that explains it best. Raises as Inspect().
ResultFile BestReading(const ResultFile& unread, std::vector<std::size_t> kinds,
                       const TryReading& read);
/// Raises with the remedy when a file is torn.
void RequireNotTorn(const ResultFile& file);
/// The kinds that a class name names or, when it is "", the name of the file; none if neither does.
std::vector<std::size_t> KindsNamed(const std::string& path, const std::string& className);

}  // namespace fieldstore::tool

#endif
