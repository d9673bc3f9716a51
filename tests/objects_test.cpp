// SPDX-License-Identifier: Apache-2.0
// What each class does with its own data, and the bytes it stores.

#include <cmath>
#include <filesystem>
#include <limits>
#include <stdexcept>

#include "core/POBase.h"
#include "samples.h"
#include "support.h"

namespace {

using support::Bytes;
using support::Raised;
using support::ReadFile;
using support::TempDirectory;
using support::WriteFile;
using Complex = std::complex<double>;
using Ints = std::vector<int>;
using Reals = std::vector<double>;

/// An object of a class with its own directory, seen through its interface.
template <typename Interface>
struct Object {
    Object() : typed(fieldstore::Create<Interface>()), base(fieldstore::Storage(typed)) {
        base.SetDirectory(directory.Path());
    }
    ~Object() { base.CreateStorageInterface(IPOBase::eWriteDataService, false); }
    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;

    Interface* operator->() { return typed.get(); }
    int Store(IPOBase::EStorageType type = IPOBase::eWriteDefault) {
        base.CreateStorageInterface(type, true);
        return base.Commit(true);
    }
    int StoreAndLoad() {
        const int stored = Store();
        return stored != 0 ? stored : base.Load();
    }
    std::string Stored() { return ReadFile(directory / base.GetFileName()); }

