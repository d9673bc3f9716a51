// SPDX-License-Identifier: Apache-2.0
#include "objects/POMeshTree.h"

#include <algorithm>
#include <utility>

using namespace fieldstore;

bool POMeshTree::ContainsIdPair(int a, int b) {
    return idPairs.Get().Contains(std::minmax({a, b}));
}

bool POMeshTree::SetIds(const std::set<int>& newIds) {
    ids.Put(ColumnSet<int>(newIds));
    modified = true;
    return true;
}

bool POMeshTree::SetIdPairs(const std::set<std::pair<int, int>>& newPairs) {
    idPairs.Put(ColumnSet<std::pair<int, int>>(newPairs));
    modified = true;
    return true;
}

int POMeshTree::CopyFrom(std::shared_ptr<IPOBase> source) {
    return CopyFromSameClass<POMeshTree>(source, [this](const POMeshTree& other) {
        idPairs.Put(other.idPairs.Get());
        ids.Put(other.ids.Get());
    });
}

void POMeshTree::SerializeData(IStreamer::EDirection direction) {
    const WriteLayout layout(*this, 1);
    if (direction == IStreamer::eWrite) {
        WriteValue(idPairs.Get());
        WriteValue(ids.Get());
        return;
    }
    ColumnSet<std::pair<int, int>> storedPairs;
    ColumnSet<int> storedIds;
    SerializeValues(direction, storedPairs, storedIds);
    RequireIntactBody();
    idPairs.Put(std::move(storedPairs));
    storedIds.Unite(ids.Get());
    ids.Put(std::move(storedIds));
}
