// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_CHART_H
#define FIELDSTORE_TOOL_CHART_H

#include <string>
#include <vector>

namespace fieldstore::tool {

/// Draws the last values with characters, a column each, between their least and their largest one;
/// by their logarithms where they are positive and differ much. Values that are not finite are
/// left out; "" when none is left.
std::string Chart(const std::vector<double>& values);

}  // namespace fieldstore::tool

#endif
