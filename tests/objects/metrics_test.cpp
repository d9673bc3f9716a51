// SPDX-License-Identifier: Apache-2.0
// What solution metrics do with their data.

#include <limits>

#include "tests/objects/Object.h"
#include "tests/samples/Samples.h"

namespace {

using namespace support;

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

}  // namespace
