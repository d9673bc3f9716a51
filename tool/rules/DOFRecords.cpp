// SPDX-License-Identifier: Apache-2.0
#include "tool/rules/DOFRecords.h"

#include <cstddef>

namespace fieldstore::tool {

void CheckRecords(Findings& findings, std::uint64_t offset, const std::string& name,
                  const Ints& entries, int width) {
    constexpr int leastWidth = 3;  // owner, first, last
    if (width < 0) return findings.Problem(offset, "width of records is negative", " of " + name);
    if (width == 0 ? !entries.empty() : entries.size() % static_cast<std::size_t>(width) != 0)
        return findings.Problem(offset, "entries are no whole number of records", " in " + name);
    if (width < leastWidth) return;
    for (std::size_t i = 0; i < entries.size(); i += static_cast<std::size_t>(width)) {
        if (entries[i + 1] >= 0 && entries[i + 2] >= 0 && entries[i + 2] < entries[i + 1])
            findings.Problem(
                offset, "range of a record ends before it begins",
                " in " + name + ", record " + std::to_string(i / static_cast<std::size_t>(width)));
    }
}

}  // namespace fieldstore::tool
