// SPDX-License-Identifier: Apache-2.0
#include "fieldstore/NewInstance.h"

#include <algorithm>
#include <utility>

#include "core/ResultCode.h"
#include "factory/ClassTable.h"

int NewInstance(const std::wstring& className, std::shared_ptr<IPOBase>* instance) {
    if (instance == nullptr) return fieldstore::kFailure;
    const auto& classes = fieldstore::kClassTable;
    const auto entry = std::find_if(classes.begin(), classes.end(),
                                    [&](const auto& known) { return known.name == className; });
    std::shared_ptr<IPOBase> created;
    if (entry != classes.end()) created = entry->create();
    *instance = std::move(created);
    return fieldstore::kSuccess;
}
