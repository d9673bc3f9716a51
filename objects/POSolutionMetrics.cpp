// SPDX-License-Identifier: Apache-2.0
#include "objects/POSolutionMetrics.h"

#include <algorithm>
#include <limits>
#include <stdexcept>

#include "core/MergeMaps.h"
#include "core/Messages.h"
#include "objects/ResolveFunctions.h"

using namespace fieldstore;

namespace {

int Stored(std::uint32_t id) {
    return static_cast<int>(id);
}
std::uint32_t Id(int stored) {
    return static_cast<std::uint32_t>(stored);
}

/// Calls `visit` for the elements of a map or set with integer keys in the unsigned order of the
/// keys: from 0 up, then the negative ones, which stand for ids from 2^31 on.
template <typename Container, typename Visit>
void InUnsignedOrder(const Container& container, Visit visit) {
    const auto middle = container.lower_bound(0);
    std::for_each(middle, container.end(), visit);
    std::for_each(container.begin(), middle, visit);
}

/// The largest key as an id; 0 for an empty map.
template <typename Map>
std::uint32_t LargestId(const Map& map) {
    if (map.empty()) return 0;
    const auto middle = map.lower_bound(0);
    return Id(middle == map.begin() ? map.rbegin()->first : std::prev(middle)->first);
}

}  // namespace

int POSolutionMetrics::TypeKey(int entityType, int valueType) {
    constexpr std::int64_t valueTypesPerEntity = 10;
    const std::int64_t key = std::int64_t{entityType} * valueTypesPerEntity + valueType;
    if (key < 0 || key > std::numeric_limits<int>::max())
        throw std::runtime_error(messages::kInvalidTypeKey);
    return static_cast<int>(key);
}

const POSolutionMetrics::Definition& POSolutionMetrics::DefinitionOf(int typeKey) const {
    const auto found = data.definitions.find(typeKey);
    if (found == data.definitions.end()) throw std::runtime_error(messages::kUndefinedValues);
    return found->second;
}

std::vector<double> POSolutionMetrics::Resolve(const Definition& definition,
                                               const std::vector<double>& existing,
                                               const std::vector<double>& incoming) const {
    const auto found = ResolveFunctionTable().find(definition.second);
    if (found == ResolveFunctionTable().end()) throw std::runtime_error(messages::kUndefinedValues);
    return found->second(definition.first, existing, incoming);
}

// ---- filling ----

void POSolutionMetrics::DefineValues(int entityType, int valueType, std::uint32_t count,
                                     int resolveFunctionId) {
    const int typeKey = TypeKey(entityType, valueType);
    if (GetResolveFunctions().count(resolveFunctionId) == 0)
        throw std::runtime_error(messages::kInvalidResolveFunction);
    data.definitions[typeKey] = {Stored(count), resolveFunctionId};
    modified = true;
}

void POSolutionMetrics::AddValues(int entityType, std::uint32_t index, std::uint32_t entityId,
                                  int valueType, const std::vector<double>& newValues) {
    const int typeKey = TypeKey(entityType, valueType);
    const Definition& definition = DefinitionOf(typeKey);
    if (Id(definition.first) != newValues.size())
        throw std::runtime_error(messages::kInconsistentAmount);
    const ValueKey key{typeKey, {Stored(index), Stored(entityId)}};
    const auto [entry, inserted] = data.values.emplace(key, newValues);
    if (!inserted && IsAppliedAtOnce(definition.second))
        entry->second = Resolve(definition, entry->second, newValues);
    modified = true;
}

void POSolutionMetrics::AddNode(std::uint32_t nodeId, const std::vector<double>& position,
                                const std::set<std::uint32_t>& neighborSet) {
    data.positions.emplace(Stored(nodeId), position);
    if (!neighborSet.empty()) {
        std::set<int>& known = data.neighbors[Stored(nodeId)];
        for (const std::uint32_t neighbor : neighborSet) known.insert(Stored(neighbor));
    }
    modified = true;
}

void POSolutionMetrics::AddEdge(std::uint32_t edgeId, const std::vector<int>& nodeIds) {
    data.edges.emplace(Stored(edgeId), nodeIds);
    modified = true;
}

