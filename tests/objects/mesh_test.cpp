// SPDX-License-Identifier: Apache-2.0
// What the mesh tree, the binary tree and assembly information do with their data.

#include <limits>

#include "tests/objects/Object.h"

namespace {

using namespace support;

TEST(MeshTree, TestsPairsInNormalOrderAndUnitesIdsOnLoad) {
    Object<IPOMeshTree> tree;
    tree->SetIdPairs({{3, 5}, {9, 7}});
    tree->SetIds({1});
    EXPECT_TRUE(tree->ContainsIdPair(5, 3) && tree->ContainsIdPair(3, 5));
    EXPECT_FALSE(tree->ContainsIdPair(3, 4) || tree->ContainsIdPair(9, 7));
    EXPECT_FALSE(tree->ContainsId(0));
    ASSERT_EQ(tree.Store(), 0);
    tree->SetIds({2});
    tree->SetIdPairs({{0, 0}});
    ASSERT_EQ(tree.base.Load(), 0);
    EXPECT_EQ(tree->GetIds(), (std::set<int>{1, 2}));
    EXPECT_EQ(tree->GetIdPairs(), (std::set<std::pair<int, int>>{{3, 5}, {9, 7}}));
}

TEST(MeshTree, TakesNoIdsFromALoadThatFails) {
    Object<IPOMeshTree> tree;
    tree->SetIds({7, 123});
    ASSERT_EQ(tree.Store(IPOBase::eWriteText), 0);
    const std::string stored = tree.Stored();  // ends with "7\n123\n"
    tree->SetIds({1});
    for (const std::size_t cut : {2u, 3u, 5u}) {
        WriteFile(tree.directory / tree.base.GetFileName(), stored.substr(0, stored.size() - cut));
        tree.base.CreateStorageInterface(IPOBase::eReadText, false);
        EXPECT_EQ(tree.base.Load(), 1);
        EXPECT_EQ(tree->GetIds(), std::set<int>{1});
    }
}

struct Visits {
    std::vector<std::tuple<int, int, Ints>> nodes, leaves;
    Ints ids{42};
    int mapped = 0;

