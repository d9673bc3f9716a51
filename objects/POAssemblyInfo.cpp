// SPDX-License-Identifier: Apache-2.0
#include "objects/POAssemblyInfo.h"

#include <limits>
#include <stdexcept>
#include <utility>

#include "core/MergeMaps.h"
#include "core/Messages.h"

using namespace fieldstore;

namespace {

/// The absolute value; that of the smallest integer, which has none, is the largest integer.
int ElementId(int value) {
    if (value == std::numeric_limits<int>::min()) return std::numeric_limits<int>::max();
    return value < 0 ? -value : value;
}

}  // namespace

int POAssemblyInfo::ElementAt(int index) const {
    if (index < 0 || static_cast<std::size_t>(index) >= elements.size())
        throw std::out_of_range(messages::kElementIndexOutside);
    return elements[static_cast<std::size_t>(index)];
}

int POAssemblyInfo::GetElementId(int index) {
    return ElementId(ElementAt(index));
}

const std::vector<int>& POAssemblyInfo::Nodes(std::size_t list, int index) {
    static const std::vector<int> none;
    const auto found = elementNodes[list].find(GetElementId(index));
    return found == elementNodes[list].end() ? none : found->second;
}

int POAssemblyInfo::NodeCount(std::size_t list, int index) {
    return static_cast<int>(Nodes(list, index).size());
}

IPOAssemblyInfo::BasisCounts POAssemblyInfo::NodeBasisCounts(std::size_t list) const {
    std::map<int, int> totals;
    for (const auto& element : elementNodes[list]) {
        std::map<int, int> counts;
        for (const int node : element.second) ++counts[node];
        for (const auto& [node, count] : counts) {
            const auto known = totals.emplace(node, count).first;
            if (known->second != count)
                throw std::runtime_error(messages::kInconsistentBasisCounts);
        }
    }
    return {totals.begin(), totals.end()};
}

bool POAssemblyInfo::AddElements(const std::vector<std::uint64_t>& handles, ElementQuery query) {
    // Everything is asked for first, so that a query that raises changes nothing.
    std::vector<std::pair<int, std::array<std::vector<int>, 3>>> queried;
    for (const std::uint64_t handle : handles) {
        if (handle == 0) continue;
        std::array<std::vector<int>, 3> lists;
        const int value = query(handle, lists[0], lists[1], lists[2]);
        queried.emplace_back(value, std::move(lists));
    }
    elements.reserve(elements.size() + queried.size());
    for (auto& [value, lists] : queried) {
        elements.push_back(value);
        for (std::size_t list = 0; list < lists.size(); ++list)
            elementNodes[list].emplace(ElementId(value), std::move(lists[list]));
    }
    modified = true;
    return true;
}

void POAssemblyInfo::SetStorageTypeOverride(int which, unsigned int storageType) {
    storageTypeOverride.Set(which, storageType);
}

int POAssemblyInfo::GetStorageType(int direction) {
    return storageTypeOverride.Or(direction, POBase::GetStorageType(direction));
}

int POAssemblyInfo::CopyFrom(std::shared_ptr<IPOBase> source) {
    return CopyFromSameClass<POAssemblyInfo>(source, [this](const POAssemblyInfo& other) {
        elements = other.elements;
        elementNodes = other.elementNodes;
    });
}

void POAssemblyInfo::ClearData() {
    elements.clear();
    for (NodeLists& lists : elementNodes) lists.clear();
}

POAssemblyInfo::Body POAssemblyInfo::ReadBody() {
    Body body;
    SerializeValue(IStreamer::eRead, body.elements);
    for (NodeLists& lists : body.elementNodes) SerializeValue(IStreamer::eRead, lists);
    return body;
}

void POAssemblyInfo::Merge(Body body, std::map<int, int>& seen) {
    for (const int value : body.elements) {
        if (!seen.emplace(ElementId(value), value).second)
            throw std::runtime_error(messages::kDuplicateElement);
    }
    for (std::size_t list = 0; list < elementNodes.size(); ++list)
        KeepFirst(elementNodes[list], body.elementNodes[list]);
}

void POAssemblyInfo::SerializeData(IStreamer::EDirection direction) {
    if (direction == IStreamer::eWrite) {
        SerializeValue(direction, elements);
        for (NodeLists& lists : elementNodes) SerializeValue(direction, lists);
        return;
    }
    std::map<int, int> seen;  // element id to signed value, over all bodies
    ReadBodies([this, &seen] { Merge(ReadBody(), seen); });
    elements.reserve(elements.size() + seen.size());
    for (const auto& element : seen) elements.push_back(element.second);
}
