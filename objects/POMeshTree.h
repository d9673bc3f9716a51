// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_POMESHTREE_H
#define FIELDSTORE_POMESHTREE_H

#include <set>
#include <utility>

#include "core/POBase.h"
#include "fieldstore/IPOMeshTree.h"
#include "objects/Field.h"
#include "streams/ColumnSet.h"

namespace fieldstore {

struct MeshTreeLayout {
    static constexpr ClassTraits kTraits{"POMeshTree",
                                         "evtree.dat",
                                         kReplacing,
                                         IPOBase::eReadBinary,
                                         IPOBase::eWriteBinary,
                                         false,
                                         "Unknown error committing POMeshTree object."};

    template <typename Self, typename V>
    static void Visit(Self& self, V& visit) {
        visit(Field{"idPairs", {{{"first"}, {"second"}}}}, self.idPairs);
        visit(Field{"ids"}, self.ids);
    }
};

}  // namespace fieldstore

/// Body: the pair set, then the id set.
class POMeshTree final : public POBase, public IPOMeshTree {
public:
    POMeshTree() : POBase(fieldstore::MeshTreeLayout::kTraits) {}
    ~POMeshTree() override { CommitBeforeDestruction(); }

    const std::set<int>& GetIds() override { return idsHandedOut.Of(held.ids); }
    const std::set<std::pair<int, int>>& GetIdPairs() override {
        return pairsHandedOut.Of(held.idPairs);
    }
    bool ContainsId(int id) override { return held.ids.Contains(id); }
    bool ContainsIdPair(int a, int b) override;
    bool SetIds(const std::set<int>& newIds) override;
    bool SetIdPairs(const std::set<std::pair<int, int>>& newPairs) override;

    /// Shows the data held to a visitor, field by field as a commit would write them.
    template <typename V>
    void VisitData(V& visit) const {
        fieldstore::MeshTreeLayout::Visit(held, visit);
    }

    int CopyFrom(std::shared_ptr<IPOBase> source) override;
    /// Empties the pairs alone; a load therefore unites the ids with those held.
    void ClearData() override;
    bool ValidateData() override { return true; }

protected:
    void SerializeData(IStreamer::EDirection direction) override;

private:
    struct Body {
        fieldstore::ColumnSet<std::pair<int, int>> idPairs;
        fieldstore::ColumnSet<int> ids;
    };

    /// The set that hosts refer to, made when the first one asks for it and up to date from then
    /// on.
    template <typename T>
    class HandedOut {
    public:
        const std::set<T>& Of(const fieldstore::ColumnSet<T>& elements) {
            if (!isAsked) set = elements.ToSet();
            isAsked = true;
            return set;
        }
        void Update(const fieldstore::ColumnSet<T>& elements) {
            if (isAsked) set = elements.ToSet();
        }

    private:
        std::set<T> set;
        bool isAsked = false;
    };

    void UpdateHandedOut();

    Body held;
    HandedOut<std::pair<int, int>> pairsHandedOut;
    HandedOut<int> idsHandedOut;
};

#endif
