// SPDX-License-Identifier: Apache-2.0
#include "objects/POSolutionMetrics.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <stdexcept>

#include "core/MergeMaps.h"
#include "core/Messages.h"
#include "objects/ResolveFunctions.h"
#include "streams/ColumnSet.h"

using namespace fieldstore;

namespace {

int Stored(std::uint32_t id) {
    return static_cast<int>(id);
}
std::uint32_t Id(int stored) {
    return static_cast<std::uint32_t>(stored);
}

/// Calls `visit(key, value)` for the entries of a map with integer keys in the unsigned order of
/// the keys: from 0 up, then the negative ones, which stand for ids from 2^31 on.
template <typename Map, typename Visit>
void InUnsignedOrder(const Map& map, Visit visit) {
    const auto visitAll = [&visit](auto from, auto to) {
        for (; from != to; ++from) {
            const auto& [key, value] = *from;
            visit(key, value);
        }
    };
    const auto middle = map.lower_bound(0);
    visitAll(middle, map.end());
    visitAll(map.begin(), middle);
}

/// The largest key as an id; 0 for an empty map.
template <typename Map>
std::uint32_t LargestId(const Map& map) {
    if (map.empty()) return 0;
    const auto middle = map.lower_bound(0);
    return Id((*std::prev(middle == map.begin() ? map.end() : middle)).first);
}

/// Appends ids, stored in ascending order, in their unsigned order.
void AppendIds(Span<const int> stored, std::vector<std::uint32_t>& ids) {
    const int* const middle = std::lower_bound(stored.begin(), stored.end(), 0);
    std::transform(middle, stored.end(), std::back_inserter(ids), &Id);
    std::transform(stored.begin(), middle, std::back_inserter(ids), &Id);
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
    if (!data.values.Add(key, newValues) && IsAppliedAtOnce(definition.second))
        data.values.Set(key, Resolve(definition, data.values.Find(key)->ToVector(), newValues));
    modified = true;
}

void POSolutionMetrics::AddValueRows(int entityType, int valueType,
                                     Span<const std::uint32_t> indices,
                                     Span<const std::uint32_t> entityIds,
                                     Span<const double> newValues) {
    if (indices.empty()) return;
    const int typeKey = TypeKey(entityType, valueType);
    const std::size_t each = Id(DefinitionOf(typeKey).first);
    if (indices.size() != entityIds.size() || newValues.size() / indices.size() != each ||
        newValues.size() % indices.size() != 0)
        throw std::runtime_error(messages::kInconsistentAmount);
    const auto keyAt = [&](std::size_t i) {
        return ValueKey{typeKey, {Stored(indices[i]), Stored(entityIds[i])}};
    };
    if (data.values.AddFollowing(indices.size(), keyAt, newValues)) {
        modified = true;
        return;
    }
    for (std::size_t i = 0; i < indices.size(); ++i) {
        const double* const first = newValues.data() + i * each;
        AddValues(entityType, indices[i], entityIds[i], valueType, {first, first + each});
    }
}

void POSolutionMetrics::AddNode(std::uint32_t nodeId, const std::vector<double>& position,
                                const std::set<std::uint32_t>& neighborSet) {
    data.positions.Add(Stored(nodeId), position);
    if (!neighborSet.empty()) {
        std::vector<int> added;
        std::transform(neighborSet.begin(), neighborSet.end(), std::back_inserter(added), &Stored);
        std::sort(added.begin(), added.end());
        AddNeighbors(Stored(nodeId), std::move(added));
    }
    modified = true;
}

void POSolutionMetrics::AddEdge(std::uint32_t edgeId, const std::vector<int>& nodeIds) {
    data.edges.Add(Stored(edgeId), nodeIds);
    modified = true;
}

void POSolutionMetrics::SetHeaderFields(std::uint32_t field1, std::uint32_t field2,
                                        std::uint32_t field3, std::uint32_t field4) {
    data.headerField1 = Stored(field1);
    data.headerField2 = Stored(field2);
    data.headerField3 = Stored(field3);
    data.headerField4 = Stored(field4);
}

void POSolutionMetrics::SetHeaderId(std::uint32_t value) {
    data.headerId = Stored(value);
}

std::uint32_t POSolutionMetrics::BuildNodeNeighbors() {
    if (!data.neighbors.empty() && !modified) return kSuccess;
    if (data.edges.empty()) return kFailure;
    data.neighbors = Neighbors();
    constexpr std::size_t ends = 2;
    LargeVector<std::pair<int, int>> links;  // from a node to a neighbour
    bool allHaveTwoEnds = true;
    for (const auto& [edge, nodes] : data.edges) {
        allHaveTwoEnds = nodes.size() == ends;
        if (!allHaveTwoEnds) break;
        links.emplace_back(nodes[0], nodes[1]);
        links.emplace_back(nodes[1], nodes[0]);
    }
    const ColumnSet<std::pair<int, int>> sorted(std::move(links));
    std::vector<int> ofNode;
    for (auto link = sorted.begin(); link != sorted.end();) {
        const int node = link->first;
        ofNode.clear();
        for (; link != sorted.end() && link->first == node; ++link) ofNode.push_back(link->second);
        data.neighbors.Add(node, ofNode);
    }
    return allHaveTwoEnds ? kSuccess : kFailure;
}

/// Unites them with those that the node has.
void POSolutionMetrics::AddNeighbors(int node, std::vector<int> sorted) {
    if (data.neighbors.Add(node, sorted)) return;
    const auto known = *data.neighbors.Find(node);
    std::vector<int> united;
    std::set_union(known.begin(), known.end(), sorted.begin(), sorted.end(),
                   std::back_inserter(united));
    data.neighbors.Set(node, std::move(united));
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
    field1 = Id(data.headerField1);
    field2 = Id(data.headerField2);
    field3 = Id(data.headerField3);
    field4 = Id(data.headerField4);
}

void POSolutionMetrics::GetHeaderId(std::uint32_t& value) {
    value = Id(data.headerId);
}

void POSolutionMetrics::GetValues(int entityType, std::uint32_t entityId, int valueType,
                                  std::vector<double>& valuesOut,
                                  std::vector<std::uint32_t>& indicesOut) {
    const int typeKey = TypeKey(entityType, valueType);
    const Definition& definition = DefinitionOf(typeKey);

    // One search per index rather than a scan of all entities.
    constexpr int smallest = std::numeric_limits<int>::min();
    constexpr int largest = std::numeric_limits<int>::max();
    std::map<int, Span<const double>> byIndex;
    auto next = data.values.lower_bound({typeKey, {smallest, smallest}});
    while (next != data.values.end() && (*next).first.first == typeKey) {
        const int index = (*next).first.second.first;
        const auto found = data.values.Find({typeKey, {index, Stored(entityId)}});
        if (found) byIndex.emplace_hint(byIndex.end(), index, *found);
        next = data.values.upper_bound({typeKey, {index, largest}});
    }
    InUnsignedOrder(byIndex, [&](int index, Span<const double> values) {
        indicesOut.push_back(Id(index));
        if (values.size() != Id(definition.first))
            throw std::runtime_error(messages::kInconsistentData);
        valuesOut.insert(valuesOut.end(), values.begin(), values.end());
    });
}

void POSolutionMetrics::GetEntityIds(int entityType, int valueType,
                                     std::vector<std::uint32_t>& ids) {
    constexpr int smallest = std::numeric_limits<int>::min();
    const int typeKey = TypeKey(entityType, valueType);
    std::vector<std::uint32_t> found;
    for (auto entry = data.values.lower_bound({typeKey, {smallest, smallest}});
         entry != data.values.end() && (*entry).first.first == typeKey; ++entry)
        found.push_back(Id((*entry).first.second.second));
    std::sort(found.begin(), found.end());
    found.erase(std::unique(found.begin(), found.end()), found.end());
    ids.insert(ids.end(), found.begin(), found.end());
}

void POSolutionMetrics::GetNodes(std::vector<double>& xyz, std::vector<std::uint32_t>& ids) {
    constexpr std::size_t dimensions = 3;
    InUnsignedOrder(data.positions, [&](int node, Span<const double> position) {
        if (position.size() < dimensions) throw std::runtime_error(messages::kInconsistentData);
        ids.push_back(Id(node));
        xyz.insert(xyz.end(), position.begin(), position.begin() + dimensions);
    });
}

void POSolutionMetrics::GetNodeNeighbors(std::vector<int>& offsets,
                                         std::vector<std::uint32_t>& list) {
    const std::size_t largest = LargestId(data.neighbors);
    if (largest > static_cast<std::size_t>(std::numeric_limits<int>::max()) - 2)
        throw std::length_error(messages::kInconsistentData);
    offsets.assign(largest + 2, 0);
    for (const auto& [node, its] : data.neighbors) offsets[Id(node)] = static_cast<int>(its.size());
    for (std::size_t i = 1; i < offsets.size(); ++i) offsets[i] += offsets[i - 1];

    InUnsignedOrder(data.neighbors,
                    [&list](int /*node*/, Span<const int> its) { AppendIds(its, list); });
}

void POSolutionMetrics::GetEdges(std::vector<int>& flat) {
    bool first = true;
    std::size_t nodesPerEdge = 0;
    InUnsignedOrder(data.edges, [&](int edge, Span<const int> nodes) {
        if (first) nodesPerEdge = nodes.size();
        first = false;
        if (nodes.size() != nodesPerEdge) throw std::runtime_error(messages::kInconsistentEdges);
        flat.push_back(edge);
        flat.insert(flat.end(), nodes.begin(), nodes.end());
    });
}

// ---- storing ----

int POSolutionMetrics::GetStorageType(int direction) {
    return storageTypeOverride.Or(direction, POBase::GetStorageType(direction));
}

int POSolutionMetrics::CopyFrom(std::shared_ptr<IPOBase> source) {
    return CopyFromSameClass<POSolutionMetrics>(source, [this](const POSolutionMetrics& other) {
        const Header own = data;
        data = other.data;
        static_cast<Header&>(data) = own;
        storageTypeOverride = other.storageTypeOverride;
    });
}

void POSolutionMetrics::ClearData() {
    const Header kept = data;
    data = Body();
    static_cast<Header&>(data) = kept;
}

void POSolutionMetrics::SerializeData(IStreamer::EDirection direction) {
    if (direction == IStreamer::eWrite)
        return SerializeBody<SolutionMetricsLayout>(direction, data);
    ReadBodies([this] {
        Body body = ReadBody();
        // That of an object without data, which contradicts no other.
        if (body.IsEmpty()) return;
        static_cast<Header&>(data) = body;
        Merge(std::move(body));
    });
    if (data.neighbors.empty() && BuildNodeNeighbors() != kSuccess)
        throw std::runtime_error(messages::kNoNeighbors);
    ResolveCollected();
}

POSolutionMetrics::Body POSolutionMetrics::ReadBody() {
    Body body;
    SerializeBody<SolutionMetricsLayout>(IStreamer::eRead, body);
    return body;
}

void POSolutionMetrics::Merge(Body body) {
    MergeDefinitions(std::move(body.definitions));
    MergeValues(std::move(body.values));
    if (data.neighbors.empty()) std::swap(data.neighbors, body.neighbors);
    for (const auto& [node, its] : body.neighbors) AddNeighbors(node, its.ToVector());
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
    if (data.values.empty()) return std::swap(data.values, body);
    for (const auto& [key, incoming] : body) {
        if (data.values.Add(key, incoming)) continue;
        const auto& [count, function] = DefinitionOf(key.first);
        if (CollectsValues(function)) {
            auto& collected = data.values.Loosened(key);
            collected.insert(collected.end(), incoming.begin(), incoming.end());
            continue;
        }
        std::vector<double> stored = data.values.Find(key)->ToVector();
        fieldstore::MergeValues(function, Id(count), stored, incoming.ToVector());
        data.values.Set(key, std::move(stored));
    }
}

/// Turns what was collected, above all the contributions to a mean, into one vector per key.
void POSolutionMetrics::ResolveCollected() {
    const Definition* definition = nullptr;  // of the type of the last entry
    int typeKey = 0;
    const auto hasCollected = [&](const ValueKey& key, Values::Values stored) {
        if (definition == nullptr || typeKey != key.first) definition = &DefinitionOf(key.first);
        typeKey = key.first;
        return stored.size() > Id(definition->first);
    };
    bool isAny = false;
    for (const auto& [key, stored] : data.values) isAny = hasCollected(key, stored) || isAny;
    if (!isAny) return;
    Values resolved;
    for (const auto& [key, stored] : data.values) {
        if (hasCollected(key, stored))
            resolved.Add(key, Resolve(*definition, stored.ToVector(), {}));
        else
            resolved.Add(key, stored);
    }
    data.values = std::move(resolved);
}