void POSolutionMetrics::SetHeaderFields(std::uint32_t field1, std::uint32_t field2,
                                        std::uint32_t field3, std::uint32_t field4) {
    header[1] = field1;
    header[2] = field2;
    header[3] = field3;
    header[4] = field4;
}

std::uint32_t POSolutionMetrics::BuildNodeNeighbors() {
    if (!data.neighbors.empty() && !modified) return kSuccess;
    if (data.edges.empty()) return kFailure;
    data.neighbors.clear();
    constexpr std::size_t ends = 2;
    const bool allHaveTwoEnds =
        std::all_of(data.edges.begin(), data.edges.end(), [this](const auto& edge) {
            const std::vector<int>& nodes = edge.second;
            if (nodes.size() != ends) return false;
            data.neighbors[nodes[0]].insert(nodes[1]);
            data.neighbors[nodes[1]].insert(nodes[0]);
            return true;
        });
    return allHaveTwoEnds ? kSuccess : kFailure;
}

void POSolutionMetrics::SetStorageTypeOverride(int which, unsigned int storageType) {
    storageTypeOverride.Set(which, storageType);
}

// ---- asking ----

const IPOSolutionMetrics::ResolveFunctions& POSolutionMetrics::GetResolveFunctions() {
    return ResolveFunctionTable();
}

void POSolutionMetrics::GetHeaderFields(std::uint32_t& field1, std::uint32_t& field2,
                                        std::uint32_t& field3, std::uint32_t& field4) {
    field1 = header[1];
    field2 = header[2];
    field3 = header[3];
    field4 = header[4];
}

void POSolutionMetrics::GetValues(int entityType, std::uint32_t entityId, int valueType,
                                  std::vector<double>& valuesOut,
                                  std::vector<std::uint32_t>& indicesOut) {
    const int typeKey = TypeKey(entityType, valueType);
    const Definition& definition = DefinitionOf(typeKey);

    // One search per index rather than a scan of all entities.
    constexpr int smallest = std::numeric_limits<int>::min();
    constexpr int largest = std::numeric_limits<int>::max();
    std::map<int, const std::vector<double>*> byIndex;
    auto next = data.values.lower_bound({typeKey, {smallest, smallest}});
    while (next != data.values.end() && next->first.first == typeKey) {
        const int index = next->first.second.first;
        const auto found = data.values.find({typeKey, {index, Stored(entityId)}});
        if (found != data.values.end()) byIndex.emplace_hint(byIndex.end(), index, &found->second);
        next = data.values.upper_bound({typeKey, {index, largest}});
    }
    InUnsignedOrder(byIndex, [&](const auto& entry) {
        indicesOut.push_back(Id(entry.first));
        if (entry.second->size() != Id(definition.first))
            throw std::runtime_error(messages::kInconsistentData);
        valuesOut.insert(valuesOut.end(), entry.second->begin(), entry.second->end());
    });
}

void POSolutionMetrics::GetEntityIds(int entityType, int valueType,
                                     std::vector<std::uint32_t>& ids) {
    constexpr int smallest = std::numeric_limits<int>::min();
    const int typeKey = TypeKey(entityType, valueType);
    std::vector<std::uint32_t> found;
    for (auto entry = data.values.lower_bound({typeKey, {smallest, smallest}});
         entry != data.values.end() && entry->first.first == typeKey; ++entry)
        found.push_back(Id(entry->first.second.second));
    std::sort(found.begin(), found.end());
    found.erase(std::unique(found.begin(), found.end()), found.end());
    ids.insert(ids.end(), found.begin(), found.end());
}

void POSolutionMetrics::GetNodes(std::vector<double>& xyz, std::vector<std::uint32_t>& ids) {
    constexpr std::size_t dimensions = 3;
    InUnsignedOrder(data.positions, [&](const auto& node) {
        const std::vector<double>& position = node.second;
        if (position.size() < dimensions) throw std::runtime_error(messages::kInconsistentData);
        ids.push_back(Id(node.first));
        xyz.insert(xyz.end(), position.begin(), position.begin() + dimensions);
    });
}

