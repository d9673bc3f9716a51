// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_D_O_F_RECORDS_H
#define FIELDSTORE_TOOL_D_O_F_RECORDS_H

#include <cstdint>
#include <string>

#include "tool/Bodies.h"
#include "tool/rules/Findings.h"

namespace fieldstore::tool {

/// What holds for the records of a kind in either form of a DOF list.
void CheckRecords(Findings& findings, std::uint64_t offset, const std::string& name,
                  const Ints& entries, int width);

}  // namespace fieldstore::tool

#endif
