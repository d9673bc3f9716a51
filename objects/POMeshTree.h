// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_POMESHTREE_H
#define FIELDSTORE_POMESHTREE_H

#include "core/POBase.h"
#include "fieldstore/IPOMeshTree.h"

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

    const std::set<int>& GetIds() override { return ids; }
    const std::set<std::pair<int, int>>& GetIdPairs() override { return idPairs; }
    bool ContainsId(int id) override { return ids.count(id) != 0; }
    bool ContainsIdPair(int a, int b) override;
    bool SetIds(const std::set<int>& newIds) override;
    bool SetIdPairs(const std::set<std::pair<int, int>>& newPairs) override;

    int CopyFrom(std::shared_ptr<IPOBase> source) override;
    /// Empties the pairs alone; a load therefore unites the ids with those held.
    void ClearData() override { idPairs.clear(); }
    bool ValidateData() override { return true; }

protected:
    void SerializeData(IStreamer::EDirection direction) override;

private:
    std::set<std::pair<int, int>> idPairs;
    std::set<int> ids;
};

#endif