    TempDirectory directory;
    std::shared_ptr<Interface> typed;
    IPOBase& base;
};

// ---- bytes ----

Bytes& ComplexValues(Bytes& bytes, std::initializer_list<Complex> values) {
    bytes.I64(static_cast<std::int64_t>(values.size()));
    for (const Complex& value : values) bytes.F64(value.real()).F64(value.imag());
    return bytes;
}

std::string Integers(std::initializer_list<int> values) {
    Bytes bytes;
    for (const int value : values) bytes.I32(value);
    return bytes;
}

std::string Vector(std::initializer_list<int> values) {
    return std::string(Bytes().I64(static_cast<std::int64_t>(values.size()))) + Integers(values);
}

std::string ModeInfoBytes() {
    Bytes bytes;
    bytes.I64(1).I64(1'000'000'000).I32(1).I64(2).I32(0).F64(1).F64(2);
    ComplexValues(bytes, {{1, 0}, {2, 0}, {3, 0}, {4, 0}}).I32(1).F64(3).F64(4);
    return ComplexValues(bytes, {{5, 0}, {6, 0}, {7, 0}, {8, 0.1}});
}

std::string BinaryTreeBytes() {
    Bytes bytes;
    bytes.I32(7).I32(3).I32(2).I32(2);
    for (const int first : {1, 3, 5, 7, 9}) bytes.I64(2).I64(first).I64(first + 1);
    return bytes.I64(2)
        .I32(0)
        .Text(Vector({2, 4}))
        .I32(1)
        .Text(Vector({5}))
        .I64(1)
        .I32(6)
        .Text(Vector({9, 8}))
        .Text(Vector({11, 12}));
}

std::string Count(std::int64_t number) {
    return Bytes().I64(number);
}

std::string RealVector(std::initializer_list<double> values) {
    Bytes bytes;
    bytes.I64(static_cast<std::int64_t>(values.size()));
    for (const double value : values) bytes.F64(value);
    return bytes;
}

std::string MetricsBytes() {
    return Integers({9, 1, 2, 3, -294967296}) + Count(1) + Integers({12, 2, 3}) + Count(1) +
           Integers({12, 0, 0}) + RealVector({1.5, 2.5}) + Count(2) + Integers({1}) + Vector({2}) +
           Integers({2}) + Vector({1}) + Count(2) + Integers({1}) + RealVector({0, 0, 0}) +
           Integers({2}) + RealVector({1, 0, 0.5}) + Count(1) + Integers({1}) + Vector({1, 2});
}

TEST(Bytes, OfEveryClass) {
    const std::map<std::string, std::string> expected{
        {"POModeInfo", ModeInfoBytes()},
        {"PODOFMap",
         Bytes().I64(3).I64(2).I32(1).F64(0.5).I32(0).F64(0).I64(1).I32(0).F64(2).I64(0).Text(
             Vector({0, 1, 7}))},
        {"POCircuitMatrices",
         Bytes().I64(1).I64(2'000'000'000).I32(3).I64(4).F64(1).F64(2).F64(3).F64(0.25)},
        {"POMeshTree", std::string(Bytes().I64(2)) + Integers({3, 5, 4, 9}) + Vector({-5, 3, 8})},
        {"PODOFList", Integers({5, 77, 1, 2, 3, 4, 3}) + Vector({0, 1, 2, 3, 5, 9}) +
                          Integers({3}) + Vector({0, 30, 31}) + Integers({3}) + Vector({3, -1, 7}) +
                          Integers({4}) + Vector({0, 20, -1, 5, 2, 10, 12, 4})},
        {"POBinaryTree", BinaryTreeBytes()},
        {"POPortCircuitDOFs", Integers({2, 1, 1, 1}) + std::string(Bytes().I64(5)) +
                                  Integers({0, 10, 1, 11, 2, 12, 3, 13, 4, 14})},
        {"POSolutionMetrics", MetricsBytes()},
        {"POAssemblyInfo", Vector({-5, 7}) + Count(2) + Integers({5}) + Vector({1, 1, 2}) +
                               Integers({7}) + Vector({1, 1, 2}) + Count(2) + Integers({5}) +
                               Vector({5}) + Integers({7}) + Vector({7}) + Count(2) +
                               Integers({5}) + Vector({4}) + Integers({7}) + Vector({4})}};
    const TempDirectory directory;
    for (const std::string& name : samples::ClassNames()) {
        const auto object = samples::New(name);
        samples::Fill(*object);
        object->SetDirectory(directory.Path());
        object->CreateStorageInterface(IPOBase::eWriteBinary, true);
        ASSERT_EQ(object->Commit(false), 0);
        EXPECT_EQ(ReadFile(directory / object->GetFileName()), expected.at(name)) << name;
    }
}

TEST(Bytes, InTextMode) {
    const std::map<std::string, std::string> expected{
        {"POModeInfo",
         "1\n1000000000 1\n2\n0 1 2 4\n1 0\n2 0\n3 0\n4 0\n"
         "1 3 4 4\n5 0\n6 0\n7 0\n8 0.1\n"},
        {"POPortCircuitDOFs", "2\n1\n1\n1\n5\n0 10\n1 11\n2 12\n3 13\n4 14\n"},
        {"POBinaryTree",
         "7\n3\n2\n2\n2\n1\n2\n2\n3\n4\n2\n5\n6\n2\n7\n8\n2\n9\n10\n"
         "2\n0 2\n2 4 1 1\n5 1\n6 2\n9 8 2\n11 12 "}};
    const TempDirectory directory;
    for (const auto& [name, text] : expected) {
        const auto object = samples::New(name);
        samples::Fill(*object);
        object->SetDirectory(directory.Path());
        object->CreateStorageInterface(IPOBase::eWriteText, true);
        ASSERT_EQ(object->Commit(false), 0);
        EXPECT_EQ(ReadFile(directory / object->GetFileName()), text) << name;
    }
}

// ---- mode information ----

TEST(ModeInfo, TakesOnlyModesThatFit) {
    const double infinite = std::numeric_limits<double>::infinity();
    struct Case {
        double frequency;
        std::vector<Ints> groups;
        std::size_t values;
        std::size_t data;
        bool taken;
    };
    const Case cases[] = {{1, {{0, 1}, {2}}, 3, 3, true},
                          {1, {{1, 2}}, 2, 2, false},
                          {1, {{0}, {0}}, 1, 1, true},
                          {1, {{0, 5}}, 2, 2, false},
                          {1, {{0}}, 0, 1, false},
                          {1, {}, 0, 0, false},
                          {1, {{0, 1}}, 5, 2, true},
                          {1, {{0}}, 1, 2, false},
                          {std::nan(""), {{0}}, 1, 1, false},
                          {infinite, {{0}}, 1, 1, false},
                          {9.3e18, {{0}}, 1, 1, false},
                          {-9.2e18, {{0}}, 1, 1, true}};
    for (const Case& c : cases) {
        Object<IPOModeInfo> modes;
        EXPECT_EQ(modes->AddModeData(c.frequency, 1, std::vector<Complex>(c.values), c.groups,
                                     std::vector<std::vector<Complex>>(c.data)),
                  c.taken);
        EXPECT_EQ(modes->GetPortCount(), c.taken ? 1 : 0);
    }
}

TEST(ModeInfo, GivesMatricesByFrequencyAfterALoad) {
    Object<IPOModeInfo> modes;
    const auto add = [&](double frequency, int port, std::vector<std::vector<Complex>> data) {
        return modes->AddModeData(frequency, port, {7.0, 8.0}, {{0, 1}}, data);
    };
    add(100.9, 1, {{0}, {0}});
    add(100.2, 1, {{11, 12, 13, 14}, {21, 22, 23, 24}});  // replaces the first
    add(200, 2, {{1, 2, 3, 4, 5}, {1, 2}});               // odd and short
    EXPECT_EQ(modes->GetFrequencyCount(), 0) << "only a load fills the list";
    ASSERT_EQ(modes.StoreAndLoad(), 0);
    EXPECT_EQ(modes->GetFrequencies(), (Reals{100, 200}));
    EXPECT_EQ(modes->GetPortCount(), 2);
    using Matrix = std::vector<Complex>;
    EXPECT_EQ(modes->GetVoltageMatrix(0, 1, true), (Matrix{11, 12, 21, 22}));
    EXPECT_EQ(modes->GetVoltageMatrix(0, 1, false), (Matrix{11, 21, 12, 22}));
    EXPECT_EQ(modes->GetCurrentMatrix(0, 1, true), (Matrix{13, 14, 23, 24}));
    EXPECT_EQ(modes->GetModeValues(0, 1), (Matrix{7, 8}));
    EXPECT_EQ(modes->GetVoltageMatrix(1, 2, true), (Matrix{1, 2, 1}));
    EXPECT_EQ(modes->GetCurrentMatrix(1, 2, false), (Matrix{3, 2, 4, 0}));
    for (const auto& [index, port] : {std::pair(-1, 1), {2, 1}, {0, 2}})
        EXPECT_TRUE(modes->GetVoltageMatrix(index, port, false).empty() &&
                    modes->GetModeValues(index, port).empty());

    // A later body does not replace the first one of a key; ports must agree over frequencies.
    add(100, 1, {{99, 99}, {99, 99}});
    ASSERT_EQ(modes.StoreAndLoad(), 0);
    EXPECT_EQ(modes->GetVoltageMatrix(0, 1, true), (Matrix{11, 12, 21, 22}));
    add(100, 5, {{0}, {0}});
    EXPECT_EQ(modes.Store(), 1);
    auto& base = dynamic_cast<POBase&>(modes.base);
    base.LogError("trouble");
    base.ClearData();
    base.LogError("trouble");
    const std::string log = ReadFile(modes.directory / "modeinfo.err");
    EXPECT_NE(log.find("Frequency 100 reported: trouble\n"), std::string::npos);
    EXPECT_NE(log.find("Frequency <unknown> reported: trouble\n"), std::string::npos);
}

// ---- DOF map ----

const IPODOFMap::ResolveResult kResolved{{IPODOFMap::eType1}, {{{0, 3.0}}}};

TEST(DOFMap, TransposesAndKeepsTheResult) {
    Object<IPODOFMap> map;
    map->SetDOFMap({{{1, 0.5}, {0, 0.0}}, {{0, 2.0}}});
    EXPECT_EQ(map->GetTransposedDOFMap(), (IPODOFMap::Rows{{{1, 2.0}}, {{0, 0.5}}}));
    map->SetDOFMap({{{0, std::nan("")}}, {}});
    EXPECT_EQ(map->GetTransposedDOFMap(), (IPODOFMap::Rows{{{1, 2.0}}, {{0, 0.5}}})) << "stale";
    map->SetDOFMap({{{0, std::nan("")}}});
    EXPECT_TRUE(std::isnan(map->GetTransposedDOFMap().at(0).at(0).second));
    for (const int column : {-1, 2}) {
        map->SetDOFMap({{{0, 1.0}}, {{column, 1.0}}});
        EXPECT_EQ(Raised([&] { map->GetTransposedDOFMap(); }),
                  "Invalid column index in PODOFMap object.");
    }
    map->SetDOFTypes({IPODOFMap::eType0, IPODOFMap::eType1, IPODOFMap::EDOFType(2)});
    const auto answers = [&](int i) { return std::pair(map->IsDOFType0(i), map->IsDOFType1(i)); };
    EXPECT_EQ(answers(0), std::pair(1, false));
    EXPECT_EQ(answers(1), std::pair(0, true));
    for (const int i : {-1, 2, 3}) EXPECT_EQ(answers(i), std::pair(0, false));
}

TEST(DOFMap, ResolvesOnceAndStoresTheResult) {
    Object<IPODOFMap> map;
    int calls = 0;
    map->SetResolveFunction([&] {
        ++calls;
        map->GetDOFMap();  // calling back neither recurses nor harms
        map->ResolveDOFMap();
        map->SetResolveFunction(nullptr);
        return kResolved;
    });
    EXPECT_EQ(map->GetDOFMap(), kResolved.second);
    EXPECT_EQ(map->GetDOFTypes(), kResolved.first);
    EXPECT_EQ(calls, 1);
    EXPECT_THROW(map->ResolveDOFMap(), std::bad_function_call);
    const auto again = fieldstore::Create<IPODOFMap>();
    fieldstore::Storage(again).SetDirectory(map.directory.Path());
    EXPECT_EQ(again->GetDOFTypes(), kResolved.first) << "loaded, not resolved";
    EXPECT_EQ(again->GetDOFMap(), kResolved.second);
    EXPECT_EQ(again->GetDOFTypes(), kResolved.first);
}

TEST(DOFMap, DoesNotReplaceStoredDataByNothing) {
    for (const bool raises : {false, true}) {
        Object<IPODOFMap> map;
        map->SetDOFMap(kResolved.second);
        ASSERT_EQ(map.Store(IPOBase::eWriteText), 0);
        const std::string stored = map.Stored();
        const auto other = fieldstore::Create<IPODOFMap>();
        fieldstore::Storage(other).SetDirectory(map.directory.Path());
        if (raises)
            other->SetResolveFunction(
                []() -> IPODOFMap::ResolveResult { throw std::runtime_error("no"); });
        other->GetDOFMap();  // the text file does not load as binary
        EXPECT_EQ(map.Stored(), stored);
    }
    Object<IPODOFMap> emptied;
    emptied->SetDOFTypes({});
    EXPECT_TRUE(emptied->GetDOFMap().empty() && emptied->GetDOFTypes().empty());
    EXPECT_TRUE(emptied->GetTransposedDOFMap().empty());
    EXPECT_TRUE(std::filesystem::is_empty(emptied.directory.Path())) << "set, so not asked for";
    for (const auto& half : {IPODOFMap::ResolveResult(kResolved.first, {}),
                             IPODOFMap::ResolveResult({}, kResolved.second)}) {
        Object<IPODOFMap> map;
        map->SetResolveFunction([&half] { return half; });
        map->GetDOFMap();
        EXPECT_FALSE(map.Stored().empty()) << "one without the other is something";
    }
    Object<IPODOFMap> fresh;
    EXPECT_TRUE(fresh->GetDOFMap().empty());
    EXPECT_EQ(fresh.Stored(), std::string(16, '\0')) << "nothing was there, so nothing is stored";
}

// ---- mesh tree ----

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

// ---- binary tree ----

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

// ---- solution metrics ----

TEST(Metrics, ResolveFunctionsCombineVectors) {
    Object<IPOSolutionMetrics> metrics;
    const auto& table = metrics->GetResolveFunctions();
    ASSERT_EQ(table.size(), 6u);
    const Reals existing{1, 5}, incoming{3, 2, 4, -1}, none;
    const double lowest = std::numeric_limits<double>::lowest();
    EXPECT_EQ(table.at(0)(2, existing, incoming), incoming);
    EXPECT_EQ(table.at(1)(2, existing, incoming), (Reals{1, 5, 3, 2, 4, -1}));
    EXPECT_EQ(table.at(2)(2, existing, {1, 1}), (Reals{2, 6}));
    EXPECT_EQ(table.at(3)(2, existing, incoming),
              (Reals{1. / 3 + 3. / 3 + 4. / 3, 5. / 3 + 2. / 3 - 1. / 3}));
    EXPECT_EQ(table.at(4)(2, existing, incoming), (Reals{4, 5}));
    EXPECT_EQ(table.at(4)(3, existing, {}), (Reals{1, 5, lowest}));
    EXPECT_EQ(table.at(5)(2, existing, incoming), (Reals{1, -1}));
    EXPECT_EQ(Raised([&] { table.at(2)(2, existing, incoming); }),
              "Existing and new values have different sizes.");
    for (const int id : {3, 4, 5}) {
        EXPECT_EQ(table.at(id)(0, none, none), none);
        EXPECT_EQ(Raised([&] { table.at(id)(0, existing, {}); }), "Inconsistent data.");
        EXPECT_EQ(Raised([&] { table.at(id)(2147483647, existing, {}); }), "Inconsistent data.");
    }
}

TEST(Metrics, CheckWhatIsAdded) {
    Object<IPOSolutionMetrics> metrics;
    const auto add = [&](int entity, int value, Reals values) {
        return Raised([&] { metrics->AddValues(entity, 0, 1, value, values); });
    };
    for (const int entity : {-1, 300000000, 214748365})
        EXPECT_EQ(add(entity, 0, {}), "Invalid entity/value type combination.");
    EXPECT_EQ(add(1, 2, {1}), "Resolve function and value counts not defined.");
    EXPECT_EQ(Raised([&] { metrics->DefineValues(1, 2, 3, 6); }), "Invalid resolve function id.");
    metrics->DefineValues(1, 2, 3, 3);
    EXPECT_EQ(add(1, 2, {1}), "Amount of data inconsistent with previous additions.");
    const auto stored = [&] {
        Reals values;
        std::vector<std::uint32_t> indices;
        metrics->GetValues(1, 1, 2, values, indices);
        return values;
    };
    EXPECT_EQ(add(0, 12, {1, 5, 3}), "") << "the same combination as (1, 2)";
    EXPECT_EQ(add(1, 2, {9, 9, 9}), "");
    EXPECT_EQ(stored(), (Reals{1, 5, 3})) << "a mean is computed by a load only";
    metrics->DefineValues(1, 2, 3, 4);
    add(1, 2, {2, 2, 2});
    EXPECT_EQ(stored(), (Reals{2, 5, 3}));
    metrics->AddValues(1, 5, 2, 2, {6, 6, 6});
    metrics->DefineValues(1, 3, 1, 0);
    metrics->AddValues(1, 0, 1, 3, {8});
    EXPECT_EQ(stored(), (Reals{2, 5, 3})) << "neither of another entity nor of another type";
    std::vector<std::uint32_t> entities;
    metrics->GetEntityIds(1, 2, entities);
    EXPECT_EQ(entities, (std::vector<std::uint32_t>{1, 2}));
    metrics->DefineValues(1, 2, 3, 1);
    add(1, 2, {7, 7, 7});
    EXPECT_EQ(Raised(stored), "Inconsistent data.");
}

TEST(Metrics, MergeBodiesOnLoad) {
    struct Case {
        int function;
        Reals expected;
    };
    const Case cases[] = {{0, {3, 6}}, {2, {4, 8}}, {3, {2, 4}}, {4, {3, 6}}, {5, {1, 2}}};
    for (const Case& c : cases) {
        Object<IPOSolutionMetrics> metrics;
        metrics->AddEdge(1, {1, 2});
        metrics->DefineValues(0, 1, 2, c.function);
        metrics->AddValues(0, 4, 4000000000u, 1, {1, 2});
        ASSERT_EQ(metrics.StoreAndLoad(), 0) << "the graph follows from the edges";
        EXPECT_EQ(metrics->BuildNodeNeighbors(), 0u);
        const auto second = fieldstore::Create<IPOSolutionMetrics>();
        IPOBase& storage = fieldstore::Storage(second);
        storage.SetDirectory(metrics.directory.Path());
        second->DefineValues(0, 1, 2, c.function);
        second->AddValues(0, 4, 4000000000u, 1, {3, 6});
        second->AddValues(0, 3000000000u, 4000000000u, 1, {0, 0});
        second->AddNode(4000000000u, {1, 2, 3}, {7});
        second->AddNode(5, {4, 5, 6, 7}, {});
        storage.CreateStorageInterface(IPOBase::eWriteDefault, true);
        ASSERT_EQ(storage.Commit(false), 0);
        ASSERT_EQ(storage.Load(), 0);
        Reals values, xyz;
        std::vector<std::uint32_t> indices, entities, nodes;
        second->GetValues(0, 4000000000u, 1, values, indices);
        second->GetEntityIds(0, 1, entities);
        second->GetNodes(xyz, nodes);
        EXPECT_EQ(values, (Reals{c.expected[0], c.expected[1], 0, 0})) << c.function;
        EXPECT_EQ(indices, (std::vector<std::uint32_t>{4, 3000000000u}));
        EXPECT_EQ(entities, std::vector<std::uint32_t>{4000000000u});
        EXPECT_EQ(nodes, (std::vector<std::uint32_t>{5, 4000000000u}));
        EXPECT_EQ(xyz, (Reals{4, 5, 6, 1, 2, 3}));
        second->DefineValues(0, 1, 3, c.function);
        storage.CreateStorageInterface(IPOBase::eWriteDefault, true);
        ASSERT_EQ(storage.Commit(false), 0);
        EXPECT_EQ(storage.Load(), 1) << "another definition";
    }
}

TEST(Metrics, AreTheSameInWhateverOrderTheyAreAdded) {
    constexpr std::uint32_t count = 5000, step = 1237;  // without a common divisor
    const auto fill = [](IPOSolutionMetrics& metrics, std::uint32_t factor) {
        metrics.DefineValues(1, 0, 1, IPOSolutionMetrics::eSum);
        for (int time = 0; time < 2; ++time) {
            for (std::uint32_t i = 0; i < count; ++i) {
                const std::uint32_t id = i * factor % count;
                const std::uint32_t first = id + 1, second = id + 2,
                                    other = time == 0 ? first : second;
                metrics.AddValues(1, id % 7, id, 0, {0.5 * id});
                metrics.AddNode(id, {1.0 * id, 0, 0}, {other});
                metrics.AddEdge(id, {static_cast<int>(id), static_cast<int>(second)});
            }
        }
    };
    Object<IPOSolutionMetrics> ordered, shuffled;
    fill(*ordered.typed, 1);
    fill(*shuffled.typed, step);
    Reals values;
    std::vector<std::uint32_t> indices;
    shuffled->GetValues(1, 4003, 0, values, indices);
    EXPECT_EQ(values, Reals{4003});
    EXPECT_EQ(indices, (std::vector<std::uint32_t>{4003 % 7}));
    ASSERT_EQ(ordered.Store(), 0);
    ASSERT_EQ(shuffled.StoreAndLoad(), 0);
    EXPECT_TRUE(shuffled.Stored() == ordered.Stored());
    // Header, definition; entries of 28 bytes for values, of 28 for two neighbours, 36 for
    // positions and 20 for edges, each kind behind its count.
    EXPECT_EQ(ordered.Stored().size(), 20u + 20u + 4 * 8u + count * (28u + 20u + 36u + 20u));
    ASSERT_EQ(shuffled.Store(), 0);  // appends what was loaded
    EXPECT_TRUE(shuffled.Stored() == ordered.Stored() + ordered.Stored());
    std::vector<int> offsets;
    std::vector<std::uint32_t> neighbors;
    shuffled->GetNodeNeighbors(offsets, neighbors);
    ASSERT_EQ(neighbors.size(), 2 * count);
    EXPECT_EQ(neighbors[2 * 777], 778u);
    EXPECT_EQ(neighbors[2 * 777 + 1], 779u);
}

TEST(Metrics, LoadWhatIsInAnyOrderInTheFile) {
    Object<IPOSolutionMetrics> metrics;
    const auto entries = [](std::initializer_list<std::string> parts) {
        std::string all = Count(static_cast<std::int64_t>(parts.size()));
        for (const std::string& part : parts) all += part;
        return all;
    };
    // The second entry of a key does not count; neighbours that come twice or in disorder do once.
    WriteFile(
        metrics.directory / metrics.base.GetFileName(),
        Integers({0, 0, 0, 0, 0}) + entries({Integers({10, 1, IPOSolutionMetrics::eMax})}) +
            entries({Integers({10, 0, 5}) + RealVector({5}), Integers({10, 0, 3}) + RealVector({3}),
                     Integers({10, 0, 4}) + RealVector({4}),
                     Integers({10, 0, 3}) + RealVector({9})}) +
            entries({Integers({2}) + Vector({9, 7, 7}), Integers({1}) + Vector({2})}) +
            entries({}) + entries({}));
    ASSERT_EQ(metrics.base.Load(), 0);
    for (const std::uint32_t entity : {3u, 4u, 5u}) {
        Reals values;
        std::vector<std::uint32_t> indices;
        metrics->GetValues(1, entity, 0, values, indices);
        EXPECT_EQ(values, Reals{1.0 * entity});
    }
    std::vector<int> offsets;
    std::vector<std::uint32_t> neighbors;
    metrics->GetNodeNeighbors(offsets, neighbors);
    EXPECT_EQ(neighbors, (std::vector<std::uint32_t>{2, 7, 9}));
}

TEST(Metrics, RefuseAFunctionThatDoesNotExist) {
    Object<IPOSolutionMetrics> metrics;
    const std::string body = MetricsBytes();
    constexpr std::size_t function = 5 * 4 + 8 + 2 * 4;  // header, count, key and value count
    std::string other = body;
    other[function] = 6;
    const auto load = [&](const std::string& content) {
        WriteFile(metrics.directory / metrics.base.GetFileName(), content);
        return metrics.base.Load();
    };
    EXPECT_EQ(load(body + body), 0);
    EXPECT_EQ(load(other + other), 1);
}

TEST(Metrics, MergeNothingLongerThanWhatGoesIntoIt) {
    // A body with one value, or none, under one key, and a definition of `count` values.
    const auto body = [](int count, int function, std::initializer_list<double> values) {
        return Integers({9, 1, 2, 3, 4}) + Count(1) + Integers({12, count, function}) + Count(1) +
               Integers({12, 0, 0}) + RealVector(values) + Count(0) + Count(0) + Count(1) +
               Integers({1}) + Vector({1, 2});
    };
    struct Case {
        int count;
        int function;
        int result;
        Reals values;
    };
    const Case cases[] = {{1 << 24, 4, 1, {}}, {1 << 24, 5, 1, {}}, {3, 4, 1, {}},  {-1, 4, 1, {}},
                          {2, 4, 0, {7, -1}},  {2, 5, 0, {5, -1}},  {1, 4, 0, {7}}, {1, 5, 0, {5}}};
    for (const Case& c : cases) {
        Object<IPOSolutionMetrics> metrics;
        WriteFile(metrics.directory / metrics.base.GetFileName(),
                  c.count == 2 ? body(2, c.function, {5, -1}) + body(2, c.function, {7})
                               : body(c.count, c.function, {5}) + body(c.count, c.function, {7}));
        Reals values;
        std::vector<std::uint32_t> indices;
        ASSERT_EQ(metrics.base.Load(), c.result) << c.count << ' ' << c.function;
        if (c.result == 0) metrics->GetValues(1, 0, 2, values, indices);
        EXPECT_EQ(values, c.values) << c.function;
    }
}

TEST(Metrics, TakeNothingFromABodyWithoutData) {
    Object<IPOSolutionMetrics> metrics;
    const std::string path = metrics.directory / metrics.base.GetFileName();
    WriteFile(path, MetricsBytes());
    ASSERT_EQ(metrics.base.Load(), 0);
    const std::string held = samples::Describe(metrics.base);
    for (const bool first : {false, true}) {
        Object<IPOSolutionMetrics> empty;
        empty->SetHeaderId(77);
        ASSERT_EQ(empty.Store(), 0);
        WriteFile(path, first ? empty.Stored() + MetricsBytes() : MetricsBytes() + empty.Stored());
        ASSERT_EQ(metrics.base.Load(), 0);
        EXPECT_EQ(samples::Describe(metrics.base), held);
    }
}

TEST(Metrics, BuildTheGraphFromItsEdges) {
    Object<IPOSolutionMetrics> metrics;
    std::vector<int> offsets{77}, edges;
    std::vector<std::uint32_t> list, ids;
    metrics->GetNodeNeighbors(offsets, list);
    EXPECT_EQ(offsets, (Ints{0, 0}));
    EXPECT_EQ(metrics->BuildNodeNeighbors(), 1u);
    EXPECT_EQ(metrics.StoreAndLoad(), 1) << "without a graph nothing loads";
    metrics->AddNode(1, {0, 0}, {9, 8});
    metrics->AddNode(3, {0, 0, 0}, {9});
    metrics->AddNode(1, {5, 5, 5}, {});
    metrics->GetNodeNeighbors(offsets, list);
    EXPECT_EQ(offsets, (Ints{0, 2, 2, 3, 3}));
    EXPECT_EQ(list, (std::vector<std::uint32_t>{8, 9, 9}));
    Reals xyz;
    EXPECT_EQ(Raised([&] { metrics->GetNodes(xyz, ids); }), "Inconsistent data.");
    metrics->AddEdge(4, {1, 3});
    metrics->AddEdge(3000000000u, {3, 5});
    EXPECT_EQ(metrics->BuildNodeNeighbors(), 0u);
    metrics->GetNodeNeighbors(offsets, list);
    EXPECT_EQ(offsets, (Ints{0, 1, 1, 3, 3, 4, 4}));
    metrics->GetEdges(edges);
    EXPECT_EQ(edges, (Ints{4, 1, 3, -1294967296, 3, 5}));
    metrics->AddEdge(2, {1, 2, 3});
    EXPECT_EQ(metrics->BuildNodeNeighbors(), 1u);
    EXPECT_EQ(Raised([&] { metrics->GetEdges(edges); }), "Inconsistent edge node counts.");
    metrics->AddNode(4000000000u, {0, 0, 0}, {1});
    EXPECT_EQ(Raised([&] { metrics->GetNodeNeighbors(offsets, list); }), "Inconsistent data.")
        << "a list with a place for each id would be too long";
}

// ---- port and circuit DOFs ----

TEST(PortCircuitDOFs, ListByPosition) {
    Object<IPOPortCircuitDOFs> ports;
    ports->SetData(2, 1, 1, 1, {{0, 10}, {1, 11}, {3, 13}, {4, 14}});
    EXPECT_EQ(ports->GetPortDOFs(), (IPOPortCircuitDOFs::DOFLists{{{1, 10}}, {{2, 11}}}));
    EXPECT_EQ(ports->GetCircuitDOFs(), (IPOPortCircuitDOFs::DOFLists{{{1, 13}}, {{2, 14}}}));
    Ints counts(4);
    std::map<int, int> table;
    EXPECT_EQ(ports->GetData(counts[0], counts[1], counts[2], counts[3], table), 0);
    EXPECT_EQ(counts, (Ints{2, 1, 1, 1}));
    EXPECT_EQ(table, (std::map<int, int>{{0, 10}, {1, 11}, {3, 13}, {4, 14}}));
    ports->SetData(5, 6, 7, 8, {});
    EXPECT_EQ((Ints{ports->GetPortDOFCount(), ports->GetOffsetDOFCount(),
                    ports->GetCircuitDOFCount1(), ports->GetCircuitDOFCount2()}),
              (Ints{5, 6, 7, 8}));
    ports->SetData(1, 0, 2, 0, {{1, 5}});
    EXPECT_EQ(Raised([&] { ports->GetPortDOFs(); }), "Invalid index for port DOFs.");
    EXPECT_EQ(Raised([&] { ports->GetCircuitDOFs(); }), "Invalid index for circuit DOFs.");
    constexpr int most = std::numeric_limits<int>::max();
    ports->SetData(most, most, most, most, {{0, 1}});
    EXPECT_EQ(Raised([&] { ports->GetCircuitDOFs(); }), "Invalid index for circuit DOFs.");
    struct Case {
        int counts[4];
        bool table;
        bool valid;
    };
    const Case cases[] = {{{1, 0, 0, 0}, false, false}, {{0, 9, 0, 0}, false, true},
                          {{0, 9, 0, 0}, true, false},  {{-1, 0, 0, 1}, true, true},
                          {{0, 0, 1, 0}, true, true},   {{-1, -1, -1, -1}, false, true}};
    for (const Case& c : cases) {
        ports->SetData(c.counts[0], c.counts[1], c.counts[2], c.counts[3],
                       c.table ? std::map<int, int>{{0, 1}} : std::map<int, int>());
        EXPECT_EQ(ports.Store(), c.valid ? 0 : 1);
    }
    EXPECT_TRUE(ports->GetPortDOFs().empty() && ports->GetCircuitDOFs().empty());
}

// ---- circuit matrices ----

TEST(CircuitMatrices, AreGivenAsStoredOrTransposed) {
    Object<IPOCircuitMatrices> matrices;
    const Reals nine{1, 2, 3, 4, 5, 6, 7, 8, 9};
    matrices->SetMatrix(1.9e9 + 0.7, 3, 0, 0, {1});
    matrices->SetMatrix(1.9e9 + 0.2, 3, 8, 9, nine);
    matrices->SetMatrix(5, 3, 0, 0, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10});
    matrices->SetMatrix(5, 4, 0, 0, {});
    matrices->SetMatrix(std::nan(""), 3, 0, 0, {-1});
    matrices->SetMatrix(1e300, 3, 0, 0, {-2});
    ASSERT_EQ(matrices.StoreAndLoad(), 0);
    ASSERT_EQ(matrices->GetFrequencyCount(), 4);
    const Reals transposed{1, 4, 7, 2, 5, 8, 3, 6, 9};
    EXPECT_EQ(matrices->GetFrequency(2), 1.9e9);
    EXPECT_EQ(matrices->GetMatrix(2, 3, true).values, nine);
    for (const int index : {1, 2}) {
        const auto matrix = matrices->GetMatrix(index, 3, false);
        EXPECT_EQ(matrix.values, transposed) << "a tenth value is left out";
        EXPECT_EQ(matrix.dimension, 3);
    }
    EXPECT_EQ(matrices->GetMatrix(0, 3, true).values, Reals{-1});
    EXPECT_EQ(matrices->GetMatrix(3, 3, true).values, Reals{-2});
    for (const auto& [index, type] : {std::pair(-1, 3), {4, 3}, {1, 4}, {1, 9}}) {
        const auto matrix = matrices->GetMatrix(index, type, false);
        EXPECT_TRUE(matrix.values.empty() && matrix.dimension == 0);
    }
    EXPECT_EQ(matrices->GetFrequency(4), 0.0);
    EXPECT_EQ(matrices->GetFrequency(-1), 0.0);
    // The later body wins.
    matrices->SetMatrix(5, 3, 0, 0, {6});
    ASSERT_EQ(matrices.StoreAndLoad(), 0);
    EXPECT_EQ(matrices->GetMatrix(1, 3, true).values, Reals{6});
}

// ---- assembly information ----

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
    EXPECT_EQ(Raised([&] { assembly->AddElements({9, 99}, query); }), "map::at");
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

// ---- DOF list ----

IPODOFList::Source From(std::vector<Ints> records) {
    return [records = std::move(records), next = std::size_t{0}](Ints& record) mutable {
        if (next == records.size()) return false;
        record = records[next++];
        return true;
    };
}

/// Owners 0 to 5 in three blocks, with an extra entry per kind-2 record.
void FillBlocked(IPODOFList& list) {
    list.SetExtraWidth(1);
    list.SetRecords(6, 1, {0, 0, 0, 0}, {4, 4, 3, 3}, 0, From({{5, 1, 9, 70}, {-1, 2, 2, 71}}), 0,
                    From({{4, 3, 3, 80}, {1, 4, 4, 81}, {0, 5, 5, 81}}), 0, From({}), 0,
                    From({{5, -1, 0}, {2, 6, 6}}), {40, 10, 0});
    list.SetSelectedBlock(-1);
}

TEST(DOFList, StoresBlocksBehindAnIndex) {
    Object<IPODOFList> list;
    samples::Fill(list.base);
    list->SetSelectedBlock(-1);
    ASSERT_EQ(list.Store(), 0);
    const auto raw = [](std::initializer_list<int> values) {
        return std::string(Bytes().I64(static_cast<std::int64_t>(4 * values.size()))) +
               Integers(values);
    };
    const std::string expected = Integers({5, 77, 4, 3, 3, 3, 1, 2, 3, 4, 0}) +
                                 std::string(Bytes()
                                                 .I64(36)
                                                 .I32(2)
                                                 .I32(6)
                                                 .Text("0")
                                                 .Zeros(5)
                                                 .I64(88)
                                                 .Text("1")
                                                 .Zeros(5)
                                                 .I64(200)
                                                 .I64(1)
                                                 .I64(1)
                                                 .I64(0)
                                                 .I64(1)) +
                                 raw({0, 20, -1, 5}) + raw({0, 30, 31}) + raw({}) + raw({0, 1, 2}) +
                                 raw({}) + std::string(Bytes().I64(1).I64(0).I64(1).I64(1)) +
                                 raw({2, 10, 12, 4}) + raw({}) + raw({3, -1, 7}) + raw({3, 5, 9}) +
                                 raw({});
    EXPECT_EQ(list.Stored(), expected);
    ASSERT_EQ(list.Store(), 0) << "again and again";
    EXPECT_EQ(list.Stored(), expected);
    const auto block = fieldstore::Create<IPODOFList>();
    fieldstore::Storage(block).SetDirectory(list.directory.Path());
    block->SetSelectedBlock(1);
    EXPECT_EQ(fieldstore::Storage(block).Load(), 0);
    EXPECT_EQ(list.Store(IPOBase::eWriteText), 1);
    EXPECT_EQ(list.Stored(), expected) << "checked before the file is opened";
}

TEST(DOFList, ReadsOneBlockAlone) {
    Object<IPODOFList> list;
    FillBlocked(*list.typed);
    EXPECT_EQ(list->GetBlockCount(), 3);
    EXPECT_EQ(list->GetBlockDOFCount(5), 9);
    ASSERT_EQ(list.Store(), 0);
    struct Case {
        int block;
        IPODOFList::Flat records1, records2, extra2, records4;
        IPODOFList::Ids ids2;
    };
    const Case cases[] = {{0, {-1, 2, 2}, {1, 4, 4, 0, 5, 5}, {10, 0}, {}, {{81, 0}}},
                          {1, {}, {}, {}, {2, 6}, {}},
                          {2, {5, 1, 9}, {4, 3, 3}, {40}, {5, -1}, {{80, 0}}}};
    for (const Case& c : cases) {
        list->SetSelectedBlock(c.block);
        ASSERT_EQ(list.base.Load(), 0);
        EXPECT_EQ(list->GetBlockCount(), 3);
        IPODOFList::Flat records1{9}, records2, records3, records4, extra2;
        IPODOFList::Ids ids1, ids2, ids3;
        EXPECT_EQ(list->ExtractBlock(nullptr, records4, nullptr, records2, ids2, extra2, nullptr,
                                     records3, ids3, nullptr, records1, ids1),
                  0);
        EXPECT_EQ(records1, c.records1);
        EXPECT_EQ(records2, c.records2);
        EXPECT_EQ(extra2, c.extra2);
        EXPECT_EQ(records4, c.records4);
        EXPECT_EQ(ids2, c.ids2);
        const std::string stored = list.Stored();
        for (const int form : {c.block, -2}) {
            list->SetSelectedBlock(form);
            EXPECT_EQ(list.Store(), 1) << "one block must not erase the others";
            EXPECT_EQ(list.Stored(), stored);
        }
    }
    const std::string whole = list.Stored();
    list->SetSelectedBlock(2);
    for (std::size_t length = 0; length < whole.size(); ++length) {
        WriteFile(list.directory / "file2.dat", whole.substr(0, length));
        EXPECT_EQ(list.base.Load(), 1) << length;
    }
    for (std::size_t at = 0; at < whole.size(); ++at) {
        for (const int bits : {0x41, 0x80}) {
            std::string changed = whole;
            changed[at] = static_cast<char>(changed[at] ^ bits);
            WriteFile(list.directory / "file2.dat", changed);
            for (int block = -1; block < 3; ++block) {
                list->SetSelectedBlock(block);
                list.base.Load();
            }
        }
    }
}

TEST(DOFList, RefusesWhatDoesNotFit) {
    Object<IPODOFList> list;
    samples::Fill(list.base);
    const std::string before = samples::Describe(list.base);
    const auto set = [&](std::array<int, 4> widths, std::vector<Ints> kind2,
                         IPODOFList::Flat extra) {
        return Raised([&] {
            list->SetRecords(1, 0, {}, widths, 0, From({}), 0, From(kind2), 0, From({}), 0,
                             From({}), extra);
        });
    };
    const std::string mismatch = "Data size mismatch in PDOFList object.";
    EXPECT_EQ(set({3, 4, 3, 3}, {{0, 1, 2}}, {}), mismatch);
    EXPECT_EQ(set({3, 3, -1, 3}, {{0, 1, 2}}, {}), mismatch);
    EXPECT_EQ(set({3, 3, 3, 3}, {{0, 1, 2}, {0, 1}}, {}), mismatch);
    EXPECT_EQ(set({3, 3, 3, 3}, {{0, 1, 2}}, {7}), mismatch);
    const auto broken = [](Ints&) -> bool { throw 1; };
    EXPECT_EQ(list->SetRecords(1, 0, {}, {}, 0, broken, 0, From({}), 0, From({}), 0, From({}), {}),
              1);
    EXPECT_EQ(list->LoadRecords(1, {}, 0, From({}), 0, nullptr, 0, From({}), 0, From({})), 1);
    EXPECT_EQ(samples::Describe(list.base), before) << "nothing has changed";

    EXPECT_EQ(list->LoadRecords(9, {4, 3, 2, 1}, 1 << 30, From({{0, 1, 2}, {0, 1}, {1, 3, 5}}), -1,
                                From({}), 0, From({}), 0, From({})),
              1)
        << "one was left out";
    EXPECT_EQ(list->GetBlockDOFCount(1), 3);
    EXPECT_EQ(list->GetDistinctDOFCount(), 5);
    EXPECT_EQ((std::array<int, 4>{list->GetTotal1(), list->GetTotal2(), list->GetTotal3(),
                                  list->GetTotal4()}),
              (std::array<int, 4>{1, 3, 2, 4}));
    EXPECT_EQ(list->VisitRecords(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                 nullptr, nullptr),
              1);
    Object<IPODOFList> empty;
    EXPECT_EQ(empty.Store(), 1) << "no width is known";
    IPODOFList::Records rows;
    IPODOFList::Flat flat;
    IPODOFList::Ids ids;
    const auto extract = [&](IPODOFList& from) {
        return from.ExtractBlock(nullptr, flat, nullptr, flat, ids, flat, nullptr, flat, ids,
                                 nullptr, flat, ids);
    };
    const auto sizes = [](auto, auto, auto, auto) {};
    const auto ignore = [](const Ints&) {};
    const auto visit = [&](IPODOFList& from, const IPODOFList::Visitor& last) {
        return from.VisitRecords(sizes, nullptr, ignore, nullptr, ignore, nullptr, ignore, nullptr,
                                 last);
    };
    const auto exportAll = [&](IPODOFList& from, const IPODOFList::Sizes& first) {
        return from.ExportRecords(first, nullptr, nullptr, rows, nullptr, rows, nullptr, rows,
                                  nullptr);
    };
    EXPECT_EQ(
        Ints({extract(*empty.typed), visit(*empty.typed, ignore), exportAll(*empty.typed, sizes)}),
        Ints({1, 1, 1}));
    EXPECT_EQ(
        Ints({extract(*list.typed), visit(*list.typed, ignore), exportAll(*list.typed, sizes)}),
        Ints({0, 0, 0}));
    EXPECT_EQ(visit(*list.typed, nullptr), 1);
    EXPECT_EQ(exportAll(*list.typed, nullptr), 1);
    list->SetSelectedBlock(-1);
    flat = {7};
    EXPECT_EQ(extract(*list.typed), 0);
    EXPECT_EQ(flat, Ints{7}) << "a header has no records";
    EXPECT_EQ(list->Reserved(), 0);
    EXPECT_EQ(list->LoadRecords(9, {4, 3, 2, 1}, 0, From({{0, 1, 2}}), 0, From({}), 0, From({}), 0,
                                From({})),
              0);
}

TEST(DOFList, StoresNoBlocksThatItCouldNotReadBack) {
    struct Case {
        const char* what;
        Ints record;  // of kind 2
        int extraWidth;
        Ints extra;
        int result;
    };
    const Case cases[] = {{"three blocks", {4, 1, 2}, 0, {}, 0},
                          {"an extra entry each", {4, 1, 2}, 1, {7}, 0},
                          {"an extra entry too few", {4, 1, 2}, 2, {7}, 1},
                          {"a width that is none", {4, 1, 2}, -1, {}, 1},
                          {"more blocks than names", {200'000, 1, 2}, 0, {}, 1}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Object<IPODOFList> list;
        list->SetExtraWidth(static_cast<int>(c.extra.size()));
        list->SetSelectedBlock(-1);
        ASSERT_EQ(list->SetRecords(1, 0, {}, {3, 3, 3, 3}, 0, From({}), 0, From({c.record}), 0,
                                   From({}), 0, From({c.record}), c.extra),
                  0);
        list->SetExtraWidth(c.extraWidth);
        EXPECT_EQ(list.Store(), c.result);
    }
    // A file of the whole list whose last entry makes no record.
    Object<IPODOFList> list;
    WriteFile(list.directory / list.base.GetFileName(),
              Integers({-1, 0, 0, 0, 0, 0, 3}) + Vector({3, 1, 1, 7}) + Integers({3}) + Vector({}) +
                  Integers({3}) + Vector({}) + Integers({4}) + Vector({}));
    ASSERT_EQ(list.base.Load(), 0);
    list->SetSelectedBlock(-1);
    const std::string stored = list.Stored();
    EXPECT_EQ(list.Store(), 1);
    EXPECT_EQ(list.Stored(), stored);
}

TEST(DOFList, KeepsNoExtraEntriesOfAnotherList) {
    Object<IPODOFList> list;
    FillBlocked(*list.typed);
    ASSERT_EQ(list.Store(), 0);
    Object<IPODOFList> whole;
    samples::Fill(whole.base);
    ASSERT_EQ(whole.Store(), 0);
    list->SetSelectedBlock(2);
    ASSERT_EQ(list.base.Load(), 0);
    list->SetSelectedBlock(-2);
    WriteFile(list.directory / "file2.dat", whole.Stored());
    ASSERT_EQ(list.base.Load(), 0);
    for (const auto& stored : {list.typed, whole.typed}) stored->SetSelectedBlock(-1);
    ASSERT_EQ(list.Store(), 0) << "what was held before does not stand in the way";
    ASSERT_EQ(whole.Store(), 0);
    EXPECT_EQ(list.Stored(), whole.Stored());
}

TEST(DOFList, ExportsRecordsAndTheHighestDOF) {
    Object<IPODOFList> list;
    FillBlocked(*list.typed);
    IPODOFList::Records rows1(1), rows2, rows3;
    int highest = -1, count4 = -1;
    const auto sizes = [&](auto, auto second, auto, auto) {
        rows2.resize(static_cast<std::size_t>(second.first) + 1);
    };
    ASSERT_EQ(list->ExportRecords(sizes, &highest, nullptr, rows1, nullptr, rows2, nullptr, rows3,
                                  &count4),
              0);
    EXPECT_EQ(rows1, (IPODOFList::Records{{-1, 2, 2, 71}, {5, 1, 9, 70}}));
    EXPECT_EQ(rows2.size(), 4u);
    EXPECT_TRUE(rows3.empty());
    EXPECT_EQ(highest, 5) << "owners of the last block and above do not count";
    EXPECT_EQ(count4, 2);
    // Distinct DOFs are counted kind by kind from the records when the header does not know them.
    const std::string file = list.directory / "file2.dat";
    WriteFile(file, Integers({-1, 0, 0, 0, 0, 0, 3}) + Vector({3, 1, 1}) + Integers({3}) +
                        Vector({0, 1, 1000000, 0, 999999, 1000001}) + Integers({3}) +
                        Vector({0, 1, -1, 0, 2147483647, 2147483647}) + Integers({4}) +
                        Vector({0, 5, 4, 0, 1, 7, 9, 0}));
    list->SetSelectedBlock(-2);
    ASSERT_EQ(list.base.Load(), 0);
    EXPECT_EQ(list->GetBlockCount(), 2);
    EXPECT_EQ(list->GetDistinctDOFCount(), 1000001 + 2);
}

}  // namespace
