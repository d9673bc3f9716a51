// SPDX-License-Identifier: Apache-2.0
#ifndef WAVEGUIDE_TESTS_SUPPORT_H
#define WAVEGUIDE_TESTS_SUPPORT_H

#include <fieldstore/fieldstore.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/wait.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

/// The tests run the program as a user does and look at its output, its exit status and what the
/// library loads back from the store.
namespace waveguide_tests {

namespace fs = std::filesystem;

inline std::string ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

inline void WriteFile(const std::string& path, const std::string& content) {
    std::ofstream(path, std::ios::binary) << content;
}

struct Outcome {
    int status = -1;  ///< exit status; -1 when a signal ended the program
    std::string out;
    std::string err;
};

class WaveguideTest : public testing::Test {
protected:
    void SetUp() override {
        std::string name = (fs::temp_directory_path() / "waveguide-XXXXXX").string();
        ASSERT_NE(mkdtemp(name.data()), nullptr);
        directory_ = name;
        store = Path("store");
    }
    void TearDown() override { fs::remove_all(directory_); }

    std::string Path(const std::string& name) const { return directory_ + "/" + name; }

    Outcome Run(const std::string& arguments) const {
        const std::string line = "'" WAVEGUIDE_PROGRAM "' " + arguments + " >'" + Path("out") +
                                 "' 2>'" + Path("err") + "' </dev/null";
        const int result = std::system(line.c_str());
        return {WIFEXITED(result) ? WEXITSTATUS(result) : -1, ReadFile(Path("out")),
                ReadFile(Path("err"))};
    }

    /// Solves into the store of the test and expects success.
    void Solve(const std::string& options) const {
        const Outcome outcome = Run("solve '" + store + "' " + options);
        ASSERT_EQ(outcome.status, 0) << outcome.err;
    }

    /// A few modes on a coarse mesh, for tests that care about the files.
    void SolveQuickly(const std::string& options = "") const {
        Solve("--modes 2 --tolerance 1e-2 --frequencies 8e9:12e9:5 " + options);
    }

    Outcome Report() const { return Run("report '" + store + "'"); }

    template <typename Interface>
    std::shared_ptr<Interface> NewObject(const std::string& directory) const {
        auto object = fieldstore::Create<Interface>();
        fieldstore::Storage(object).SetDirectory(directory + "/");
        return object;
    }

    template <typename Interface>
    std::shared_ptr<Interface> Load() const {
        auto object = NewObject<Interface>(store);
        EXPECT_EQ(fieldstore::Storage(object).Load(), 0);
        return object;
    }

    /// Cutoff wave numbers in rad/m of mode `rank` (from 1) of a family (0 TE, 1 TM), by pass.
    std::vector<double> Cutoffs(int family, int rank) const {
        std::vector<double> values;
        std::vector<std::uint32_t> passes;
        const int modes = 4;
        const int cutoff = 1;
        Load<IPOSolutionMetrics>()->GetValues(
            modes, static_cast<std::uint32_t>(1000 * family + rank), cutoff, values, passes);
        return values;
    }

    /// The number of nodes in the last mesh.
    std::size_t NodeCount() const {
        std::vector<double> xyz;
        std::vector<std::uint32_t> ids;
        Load<IPOSolutionMetrics>()->GetNodes(xyz, ids);
        return ids.size();
    }

    std::string store;

private:
    std::string directory_;
};

}  // namespace waveguide_tests

#endif
