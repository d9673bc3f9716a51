// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_SHORTEST_TEXT_H
#define FIELDSTORE_TOOL_SHORTEST_TEXT_H

#include <cstddef>

namespace fieldstore::tool {

/// The room that FormatShortest() needs, more than its longest text.
inline constexpr std::size_t kShortestTextCapacity = 32;

/// The same characters as std::to_chars without a format, the shortest that read back as the same
/// double, in a fraction of the time. Returns their end; what is behind it, up to the capacity, may
/// be overwritten.
char* FormatShortest(char* out, double value);

}  // namespace fieldstore::tool

#endif
