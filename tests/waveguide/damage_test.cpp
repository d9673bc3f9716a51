// SPDX-License-Identifier: Apache-2.0
#include "support.h"

namespace waveguide_tests {
namespace {

class DamageTest : public WaveguideTest, public testing::WithParamInterface<const char*> {};

TEST_P(DamageTest, AMissingTornOrForeignFileIsNamed) {
    SolveQuickly();
    const std::string file = store + "/" + GetParam();
    const std::string whole = ReadFile(file);
    ASSERT_FALSE(whole.empty());
    for (const std::string& content : {whole.substr(0, whole.size() / 2), std::string("no data")}) {
        WriteFile(file, content);
        const Outcome report = Report();
        EXPECT_EQ(report.status, 3) << content.size() << " bytes\n" << report.out;
        EXPECT_NE(report.err.find(file + ": the file is damaged or incomplete"), std::string::npos)
            << report.err;
        EXPECT_NE(report.err.find("Remedy:"), std::string::npos) << report.err;
    }
    // Classes that append take an empty file for one without data; then the data are missed.
    WriteFile(file, "");
    const int status = Report().status;
    EXPECT_TRUE(status == 1 || status == 3) << status;

    fs::remove(file);
    const Outcome report = Report();
    EXPECT_EQ(report.status, 3);
    EXPECT_NE(report.err.find(file + ": the file is missing"), std::string::npos) << report.err;
    EXPECT_FALSE(fs::exists(file)) << "the report must not write";
}

TEST_P(DamageTest, WrongBitsNeverEndInASignalOrAnUnexplainedError) {
    SolveQuickly("--passes 1 --divisions 2");
    const std::string file = store + "/" + GetParam();
    const std::string whole = ReadFile(file);
    for (std::size_t sample = 0; sample < 16; ++sample) {
        std::string bent = whole;
        char& byte = bent[(2 * sample + 1) * whole.size() / 32];
        byte = static_cast<char>(byte ^ (1 << (sample * 5 % 8)));
        WriteFile(file, bent);
        const Outcome report = Report();
        EXPECT_TRUE(report.status == 0 || report.status == 1 || report.status == 3)
            << "sample " << sample << ", status " << report.status << "\n"
            << report.err;
        EXPECT_EQ(report.status == 1, report.out.find("MISMATCH") != std::string::npos);
    }
}

INSTANTIATE_TEST_SUITE_P(Files, DamageTest,
                         testing::Values("assemblyinfo.dat", "circuitmatrices.dat", "evdofmap.dat",
                                         "evtree.dat", "file1.dat", "file2.dat", "file3.dat",
                                         "modeinfo.dat", "solutiondata.dat"),
                         [](const auto& file) { return fs::path(file.param).stem().string(); });

/// Data that load well but are not those of the solve.
class MismatchTest : public WaveguideTest {
protected:
    void SetUp() override {
        WaveguideTest::SetUp();
        SolveQuickly();
        ASSERT_EQ(Report().status, 0);
    }

    /// Writes an object over its file, or behind what an append class has there.
    template <typename Interface>
    void Write(const std::shared_ptr<Interface>& object) {
        fieldstore::CreateStorage(fieldstore::Storage(object),
                                  fieldstore::StorageType::WriteDefault);
        ASSERT_EQ(fieldstore::Storage(object).Commit(true), 0);
    }

