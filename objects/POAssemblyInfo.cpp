// SPDX-License-Identifier: Apache-2.0
#include "objects/POAssemblyInfo.h"

#include <algorithm>
#include <array>
#include <limits>
#include <map>
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
    if (index < 0 || static_cast<std::size_t>(index) >= held.elements.size())
        throw std::out_of_range(messages::kElementIndexOutside);
    return held.elements[static_cast<std::size_t>(index)];
}

int POAssemblyInfo::GetElementId(int index) {
    return ElementId(ElementAt(index));
}

POAssemblyInfo::NodeLists::Values POAssemblyInfo::Nodes(List list, int index) const {
    return (held.*list).Find(ElementId(ElementAt(index))).value_or(NodeLists::Values());
}

int POAssemblyInfo::NodeCount(List list, int index) const {
    return static_cast<int>(Nodes(list, index).size());
}

IPOAssemblyInfo::BasisCounts POAssemblyInfo::NodeBasisCounts(List list) const {
    std::map<int, int> totals;
    for (const auto& [element, nodes] : held.*list) {
        std::map<int, int> counts;
        for (const int node : nodes) ++counts[node];
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
    held.elements.reserve(held.elements.size() + queried.size());
    for (const auto& [value, lists] : queried) {
        held.elements.push_back(value);
        held.nodes1.Add(ElementId(value), lists[0]);
        held.nodes2.Add(ElementId(value), lists[1]);
        held.nodes3.Add(ElementId(value), lists[2]);
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
    return CopyFromSameClass<POAssemblyInfo>(
        source, [this](const POAssemblyInfo& other) { held = other.held; });
}

POAssemblyInfo::Body POAssemblyInfo::ReadBody() {
    Body body;
    SerializeBody<AssemblyInfoLayout>(IStreamer::eRead, body);
    return body;
}

void POAssemblyInfo::SerializeData(IStreamer::EDirection direction) {
    if (direction == IStreamer::eWrite) return SerializeBody<AssemblyInfoLayout>(direction, held);
    const std::size_t before = held.elements.size();
    ReadBodies([this] {
        Body body = ReadBody();
        if (held.elements.empty())
            held.elements.swap(body.elements);
        else
            held.elements.insert(held.elements.end(), body.elements.begin(), body.elements.end());
        KeepFirst(held.nodes1, body.nodes1);
        KeepFirst(held.nodes2, body.nodes2);
        KeepFirst(held.nodes3, body.nodes3);
    });
    SortElements(before);
}

/// By id, from that element on; raises when one comes twice.
void POAssemblyInfo::SortElements(std::size_t from) {
    const auto precedes = [](int a, int b) { return ElementId(a) < ElementId(b); };
    auto& elements = held.elements;
    const auto begin = elements.begin() + static_cast<std::ptrdiff_t>(from);
    if (!std::is_sorted(begin, elements.end(), precedes))
        std::sort(begin, elements.end(), precedes);
    const auto isSame = [](int a, int b) { return ElementId(a) == ElementId(b); };
    if (std::adjacent_find(begin, elements.end(), isSame) != elements.end())
        throw std::runtime_error(messages::kDuplicateElement);
}
