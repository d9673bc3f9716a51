// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_IPOSOLUTIONMETRICS_H
#define FIELDSTORE_IPOSOLUTIONMETRICS_H

#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <vector>

#include "fieldstore/export.h"

/// Metrics of a solve per entity, pass and kind, with the graph they are attached to (class
/// "POSolutionMetrics", file "solutiondata.dat", binary by default, every commit appends).
///
/// Loading merges all bodies in the file; value vectors that meet under one key are combined by the
/// resolve function of their definition. An (entity type, value type) combination is the number
/// entityType * 10 + valueType, which must be from 0 to 2^31 - 1.
///
/// Every operation that names a combination raises std::runtime_error "Invalid entity/value type
/// combination." for one outside that range.
class FIELDSTORE_INTERFACE IPOSolutionMetrics {
public:
    /// How vectors that meet under one key are combined.
    enum EResolveFunction : int {
        eReplace = 0,  ///< the new vector
        eAppend = 1,   ///< the stored vector followed by the new one
        eSum = 2,      ///< element by element
        eMean = 3,     ///< component-wise mean over all bodies; computed by a load
        eMax = 4,      ///< component-wise maximum
        eMin = 5       ///< component-wise minimum
    };

    /// Combines the vector held under a key with one that comes in.
    using ResolveFunction = std::function<std::vector<double>(
        int count, const std::vector<double>& existing, const std::vector<double>& incoming)>;
    /// The resolve functions by EResolveFunction.
    using ResolveFunctions = std::map<int, ResolveFunction>;

    IPOSolutionMetrics(const IPOSolutionMetrics&) = delete;
    IPOSolutionMetrics& operator=(const IPOSolutionMetrics&) = delete;
    virtual ~IPOSolutionMetrics() = default;

    /// Stores one vector of values, or combines it with the one already stored under the same
    /// combination, index (a pass number, say) and entity; with Mean the new values are discarded.
    /// Raises std::runtime_error "Resolve function and value counts not defined." without
    /// DefineValues, "Amount of data inconsistent with previous additions." for a wrong length, and
    /// what the resolve function raises; the object is then unchanged.
    virtual void AddValues(int entityType, std::uint32_t index, std::uint32_t entityId,
                           int valueType, const std::vector<double>& values) = 0;

    /// Stores the position (x, y, z) of a node unless it has one, and unites its neighbours with
    /// those known.
    virtual void AddNode(std::uint32_t nodeId, const std::vector<double>& position,
                         const std::set<std::uint32_t>& neighborSet) = 0;

    /// Stores the node ids of an edge unless the edge is known.
    virtual void AddEdge(std::uint32_t edgeId, const std::vector<int>& nodeIds) = 0;

    /// Sets a header value that the library only stores; does not count as a change.
    virtual void SetHeaderId(std::uint32_t headerId) = 0;

    /// Sets four more such values; does not count as a change.
    virtual void SetHeaderFields(std::uint32_t field1, std::uint32_t field2, std::uint32_t field3,
                                 std::uint32_t field4) = 0;

    /// Builds the node neighbours from the edges, unless they are there and nothing changed.
    /// Returns 0, or 1 when there is no edge or one has not exactly two nodes.
    virtual std::uint32_t BuildNodeNeighbors() = 0;

    /// Appends, in ascending index order, every value vector of one entity to `values` and its
    /// index to `indices`.
    /// Raises "Resolve function and value counts not defined." or, for a vector of another length
    /// than defined, "Inconsistent data."; what was appended before stays.
    virtual void GetValues(int entityType, std::uint32_t entityId, int valueType,
                           std::vector<double>& values, std::vector<std::uint32_t>& indices) = 0;

    /// Appends the node ids, ascending, to `ids` and their x, y, z to `xyz`.
    /// Raises "Inconsistent data." for a position of fewer than three entries.
    virtual void GetNodes(std::vector<double>& xyz, std::vector<std::uint32_t>& ids) = 0;

    /// Replaces `offsets` and appends to `list`: the neighbours of node v, ascending, are
    /// list[offsets[v-1]] up to, not including, list[offsets[v]], counted from where the append
    /// began. `offsets` has the largest node id + 2 entries.
    /// Raises std::length_error or std::bad_alloc when that is beyond memory.
    virtual void GetNodeNeighbors(std::vector<int>& offsets, std::vector<std::uint32_t>& list) = 0;

    /// Appends each edge, ascending: its id, then its node ids.
    /// Raises "Inconsistent edge node counts." when the edges differ in length; what was appended
    /// before stays.
    virtual void GetEdges(std::vector<int>& flat) = 0;

    /// Copies the header value out.
    virtual void GetHeaderId(std::uint32_t& headerId) = 0;

    /// Copies the four header fields out.
    virtual void GetHeaderFields(std::uint32_t& field1, std::uint32_t& field2,
                                 std::uint32_t& field3, std::uint32_t& field4) = 0;

    /// Appends the ids of all entities that have values of a combination, ascending.
    virtual void GetEntityIds(int entityType, int valueType, std::vector<std::uint32_t>& ids) = 0;

    /// Defines a combination: how many values a vector holds and which resolve function combines
    /// them; defining it again replaces both.
    /// Raises "Invalid resolve function id." for an id outside EResolveFunction.
    virtual void DefineValues(int entityType, int valueType, std::uint32_t count,
                              int resolveFunctionId) = 0;

    /// Overrides the storage type (IPOBase::EStorageType) that the class defaults mean:
    /// `which` 0 for reading, 1 for writing; 0 as type removes the override. Other values of
    /// `which` are ignored.
    virtual void SetStorageTypeOverride(int which, unsigned int storageType) = 0;

    /// The resolve functions by id: each takes the defined count, the stored and the new vector.
    /// They raise "Existing and new values have different sizes." (Sum) and, for a count of 0 with
    /// values, "Inconsistent data." (Mean, Max, Min). May be called from several threads.
    virtual const ResolveFunctions& GetResolveFunctions() = 0;

protected:
    IPOSolutionMetrics() = default;
};

#endif
