// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_FILE_ATTRIBUTES_H
#define FIELDSTORE_FILE_ATTRIBUTES_H

#include <string>
#include <vector>

#include "streams/SystemFile.h"

namespace fieldstore::platform {

/// What came of TakeAttributes().
struct TakenAttributes {
    bool owned = true;              // owner, group and permissions were kept
    std::vector<std::string> lost;  // what could not be kept and why, a line each
};

/// Gives an open file the owner, group, permissions, access list and extended attributes of another
/// file, which it is to replace. Where a group or an access list is lost, the group gets no more
/// than everybody has.
TakenAttributes TakeAttributes(const std::string& from, SystemFile to);

}  // namespace fieldstore::platform

#endif
