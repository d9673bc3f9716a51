// SPDX-License-Identifier: Apache-2.0
// What modes, ports and circuit matrices do with their data.

#include <cmath>
#include <limits>

#include "core/POBase.h"
#include "tests/objects/Object.h"

namespace {

using namespace support;

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
    const std::string end = support::InTextFile("\n");
    EXPECT_NE(log.find("Frequency 100 reported: trouble" + end), std::string::npos);
    EXPECT_NE(log.find("Frequency <unknown> reported: trouble" + end), std::string::npos);
}

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

}  // namespace
