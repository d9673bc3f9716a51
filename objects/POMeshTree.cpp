// SPDX-License-Identifier: Apache-2.0
#include "objects/POMeshTree.h"

#include <algorithm>

bool POMeshTree::ContainsIdPair(int a, int b) {
    return idPairs.count(std::minmax({a, b})) != 0;
}

bool POMeshTree::SetIds(const std::set<int>& newIds) {
    ids = newIds;
    modified = true;
    return true;
}

bool POMeshTree::SetIdPairs(const std::set<std::pair<int, int>>& newPairs) {
    idPairs = newPairs;
    modified = true;
    return true;
}

int POMeshTree::CopyFrom(std::shared_ptr<IPOBase> source) {
    return CopyFromSameClass<POMeshTree>(source, [this](const POMeshTree& other) {
        idPairs = other.idPairs;
        ids = other.ids;
    });
}

void POMeshTree::SerializeData(IStreamer::EDirection direction) {
    const WriteLayout layout(*this, 1);
    SerializeValues(direction, idPairs, ids);
}
