// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_PODOFMAP_H
#define FIELDSTORE_PODOFMAP_H

#include "core/POBase.h"
#include "fieldstore/IPODOFMap.h"
#include "objects/Field.h"

namespace fieldstore {

struct DOFMapLayout {
    static constexpr ClassTraits kTraits{"PODOFMap",
                                         "evdofmap.dat",
                                         kReplacing,
                                         IPOBase::eReadBinary,
                                         IPOBase::eWriteBinary,
                                         false,
                                         "Unknown error committing PODOFMap object."};

    template <typename Self, typename V>
    static void Visit(Self& self, V& visit) {
        visit(Field{"rows", {{{"column"}, {"weight"}}}}, self.rows);
        visit(Field{"types"}, self.types);
    }
};

}  // namespace fieldstore

/// Body: the rows, then one integer per type.
///
/// While rows or types are empty and nothing is modified, their getters load the map, or else
/// resolve and store it.
class PODOFMap final : public POBase, public IPODOFMap {
public:
    PODOFMap();
    ~PODOFMap() override { CommitBeforeDestruction(); }

    ResolveResult ResolveDOFMap() override;
    const Rows& GetDOFMap() override;
    const Rows& GetTransposedDOFMap() override;
    const std::vector<EDOFType>& GetDOFTypes() override;
    bool IsDOFType1(int index) override { return HasType(index, eType1); }
    int IsDOFType0(int index) override { return HasType(index, eType0) ? 1 : 0; }
    bool SetResolveFunction(ResolveFunction function) override;
    bool SetDOFMap(const Rows& rows) override;
    bool SetDOFTypes(const std::vector<EDOFType>& types) override;

    /// Shows the data held to a visitor, field by field as a commit would write them.
    template <typename V>
    void VisitData(V& visit) const {
        const struct {
            const Rows& rows;
            const std::vector<EDOFType>& types;
        } body{dofMap, dofTypes};
        fieldstore::DOFMapLayout::Visit(body, visit);
    }

    int CopyFrom(std::shared_ptr<IPOBase> source) override;
    void ClearData() override;
    bool ValidateData() override { return true; }

protected:
    void SerializeData(IStreamer::EDirection direction) override;

private:
    bool HasType(int index, EDOFType type) const;
    /// Does nothing while the resolve function runs.
    void LoadOrResolve() noexcept;
    void ResolveAndStore();

    Rows dofMap;
    Rows transposedMap;  // cache of GetTransposedDOFMap(), perhaps of former rows
    std::vector<EDOFType> dofTypes;
    ResolveFunction resolveFunction;
    bool resolving = false;  // the resolve function runs; it may call back
};

#endif
