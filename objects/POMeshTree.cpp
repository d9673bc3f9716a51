// SPDX-License-Identifier: Apache-2.0
#include "objects/POMeshTree.h"

#include <algorithm>

#include "core/MergeMaps.h"

using namespace fieldstore;

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
    if (direction == IStreamer::eWrite) return SerializeValues(direction, idPairs, ids);
    // The ids held outlive a load, so those of a load that fails must not get among them.
    std::set<int> stored;
    SerializeValues(direction, idPairs, stored);
    RequireIntactBody();
    KeepFirst(ids, stored);
}
