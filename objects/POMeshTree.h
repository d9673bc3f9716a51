// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_POMESHTREE_H
#define FIELDSTORE_POMESHTREE_H

#include <set>
#include <utility>

#include "core/POBase.h"
#include "fieldstore/IPOMeshTree.h"
#include "streams/ColumnSet.h"

/// Body: the pair set, then the id set.
class POMeshTree final : public POBase, public IPOMeshTree {
public:
    static constexpr fieldstore::ClassTraits kTraits{"POMeshTree",
                                                     "evtree.dat",
                                                     fieldstore::kReplacing,
                                                     eReadBinary,
                                                     eWriteBinary,
                                                     false,
                                                     "Unknown error committing POMeshTree object."};

    POMeshTree() : POBase(kTraits) {}
    ~POMeshTree() override { CommitBeforeDestruction(); }

    const std::set<int>& GetIds() override { return ids.AsSet(); }
    const std::set<std::pair<int, int>>& GetIdPairs() override { return idPairs.AsSet(); }
    bool ContainsId(int id) override { return ids.Get().Contains(id); }
    bool ContainsIdPair(int a, int b) override;
    bool SetIds(const std::set<int>& newIds) override;
    bool SetIdPairs(const std::set<std::pair<int, int>>& newPairs) override;

    int CopyFrom(std::shared_ptr<IPOBase> source) override;
    /// Empties the pairs alone; a load therefore unites the ids with those held.
    void ClearData() override { idPairs.Put({}); }
    bool ValidateData() override { return true; }

protected:
    void SerializeData(IStreamer::EDirection direction) override;

private:
    /// Elements in one array, and in the set that hosts ask for from the first time on that one
    /// does.
    template <typename T>
    class SetOnDemand {
    public:
        const fieldstore::ColumnSet<T>& Get() const { return elements; }
        void Put(fieldstore::ColumnSet<T> others) {
            if (isHandedOut) handedOut = others.ToSet();
            elements = std::move(others);
        }
        const std::set<T>& AsSet() {
            if (!isHandedOut) handedOut = elements.ToSet();
            isHandedOut = true;
            return handedOut;
        }

    private:
        fieldstore::ColumnSet<T> elements;
        std::set<T> handedOut;  // stays where it is, as hosts refer to it
        bool isHandedOut = false;
    };

    SetOnDemand<std::pair<int, int>> idPairs;
    SetOnDemand<int> ids;
};

#endif
