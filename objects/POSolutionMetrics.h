// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_POSOLUTIONMETRICS_H
#define FIELDSTORE_POSOLUTIONMETRICS_H

#include <map>
#include <utility>
#include <vector>

#include "core/POBase.h"
#include "core/StorageTypeOverride.h"
#include "fieldstore/IPOSolutionMetrics.h"
#include "objects/Field.h"
#include "streams/ColumnMap.h"

namespace fieldstore {

struct SolutionMetricsLayout {
    static constexpr ClassTraits kTraits{"POSolutionMetrics",
                                         "solutiondata.dat",
                                         kAppending,
                                         IPOBase::eReadBinary,
                                         IPOBase::eWriteBinary,
                                         true,
                                         "Unknown error committing POSolutionMetrics object."};

    template <typename Self, typename V>
    static void Visit(Self& self, V& visit) {
        visit(Field{"headerId", {{IdLabel("")}}}, self.headerId);
        visit(Field{"headerField1", {{IdLabel("")}}}, self.headerField1);
        visit(Field{"headerField2", {{IdLabel("")}}}, self.headerField2);
        visit(Field{"headerField3", {{IdLabel("")}}}, self.headerField3);
        visit(Field{"headerField4", {{IdLabel("")}}}, self.headerField4);
        visit(Field{"definitions", {{{"type"}, IdLabel("count"), {"function"}}}}, self.definitions);
        visit(Field{"values", {{{"type"}, IdLabel("index"), IdLabel("entity"), {"values"}}}},
              self.values);
        visit(Field{"neighbors", {{IdLabel("node"), IdLabel("neighbors")}}}, self.neighbors);
        visit(Field{"positions", {{IdLabel("node"), {"position"}}}}, self.positions);
        visit(Field{"edges", {{IdLabel("edge"), {"nodes"}}}}, self.edges);
    }
};

}  // namespace fieldstore

/// Body, one per commit and after the version line of the first: the five header values, the
/// definitions, the values, the neighbours, the positions, the edges. A load merges all bodies.
///
/// Host ids are unsigned and stored as the signed integers of the same bits, so the maps hold those
/// from 2^31 on before the small ones; getters go through them in unsigned order.
class POSolutionMetrics final : public POBase, public IPOSolutionMetrics {
public:
    POSolutionMetrics() : POBase(fieldstore::SolutionMetricsLayout::kTraits) {}
    ~POSolutionMetrics() override { CommitBeforeDestruction(); }

    void AddValues(int entityType, std::uint32_t index, std::uint32_t entityId, int valueType,
                   const std::vector<double>& newValues) override;
    void AddNode(std::uint32_t nodeId, const std::vector<double>& position,
                 const std::set<std::uint32_t>& neighborSet) override;
    void AddEdge(std::uint32_t edgeId, const std::vector<int>& nodeIds) override;
    void SetHeaderId(std::uint32_t value) override;
    void SetHeaderFields(std::uint32_t field1, std::uint32_t field2, std::uint32_t field3,
                         std::uint32_t field4) override;
    std::uint32_t BuildNodeNeighbors() override;
    void GetValues(int entityType, std::uint32_t entityId, int valueType,
                   std::vector<double>& valuesOut, std::vector<std::uint32_t>& indicesOut) override;
    void GetNodes(std::vector<double>& xyz, std::vector<std::uint32_t>& ids) override;
    void GetNodeNeighbors(std::vector<int>& offsets, std::vector<std::uint32_t>& list) override;
    void GetEdges(std::vector<int>& flat) override;
    void GetHeaderId(std::uint32_t& value) override;
    void GetHeaderFields(std::uint32_t& field1, std::uint32_t& field2, std::uint32_t& field3,
                         std::uint32_t& field4) override;
    void GetEntityIds(int entityType, int valueType, std::vector<std::uint32_t>& ids) override;
    void DefineValues(int entityType, int valueType, std::uint32_t count,
                      int resolveFunctionId) override;
    void SetStorageTypeOverride(int which, unsigned int storageType) override;
    const ResolveFunctions& GetResolveFunctions() override;

    /// Shows the data held to a visitor, field by field as a commit would write them.
    template <typename V>
    void VisitData(V& visit) const {
        fieldstore::SolutionMetricsLayout::Visit(data, visit);
    }

    /// AddValues() for many at once: the vectors lie one after the other.
    /// Raises what that raises; all that come before the one that raises are then added.
    void AddValueRows(int entityType, int valueType, fieldstore::Span<const std::uint32_t> indices,
                      fieldstore::Span<const std::uint32_t> entityIds,
                      fieldstore::Span<const double> newValues);

    int CopyFrom(std::shared_ptr<IPOBase> source) override;
    int GetStorageType(int direction) override;
    /// Keeps the header.
    void ClearData() override;
    bool ValidateData() override { return true; }

protected:
    void SerializeData(IStreamer::EDirection direction) override;
    void SkipBody() override { ReadBody(); }

private:
    using Definition = std::pair<int, int>;                // count, resolve function id
    using Definitions = std::map<int, Definition>;         // by type key
    using ValueKey = std::pair<int, std::pair<int, int>>;  // type key, (index, entity id)
    using Values = fieldstore::ColumnMap<ValueKey, double>;
    using Neighbors = fieldstore::ColumnMap<int, int, fieldstore::EntryValues::Set>;
    using Positions = fieldstore::ColumnMap<int, double>;
    using Edges = fieldstore::ColumnMap<int, int>;
    struct Header {  // ids and fields, stored as integers
        int headerId = 0, headerField1 = 0, headerField2 = 0, headerField3 = 0, headerField4 = 0;
    };
    struct Body : Header {
        Definitions definitions;
        Values values;
        Neighbors neighbors;
        Positions positions;
        Edges edges;

        bool IsEmpty() const {
            return definitions.empty() && values.empty() && neighbors.empty() &&
                   positions.empty() && edges.empty();
        }
    };

    static int TypeKey(int entityType, int valueType);
    const Definition& DefinitionOf(int typeKey) const;
    std::vector<double> Resolve(const Definition& definition, const std::vector<double>& existing,
                                const std::vector<double>& incoming) const;
    Body ReadBody();
    void Merge(Body body);
    void MergeDefinitions(Definitions body);
    void MergeValues(Values body);
    void AddNeighbors(int node, std::vector<int> sorted);
    void ResolveCollected();

    Body data;
    fieldstore::StorageTypeOverride storageTypeOverride;
};

#endif