    explicit Visits(IPOBinaryTree& tree) {
        tree.VisitTree(
            ids, [&](int l, int i, const Ints& items) { nodes.emplace_back(l, i, items); },
            [&](int i, int total, const Ints& items) { leaves.emplace_back(i, total, items); },
            [&](int, const Ints&) { ++mapped; });
    }
};

TEST(BinaryTree, IsWalkedLevelByLevel) {
    Object<IPOBinaryTree> tree;
    const std::uint64_t large = (std::uint64_t{1} << 32) + 5;
    tree->SetTree({large, 1}, {7}, {}, {}, {}, {{0, {3, 1}}, {2, {4}}, {6, {9}}, {-1, {8}}}, {}, 0,
                  5, {}, 3, 4);
    const Visits visits(*tree.typed);
    using Seen = std::vector<std::tuple<int, int, Ints>>;
    EXPECT_EQ(visits.nodes, (Seen{{0, 0, {1, 3}}, {1, 0, {}}, {1, 1, {4}}}));
    EXPECT_EQ(visits.leaves, (Seen{{0, 12, {}}, {1, 1, {}}, {2, 0, {}}, {3, 0, {9}}}));
    EXPECT_EQ(visits.ids, Ints{8}) << "the list of the whole tree";

    struct Case {
        int levelCount;
        int idCount;
        std::map<int, Ints> mapped;
        std::size_t nodes;
        Ints ids;
    };
    const Case cases[] = {{1, 3, {{6, {1}}}, 0, {0, 1, 2}},
                          {-5, -3, {{6, {1}}}, 0, {}},
                          {std::numeric_limits<int>::min(), 3, {}, 0, {42}}};
    for (const Case& c : cases) {
        tree->SetTree({}, {}, {}, {}, {}, {{0, {1}}}, c.mapped, 0, c.idCount, {}, c.levelCount, 1);
        const Visits other(*tree.typed);
        EXPECT_EQ(other.nodes.size(), c.nodes);
        EXPECT_EQ(other.leaves, (Seen{{0, 0, {1}}})) << "leaves start at node 0";
        EXPECT_EQ(other.ids, c.ids);
        EXPECT_EQ(other.mapped, static_cast<int>(c.mapped.size()));
    }
    for (const int levelCount : {32, 33, std::numeric_limits<int>::max()}) {
        tree->SetTree({}, {}, {}, {}, {}, {{0, {1}}}, {}, 0, 0, {}, levelCount, 2);
        EXPECT_EQ(Raised([&] { Visits again(*tree.typed); }),
                  "Invalid level count in POBinaryTree object.");
    }
}

TEST(BinaryTree, MayChangeDuringAVisitAndCopiesItsTagAsIdCount) {
    Object<IPOBinaryTree> tree;
    tree->SetTree({1}, {}, {}, {}, {}, {{0, {1}}}, {{1, {2}}}, 7, 9, {}, 2, 2);
    int leaves = 0;
    Ints ids;
    tree->VisitTree(
        ids,
        [&](int, int, const Ints&) { tree->SetTree({}, {}, {}, {}, {}, {}, {}, 0, 0, {}, 0, 0); },
        [&](int, int, const Ints&) { ++leaves; }, [](int, const Ints&) {});
    EXPECT_EQ(leaves, 2);
    EXPECT_EQ(tree.Store(), 1) << "a tree without nodes is not valid";
    tree->SetTree({1}, {}, {}, {}, {}, {{0, {1}}}, {{1, {2}}}, 7, 9, {}, 1, 1);
    Object<IPOBinaryTree> copy;
    EXPECT_EQ(copy.base.CopyFrom(std::dynamic_pointer_cast<IPOBase>(tree.typed)), 0);
    EXPECT_EQ(Visits(*copy.typed).ids.size(), 7u);
    EXPECT_THROW(tree->VisitTree(ids, nullptr, nullptr, nullptr), std::bad_function_call);
}

TEST(AssemblyInfo, CollectsElementsAndChecksThem) {
    Object<IPOAssemblyInfo> assembly;
    constexpr int smallest = std::numeric_limits<int>::min();
    std::map<std::uint64_t, std::pair<int, Ints>> known{
        {7, {2, {1, 1, 2}}}, {8, {-1, {2, 3}}}, {9, {2, {4}}}, {10, {smallest, {1}}}};
    int calls = 0;
    const auto query = [&](std::uint64_t handle, Ints& nodes, Ints&, Ints& third) {
        ++calls;
        third.push_back(static_cast<int>(handle));
        nodes = known.at(handle).second;
        return known.at(handle).first;
    };
    assembly->AddElements({7, 0, 8}, query);
    EXPECT_EQ(calls, 2);
    using Counts = IPOAssemblyInfo::BasisCounts;
    EXPECT_EQ(assembly->GetNodeBasisCounts1(), (Counts{{1, 2}, {2, 1}, {3, 1}}));
    EXPECT_TRUE(assembly->GetNodeBasisCounts2().empty());
    EXPECT_EQ(assembly->GetNodeBasisCounts3().size(), 2u);
    EXPECT_EQ(assembly->GetElementNodeCount3(0), 1);
    EXPECT_TRUE(assembly->GetElementNodes2(0).empty());
    EXPECT_THROW(assembly->AddElements({9, 99}, query), std::out_of_range);
    EXPECT_EQ(assembly->GetElementCount(), 2) << "a query that raises changes nothing";
    EXPECT_THROW(assembly->AddElements({1}, nullptr), std::bad_function_call);
    ASSERT_EQ(assembly.StoreAndLoad(), 0);
    EXPECT_EQ(assembly->GetElementId(0), 1) << "sorted by id";
    EXPECT_FALSE(assembly->GetElementFlag(0));
    EXPECT_TRUE(assembly->GetElementFlag(1));
    EXPECT_EQ(assembly->GetElementNodes1(1), (Ints{1, 1, 2}));
    EXPECT_EQ(assembly->GetElementNodeCount1(0), 2);
    EXPECT_EQ(assembly->GetElementNodes3(0), Ints{8});
    for (const int index : {-1, 2})
        EXPECT_THROW(assembly->GetElementNodeCount2(index), std::out_of_range);

    assembly->AddElements({10}, query);
    EXPECT_EQ(assembly->GetElementId(2), std::numeric_limits<int>::max());
    EXPECT_EQ(Raised([&] { assembly->GetNodeBasisCounts1(); }),
              "Inconsistent basis counts for node.");
    assembly->AddElements({9}, query);  // id 2 again
    EXPECT_EQ(assembly->GetElementCount(), 4);
    EXPECT_EQ(assembly->GetElementNodes1(3), (Ints{1, 1, 2})) << "the first lists stay";
    WriteFile(assembly.directory / assembly.base.GetFileName(),
              Vector({6}) + std::string(3 * 8, '\0'));
    ASSERT_EQ(assembly.base.Load(), 0);
    EXPECT_TRUE(assembly->GetElementNodes1(0).empty()) << "an element without lists";
    assembly.base.DeleteStorage();
    assembly->AddElements({7, 9}, query);
    EXPECT_EQ(assembly.StoreAndLoad(), 1) << "an element twice";
}

}  // namespace