    void ExpectFailedCheck(const std::string& check) {
        const Outcome report = Report();
        EXPECT_EQ(report.status, 1) << report.out << report.err;
        EXPECT_NE(report.out.find("FAIL  " + check), std::string::npos) << report.out;
    }
};

TEST_F(MismatchTest, InMatrices) {
    auto matrices = NewObject<IPOCircuitMatrices>(store);
    auto values = Load<IPOCircuitMatrices>()->GetMatrix(0, 1, true).values;
    values[0] *= 1.0001;
    matrices->SetMatrix(8e9, 1, 0, 0, values);
    Write(matrices);
    ExpectFailedCheck("impedance matrices follow");
}

TEST_F(MismatchTest, InModalData) {
    auto modes = Load<IPOModeInfo>();
    const auto gamma = modes->GetModeValues(2, 1);
    const auto voltage = modes->GetVoltageMatrix(2, 1, true);
    const auto current = modes->GetCurrentMatrix(2, 1, true);
    const std::vector<std::vector<IPOModeInfo::Complex>> data = {
        {1.0001 * voltage[0], voltage[1], current[0], current[1]},
        {voltage[2], voltage[3], current[2], current[3]}};
    ASSERT_TRUE(modes->AddModeData(modes->GetFrequencies()[2], 1, gamma, {{0, 1}}, data));
    fs::remove(store + "/modeinfo.dat");
    Write(modes);
    ExpectFailedCheck("V/I is the wave impedance");
}

TEST_F(MismatchTest, InAFrequencyTooFew) {
    auto all = Load<IPOModeInfo>();
    auto some = NewObject<IPOModeInfo>(store);
    for (int f = 0; f < 4; ++f) {
        for (int port = 0; port < 2; ++port) {
            const auto v = all->GetVoltageMatrix(f, port, true);
            const auto i = all->GetCurrentMatrix(f, port, true);
            ASSERT_TRUE(some->AddModeData(all->GetFrequencies()[static_cast<std::size_t>(f)], port,
                                          all->GetModeValues(f, port), {{0, 1}},
                                          {{v[0], v[1], i[0], i[1]}, {v[2], v[3], i[2], i[3]}}));
        }
    }
    fs::remove(store + "/modeinfo.dat");
    Write(some);
    ExpectFailedCheck("every frequency has the modes");
}

TEST_F(MismatchTest, InPortDegreesOfFreedom) {
    auto ports = Load<IPOPortCircuitDOFs>();
    int counts[4] = {};
    std::map<int, int> table;
    ports->GetData(counts[0], counts[1], counts[2], counts[3], table);
    ++table[0];
    ports->SetData(counts[0], counts[1], counts[2], counts[3], table);
    Write(ports);
    ExpectFailedCheck("port and circuit degrees of freedom");
}

TEST_F(MismatchTest, InMeshTree) {
    auto mesh = Load<IPOMeshTree>();
    auto pairs = mesh->GetIdPairs();
    pairs.erase(pairs.begin());
    mesh->SetIdPairs(pairs);
    Write(mesh);
    ExpectFailedCheck("edges agree");
}

TEST_F(MismatchTest, InBisectionTree) {
    auto tree = Load<IPOBinaryTree>();
    std::map<int, std::set<int>> items;
    std::vector<int> whole;
    int node = 0;
    const auto keep = [&](int, int, const std::vector<int>& list) {
        items[node++].insert(list.begin(), list.end());
    };
    tree->VisitTree(whole, keep, keep, {});
    items[-1].insert(whole.begin(), whole.end());
    items[0].erase(*items[0].begin());
    const IPOBinaryTree::Counters none(8, 0);
    tree->SetTree(none, none, none, none, none, items, {}, 0, 0, {}, 4, 8);
    Write(tree);
    ExpectFailedCheck("the bisection tree");
}

TEST_F(MismatchTest, InElements) {
    auto assembly = NewObject<IPOAssemblyInfo>(store);
    const int next = Load<IPOAssemblyInfo>()->GetElementCount() + 1;
    assembly->AddElements({1}, [next](std::uint64_t, std::vector<int>& corners,
                                      std::vector<int>& edgeNodes, std::vector<int>&) {
        corners = {1, 2, 3};
        edgeNodes = {10, 11, 12};
        return -next;
    });
    Write(assembly);
    // The report may also find that node 10 is a corner; either way it is no success.
    const Outcome report = Report();
    EXPECT_TRUE(report.status == 1 || report.status == 3) << report.out;
}

TEST_F(MismatchTest, InDofMap) {
    auto map = Load<IPODOFMap>();
    auto rows = map->GetDOFMap();
    for (auto& row : rows) {
        if (!row.empty()) row[0].second = 1.5;
    }
    map->SetDOFMap(rows);
    Write(map);
    ExpectFailedCheck("the DOF map frees");
}

TEST_F(MismatchTest, InDofList) {
    auto list = NewObject<IPODOFList>(store);
    const auto none = [](std::vector<int>&) { return false; };
    const auto once = [given = false](std::vector<int>& record) mutable {
        record = {7, -1, -1, 0, 0};
        return !std::exchange(given, true);
    };
    list->SetSelectedBlock(-1);
    list->SetRecords(3, 2, {0, 0, 0, 0}, {4, 4, 4, 5}, 0, none, 0, none, 0, none, 1, once, {});
    Write(list);
    ExpectFailedCheck("the DOF list holds");
}

TEST_F(MismatchTest, InMetrics) {
    auto metrics = Load<IPOSolutionMetrics>();
    const auto cutoffs = Cutoffs(0, 1);
    metrics->AddValues(4, static_cast<std::uint32_t>(cutoffs.size()), 1, 1,
                       {1.0001 * cutoffs.back()});
    fs::remove(store + "/solutiondata.dat");
    Write(metrics);
    ExpectFailedCheck("solving again");
}

}  // namespace
}  // namespace waveguide_tests
