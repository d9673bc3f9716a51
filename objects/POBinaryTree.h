// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_POBINARYTREE_H
#define FIELDSTORE_POBINARYTREE_H

#include <map>
#include <memory>
#include <set>
#include <vector>

#include "core/ClassTraits.h"
#include "core/POBase.h"
#include "fieldstore/IPOBase.h"
#include "fieldstore/IPOBinaryTree.h"
#include "fieldstore/IStreamer.h"
#include "objects/Field.h"
#include "streams/ColumnMap.h"
#include "streams/Span.h"

namespace fieldstore {

struct BinaryTreeLayout {
    // The text of the unknown error names another class; whoever searches logs knows it so.
    static constexpr ClassTraits kTraits{"POBinaryTree",
                                         "file1.dat",
                                         kReplacing,
                                         IPOBase::eReadBinary,
                                         IPOBase::eWriteBinary,
                                         true,
                                         "Unknown error committing PODOFList object."};

    template <typename Self, typename V>
    static void Visit(Self& self, V& visit) {
        constexpr int itemsPerLine = 10;
        visit(Field{"tag"}, self.tag);
        visit(Field{"idCount"}, self.idCount);
        visit(Field{"levelCount"}, self.levelCount);
        visit(Field{"leafCount"}, self.leafCount);
        visit(Field{"leafCounts1"}, self.leafCounts1);
        visit(Field{"leafCounts2"}, self.leafCounts2);
        visit(Field{"leafCounts3"}, self.leafCounts3);
        visit(Field{"leafCounts4"}, self.leafCounts4);
        visit(Field{"leafCounts5"}, self.leafCounts5);
        visit(Field{"nodeItems", {{{"node"}, {"items"}}}, itemsPerLine}, self.nodeItems);
        visit(Field{"mappedItems", {{{"key"}, {"items"}}}, itemsPerLine}, self.mappedItems);
        visit(Field{"auxiliaryList", {}, itemsPerLine}, self.auxiliaryList);
    }
};

}  // namespace fieldstore

/// Body, after the version line: the four scalars, the five counter vectors, the items of the
/// nodes, the mapped lists, the auxiliary list.
class POBinaryTree final : public POBase, public IPOBinaryTree {
public:
    POBinaryTree() : POBase(fieldstore::BinaryTreeLayout::kTraits) {}
    ~POBinaryTree() override { CommitBeforeDestruction(); }

    int SetTree(const Counters& leafCounts1, const Counters& leafCounts2,
                const Counters& leafCounts3, const Counters& leafCounts4,
                const Counters& leafCounts5, const std::map<int, std::set<int>>& nodeSets,
                const std::map<int, std::vector<int>>& mappedItems, int tag, int idCount,
                const std::vector<int>& auxiliaryList, int levelCount, int leafCount) override;
    int VisitTree(std::vector<int>& ids, NodeVisitor onNode, LeafVisitor onLeaf,
                  MappedVisitor onMapped) override;

    /// Shows the data held to a visitor, field by field as a commit would write them.
    template <typename V>
    void VisitData(V& visit) const {
        fieldstore::BinaryTreeLayout::Visit(static_cast<const Tree&>(*tree), visit);
    }

    int CopyFrom(std::shared_ptr<IPOBase> source) override;
    void ClearData() override { tree = std::make_shared<Tree>(); }
    bool ValidateData() override { return !tree->nodeItems.empty(); }

protected:
    void SerializeData(IStreamer::EDirection direction) override;

private:
    struct Tree {
        int tag = 0;
        int idCount = 0;  // length of the identity list of VisitTree()
        int levelCount = 0;
        int leafCount = 0;
        fieldstore::ColumnMap<int, int> nodeItems;
        fieldstore::ColumnMap<int, int> mappedItems;
        Counters leafCounts1, leafCounts2, leafCounts3, leafCounts4, leafCounts5;
        std::vector<int> auxiliaryList;

        fieldstore::Span<const int> Items(int node) const;
        int LeafTotal(int leaf) const;
    };
    /// Number of the item list of the whole tree.
    static constexpr int kRootList = -1;

    // Replaced as a whole, never changed but for a read into a fresh one: a visit that is under way
    // keeps the tree it began with.
    std::shared_ptr<Tree> tree = std::make_shared<Tree>();
};

#endif