void POSolutionMetrics::GetNodeNeighbors(std::vector<int>& offsets,
                                         std::vector<std::uint32_t>& list) {
    const std::size_t largest = LargestId(data.neighbors);
    if (largest > static_cast<std::size_t>(std::numeric_limits<int>::max()) - 2)
        throw std::length_error(messages::kInconsistentData);
    offsets.assign(largest + 2, 0);
    for (const auto& node : data.neighbors)
        offsets[Id(node.first)] = static_cast<int>(node.second.size());
    for (std::size_t i = 1; i < offsets.size(); ++i) offsets[i] += offsets[i - 1];

    InUnsignedOrder(data.neighbors, [&list](const auto& node) {
        InUnsignedOrder(node.second, [&list](int neighbor) { list.push_back(Id(neighbor)); });
    });
}

void POSolutionMetrics::GetEdges(std::vector<int>& flat) {
    bool first = true;
    std::size_t nodesPerEdge = 0;
    InUnsignedOrder(data.edges, [&](const auto& edge) {
        if (first) nodesPerEdge = edge.second.size();
        first = false;
        if (edge.second.size() != nodesPerEdge)
            throw std::runtime_error(messages::kInconsistentEdges);
        flat.push_back(edge.first);
        flat.insert(flat.end(), edge.second.begin(), edge.second.end());
    });
}

// ---- storing ----

int POSolutionMetrics::GetStorageType(int direction) {
    return storageTypeOverride.Or(direction, POBase::GetStorageType(direction));
}

int POSolutionMetrics::CopyFrom(std::shared_ptr<IPOBase> source) {
    return CopyFromSameClass<POSolutionMetrics>(source, [this](const POSolutionMetrics& other) {
        data = other.data;
        storageTypeOverride = other.storageTypeOverride;
    });
}

void POSolutionMetrics::SerializeBody(IStreamer::EDirection direction, Header& fields, Data& body) {
    for (std::uint32_t& field : fields) {
        int value = Stored(field);
        SerializeValue(direction, value);
        field = Id(value);
    }
    SerializeValues(direction, body.definitions, body.values, body.neighbors, body.positions,
                    body.edges);
}

void POSolutionMetrics::SerializeData(IStreamer::EDirection direction) {
    if (direction == IStreamer::eWrite) return SerializeBody(direction, header, data);
    ReadBodies([this] {
        Body body = ReadBody();
        // That of an object without data, which contradicts no other.
        if (body.second.IsEmpty()) return;
        header = body.first;
        Merge(std::move(body.second));
    });
    if (data.neighbors.empty() && BuildNodeNeighbors() != kSuccess)
        throw std::runtime_error(messages::kNoNeighbors);
    ResolveCollected();
}

POSolutionMetrics::Body POSolutionMetrics::ReadBody() {
    Body body;
    SerializeBody(IStreamer::eRead, body.first, body.second);
    return body;
}

void POSolutionMetrics::Merge(Data body) {
    MergeDefinitions(std::move(body.definitions));
    MergeValues(std::move(body.values));
    MergeNeighbors(body.neighbors);
    KeepFirst(data.positions, body.positions);
    KeepFirst(data.edges, body.edges);
}

void POSolutionMetrics::MergeDefinitions(Definitions body) {
    if (data.definitions.empty())
        data.definitions = std::move(body);
    else if (data.definitions != body)
        throw std::runtime_error(messages::kInconsistentData);
}

void POSolutionMetrics::MergeValues(Values body) {
    if (data.values.empty()) return data.values.swap(body);
    while (!body.empty()) {
        const auto merged = data.values.insert(body.extract(body.begin()));
        if (merged.inserted) continue;
        const Definition& definition = DefinitionOf(merged.position->first.first);
        fieldstore::MergeValues(definition.second, Id(definition.first), merged.position->second,
                                merged.node.mapped());
    }
}

void POSolutionMetrics::MergeNeighbors(const Neighbors& body) {
    for (const auto& [node, set] : body) data.neighbors[node].insert(set.begin(), set.end());
}

/// Turns what was collected, above all the contributions to a mean, into one vector per key.
void POSolutionMetrics::ResolveCollected() {
    for (auto& [key, stored] : data.values) {
        const Definition& definition = DefinitionOf(key.first);
        if (stored.size() > Id(definition.first)) stored = Resolve(definition, stored, {});
    }
}
