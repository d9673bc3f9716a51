// SPDX-License-Identifier: Apache-2.0
#include "support.h"

namespace waveguide_tests {
namespace {

class StoreTest : public WaveguideTest {};

TEST_F(StoreTest, FourWorkersStoreTheSameDataAsOne) {
    const std::string options = "--tolerance 1e-3 --frequencies 8e9:12e9:150 ";
    Solve(options + "--workers 1");
    auto one = Load<IPOModeInfo>();
    Solve(options + "--workers 4 --force");
    auto four = Load<IPOModeInfo>();

    ASSERT_EQ(one->GetFrequencyCount(), 150);
    EXPECT_EQ(one->GetFrequencies().front(), 8e9);
    EXPECT_EQ(one->GetFrequencies().back(), 12e9);
    ASSERT_EQ(four->GetFrequencies(), one->GetFrequencies());
    for (int f = 0; f < 150; ++f) {
        for (int port = 0; port < 2; ++port) {
            ASSERT_EQ(one->GetModeValues(f, port).size(), 6U);
            EXPECT_EQ(four->GetModeValues(f, port), one->GetModeValues(f, port));
            EXPECT_EQ(four->GetVoltageMatrix(f, port, true), one->GetVoltageMatrix(f, port, true));
            EXPECT_EQ(four->GetCurrentMatrix(f, port, true), one->GetCurrentMatrix(f, port, true));
        }
    }
    EXPECT_FALSE(fs::exists(store + "/modeinfo.lck"));
}

TEST_F(StoreTest, MoreWorkersThanFrequenciesStoreEveryFrequencyOnce) {
    SolveQuickly("--workers 16");
    EXPECT_EQ(Load<IPOModeInfo>()->GetFrequencyCount(), 5);
    EXPECT_EQ(Report().status, 0);
}

TEST_F(StoreTest, MeansMaximaAndSumsComeFromTheSinglePasses) {
    Solve("--shape lshape --tolerance 1e-4 --frequencies 8e9:9e9:2");
    auto metrics = Load<IPOSolutionMetrics>();
    const auto values = [&metrics](int entityType, int valueType, std::size_t count) {
        std::vector<double> all;
        std::vector<std::uint32_t> indices;
        metrics->GetValues(entityType, 1, valueType, all, indices);
        EXPECT_EQ(all.size(), count * indices.size());
        return all;
    };
    // Per pass: elements, nodes, unknowns, change. Of the run: sum, maximum and mean of the nodes.
    const auto sizes = values(2, 1, 4);
    double sum = 0;
    double largest = 0;
    for (std::size_t i = 1; i < sizes.size(); i += 4) {
        sum += sizes[i];
        largest = std::max(largest, sizes[i]);
    }
    const double passes = static_cast<double>(sizes.size()) / 4;
    ASSERT_GT(passes, 3);
    EXPECT_EQ(values(1, 4, 1), std::vector<double>{sum});
    EXPECT_EQ(values(1, 5, 1), std::vector<double>{largest});
    EXPECT_NEAR(values(1, 6, 1).at(0), sum / passes, 1e-9);
    EXPECT_EQ(largest, static_cast<double>(NodeCount()));
}

TEST_F(StoreTest, DegreesOfFreedomAreMappedAndListedByPartition) {
    Solve("--width 20 --height 10 --divisions 8 --passes 1 --tolerance 0.1 --modes 2");
    // 8 x 4 cells: 9 * 5 corners; 9*4 + 8*5 + 32 edges; 24 edges and as many corners on the wall.
    auto map = Load<IPODOFMap>();
    ASSERT_EQ(map->GetDOFMap().size(), 45U + 108U);
    int fixed = 0;
    for (int node = 0; node < 153; ++node) {
        const bool isFixed = map->IsDOFType1(node);
        fixed += isFixed ? 1 : 0;
        EXPECT_EQ(map->GetDOFMap()[static_cast<std::size_t>(node)].empty(), isFixed);
    }
    EXPECT_EQ(fixed, 48);

    int listed = 0;
    for (int block = 0; block < 4; ++block) {
        auto list = NewObject<IPODOFList>(store);
        list->SetSelectedBlock(block);
        ASSERT_EQ(fieldstore::Storage(list).Load(), 0);
        EXPECT_EQ(list->GetBlockCount(), 4);
        EXPECT_EQ(list->GetTotal1(), 45 - 24);
        EXPECT_EQ(list->GetTotal2(), 108 - 24);
        EXPECT_EQ(list->GetTotal3(), 48);
        EXPECT_EQ(list->GetTotal4(), 153);
        EXPECT_EQ(list->GetDistinctDOFCount(), 153);
        EXPECT_EQ(list->GetBlockDOFCount((2 * block + 2) % 8), 0) << "of another block";
        for (const int partition : {2 * block, 2 * block + 1}) {
            // The cuts run through the median element, so that no part gets much more than another.
            EXPECT_GT(list->GetBlockDOFCount(partition), 153 / 8 / 3) << partition;
            EXPECT_LT(list->GetBlockDOFCount(partition), 153 / 8 * 2) << partition;
            listed += list->GetBlockDOFCount(partition);
        }
    }
    EXPECT_EQ(listed, 153);
}

TEST_F(StoreTest, EarlierResultsAreKeptUnlessForced) {
    SolveQuickly();
    const std::string before = ReadFile(store + "/solutiondata.dat");
    const Outcome refused = Run("solve '" + store + "' --shape circle");
    EXPECT_EQ(refused.status, 3);
    EXPECT_NE(refused.err.find("--force"), std::string::npos) << refused.err;
    EXPECT_EQ(ReadFile(store + "/solutiondata.dat"), before);

    Solve("--shape circle --force --tolerance 1e-3");
    const Outcome report = Report();
    EXPECT_EQ(report.status, 0) << report.out;
    EXPECT_NE(report.out.find("circle"), std::string::npos);
}

TEST_F(StoreTest, ADirectoryThatCannotBeUsedIsNamedWithCauseAndRemedy) {
    WriteFile(Path("file"), "not a directory");
    fs::create_directory(Path("locked"));
    fs::permissions(Path("locked"), fs::perms::owner_read | fs::perms::owner_exec);
    struct Case {
        std::string command;
        std::string directory;
        const char* expected;
    };
    std::vector<Case> cases = {
        {"report", Path("none"), "does not exist"},
        {"report", Path("file"), "not a directory"},
        {"solve", Path("none/below"), "cannot be created"},
        {"solve", Path("file"), "not a directory"},
        {"solve", "/proc/self", "cannot be written to"},  // not even by root
    };
    // Permissions do not stop root.
    if (geteuid() != 0) cases.push_back({"solve", Path("locked"), "cannot be written to"});
    for (const Case& given : cases) {
        const Outcome outcome = Run(given.command + " '" + given.directory + "'");
        EXPECT_EQ(outcome.status, 3) << given.directory;
        EXPECT_NE(outcome.err.find(given.directory + ": "), std::string::npos) << outcome.err;
        EXPECT_NE(outcome.err.find(given.expected), std::string::npos) << outcome.err;
        EXPECT_NE(outcome.err.find("Remedy:"), std::string::npos) << outcome.err;
    }
}

TEST_F(StoreTest, AWorkerThatCannotStoreSaysSo) {
    // A directory in place of the data file can be written by nobody, root included.
    SolveQuickly();
    fs::remove(store + "/modeinfo.dat");
    fs::create_directory(store + "/modeinfo.dat");
    const Outcome outcome = Run("worker '" + store + "' --share 0 --of 1");
    EXPECT_EQ(outcome.status, 3);
    EXPECT_NE(outcome.err.find("modeinfo.dat: the file cannot be written"), std::string::npos)
        << outcome.err;
    EXPECT_EQ(outcome.out, "");
}

TEST_F(StoreTest, AWrongCommandLineIsExplained) {
    const char* const wrong[] = {
        "",
        "solve",
        "report",
        "melt out",
        "solve out --shape hexagon",
        "solve out --order 3",
        "solve out --width nan",
        "solve out --height -1",
        "solve out --tolerance 0",
        "solve out --workers 0",
        "solve out --workers many",
        "solve out --frequencies 8e9",
        "solve out --frequencies 8e9:9e9:0",
        "solve out --frequencies 9e9:8e9:3",
        "solve out --frequencies 8:9:4",
        "solve out --frequencies 8e9:inf:4",
        "solve out --shape ridged --ridge-width 30",
    };
    for (const std::string arguments : wrong) {
        const Outcome outcome = Run(arguments);
        EXPECT_EQ(outcome.status, 2) << arguments;
        EXPECT_FALSE(outcome.err.empty()) << arguments;
    }
    for (const std::string arguments : {"--help", "solve --help", "report --help"}) {
        const Outcome outcome = Run(arguments);
        EXPECT_EQ(outcome.status, 0) << arguments;
        EXPECT_NE(outcome.out.find("Exit status"), std::string::npos) << arguments;
    }
}

}  // namespace
}  // namespace waveguide_tests
