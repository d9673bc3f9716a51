// SPDX-License-Identifier: Apache-2.0
#include "objects/POMeshTree.h"

#include <algorithm>
#include <utility>

using namespace fieldstore;

bool POMeshTree::ContainsIdPair(int a, int b) {
    return held.idPairs.Contains(std::minmax({a, b}));
}

bool POMeshTree::SetIds(const std::set<int>& newIds) {
    held.ids = ColumnSet<int>(newIds);
    UpdateHandedOut();
    modified = true;
    return true;
}

bool POMeshTree::SetIdPairs(const std::set<std::pair<int, int>>& newPairs) {
    held.idPairs = ColumnSet<std::pair<int, int>>(newPairs);
    UpdateHandedOut();
    modified = true;
    return true;
}

void POMeshTree::ClearData() {
    held.idPairs.clear();
    UpdateHandedOut();
}

int POMeshTree::CopyFrom(std::shared_ptr<IPOBase> source) {
    return CopyFromSameClass<POMeshTree>(source, [this](const POMeshTree& other) {
        held = other.held;
        UpdateHandedOut();
    });
}

void POMeshTree::SerializeData(IStreamer::EDirection direction) {
    if (direction == IStreamer::eWrite) return SerializeBody<MeshTreeLayout>(direction, held);
    Body read;
    SerializeBody<MeshTreeLayout>(direction, read);
    RequireIntactBody();
    // The ids held outlive a load, so those of a load that fails must not get among them.
    read.ids.Unite(std::move(held.ids));
    held = std::move(read);
    UpdateHandedOut();
}

void POMeshTree::UpdateHandedOut() {
    pairsHandedOut.Update(held.idPairs);
    idsHandedOut.Update(held.ids);
}
