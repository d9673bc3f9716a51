// SPDX-License-Identifier: Apache-2.0
#include "support.h"

namespace waveguide_tests {
namespace {

const double pi = std::acos(-1.0);
constexpr double c0 = 299792458.0;
constexpr double eta0 = 376.730313668;

/// The guide sizes that the tests give, in metres.
constexpr double width = 0.020;
constexpr double height = 0.010;
constexpr double radius = 0.010;

struct OrderCase {
    const char* name;
    const char* options;
    int family;
    int rank;
    double exact;  ///< cutoff wave number, rad/m
    double order;  ///< of the error of k_c^2 in the edge length
};

void PrintTo(const OrderCase& value, std::ostream* out) {
    *out << value.name;
}

class ConvergenceTest : public WaveguideTest, public testing::WithParamInterface<OrderCase> {};

TEST_P(ConvergenceTest, CutoffsConvergeWithTheOrderOfTheElements) {
    const OrderCase& given = GetParam();
    Solve(std::string(given.options) +
          " --refine uniform --passes 4 --tolerance 1e-12 --modes 4 --frequencies 9e9:9e9:1");
    const auto cutoffs = Cutoffs(given.family, given.rank);
    ASSERT_EQ(cutoffs.size(), 4U);
    std::vector<double> errors;
    for (const double cutoff : cutoffs)
        errors.push_back(cutoff * cutoff / (given.exact * given.exact) - 1);
    for (std::size_t pass = 1; pass < errors.size(); ++pass) {
        // On a subspace the eigenvalues come from above; the arcs of a circle are met closely.
        EXPECT_GT(errors[pass], 0) << "pass " << pass + 1;
        EXPECT_LT(errors[pass], errors[pass - 1]) << "pass " << pass + 1;
    }
    EXPECT_NEAR(std::log2(errors[2] / errors[3]), given.order, 0.15);
}

// Zeros of J_0 and of the derivatives of J_1 and J_0, from tables.
INSTANTIATE_TEST_SUITE_P(
    Orders, ConvergenceTest,
    testing::Values(
        OrderCase{"RectangleTE10Linear", "--width 20 --height 10 --order 1", 0, 1, pi / width, 2},
        OrderCase{"RectangleTE10Quadratic", "--width 20 --height 10", 0, 1, pi / width, 4},
        OrderCase{"RectangleTM11Linear", "--width 20 --height 10 --order 1", 1, 1,
                  std::hypot(pi / width, pi / height), 2},
        OrderCase{"RectangleTM11Quadratic", "--width 20 --height 10", 1, 1,
                  std::hypot(pi / width, pi / height), 4},
        OrderCase{"CircleTE11Linear", "--shape circle --radius 10 --order 1", 0, 1,
                  1.841183781340659 / radius, 2},
        OrderCase{"CircleTE11Quadratic", "--shape circle --radius 10", 0, 1,
                  1.841183781340659 / radius, 4},
        OrderCase{"CircleTM01Quadratic", "--shape circle --radius 10", 1, 1,
                  2.404825557695773 / radius, 4}),
    testing::PrintToStringParamName());

class PhysicsTest : public WaveguideTest {};

TEST_F(PhysicsTest, BothOrientationsOfModesOfTheCircleAreFound) {
    Solve("--shape circle --radius 10 --refine uniform --passes 2 --tolerance 1e-12 --modes 5");
    // TE11 twice, TE21 twice, TE01: zeros of the derivatives of J_1, J_2 and J_0.
    const double zeros[] = {1.8412, 1.8412, 3.0542, 3.0542, 3.8317};
    for (int rank = 1; rank <= 5; ++rank)
        EXPECT_NEAR(Cutoffs(0, rank).back() * radius, zeros[rank - 1], 4e-3) << "TE " << rank;
}

TEST_F(PhysicsTest, AdaptiveMeshesBeatUniformOnesAtAReentrantCorner) {
    // First Neumann eigenvalue of three unit squares, as published, scaled to squares of 10 mm.
    const double exact = std::sqrt(1.475621824) / 0.010;
    Solve("--shape lshape --divisions 8 --refine uniform --passes 4 --tolerance 1e-12");
    const double uniformError = Cutoffs(0, 1).back() / exact - 1;
    const std::size_t uniformNodes = NodeCount();
    Solve("--shape lshape --divisions 8 --tolerance 1e-5 --force");
    EXPECT_LT(std::abs(Cutoffs(0, 1).back() / exact - 1), uniformError / 4);
    EXPECT_LT(NodeCount(), uniformNodes / 4);
}

TEST_F(PhysicsTest, TheFieldOfTheFirstModeIsACosineAcrossTheGuide) {
    Solve("--width 20 --height 10 --divisions 8 --modes 2 --passes 2");
    auto metrics = Load<IPOSolutionMetrics>();
    std::vector<double> xyz;
    std::vector<std::uint32_t> ids;
    metrics->GetNodes(xyz, ids);
    for (std::size_t i = 0; i < ids.size(); ++i) {
        std::vector<double> field;
        std::vector<std::uint32_t> passes;
        metrics->GetValues(5, ids[i], 1, field, passes);
        ASSERT_EQ(field.size(), 2U) << ids[i];
        EXPECT_NEAR(field[0], std::cos(pi * xyz[3 * i] / 0.020), 2e-3) << ids[i];
    }
}

TEST_F(PhysicsTest, MoreDivisionsNeverMakeACoarserFirstMesh) {
    std::size_t before = 0;
    for (const int divisions : {1, 2, 4, 6, 8, 12}) {
        Solve("--passes 1 --tolerance 0.1 --force --divisions " + std::to_string(divisions));
        EXPECT_GE(NodeCount(), before) << divisions;
        before = NodeCount();
    }
    EXPECT_EQ(before, 12U * 6 * 4 + 12 * 2 + 6 * 2 + 1);  // corners and edges of 12 x 6 cells
}

TEST_F(PhysicsTest, PassesEndWhenTheFirstCutoffChangesByLessThanTheTolerance) {
    Solve("--shape lshape --tolerance 1e-3");
    const auto first = Cutoffs(0, 1);
    ASSERT_GT(first.size(), 2U);
    for (std::size_t pass = 1; pass < first.size(); ++pass) {
        const bool settled = std::abs(first[pass] - first[pass - 1]) / first[pass] < 1e-3;
        EXPECT_EQ(settled, pass + 1 == first.size()) << "pass " << pass + 1;
    }
}

TEST_F(PhysicsTest, WavesAndMatricesAreThoseOfATextbook) {
    // 10 GHz is above the cutoff of TE10 and below that of TE20.
    Solve("--width 22.86 --height 10.16 --length 30 --frequencies 10e9:10e9:1 --modes 2");
    const double k = 2 * pi * 10e9 / c0;
    const double cutoff10 = pi / 0.02286;
    const double beta = std::sqrt(k * k - cutoff10 * cutoff10);
    const double alpha = std::sqrt(4 * cutoff10 * cutoff10 - k * k);
    const double z10 = eta0 * k / beta;   // real
    const double x20 = eta0 * k / alpha;  // Z = j x

    auto modes = Load<IPOModeInfo>();
    ASSERT_EQ(modes->GetFrequencies(), std::vector<double>{10e9});
    ASSERT_EQ(modes->GetPortCount(), 2);
    const auto gamma = modes->GetModeValues(0, 0);
    ASSERT_EQ(gamma.size(), 2U);
    EXPECT_NEAR(gamma[0].real(), 0, 1e-9);
    EXPECT_NEAR(gamma[0].imag(), beta, 1e-4 * beta);
    EXPECT_NEAR(gamma[1].real(), alpha, 1e-4 * alpha);
    const auto voltage = modes->GetVoltageMatrix(0, 0, true);
    const auto current = modes->GetCurrentMatrix(0, 0, true);
    EXPECT_NEAR((voltage[0] / current[0]).real(), z10, 1e-4 * z10);
    EXPECT_NEAR((voltage[3] / current[3]).imag(), x20, 1e-4 * x20);
    EXPECT_EQ(voltage[1], 0.0);

    // Modes of port 0, then of port 1. Without losses Z = -j Z0 cot(beta L), -j Z0 / sin(beta L).
    const auto reactance = Load<IPOCircuitMatrices>()->GetMatrix(0, 1, true);
    ASSERT_EQ(reactance.dimension, 4);
    const double angle = beta * 0.030;
    EXPECT_NEAR(reactance.values[0], -z10 / std::tan(angle), 1e-3 * z10);
    EXPECT_NEAR(reactance.values[2], -z10 / std::sin(angle), 1e-3 * z10);
    EXPECT_NEAR(reactance.values[5], x20 / std::tanh(alpha * 0.030), 1e-3 * x20);
}

struct ShapeCase {
    const char* name;
    const char* options;
    const char* label;  ///< of the first mode in the report
};

void PrintTo(const ShapeCase& value, std::ostream* out) {
    *out << value.name;
}

class ShapeTest : public WaveguideTest, public testing::WithParamInterface<ShapeCase> {};

TEST_P(ShapeTest, IsSolvedStoredAndConfirmedByTheReport) {
    Solve(std::string(GetParam().options) + " --tolerance 1e-4");
    const Outcome report = Report();
    EXPECT_EQ(report.status, 0) << report.out << report.err;
    EXPECT_NE(report.out.find(std::string("\n  ") + GetParam().label + " "), std::string::npos)
        << report.out;
    EXPECT_EQ(report.out.find("FAIL"), std::string::npos) << report.out;

    // Euler's formula for a section without holes, on what the library loads.
    auto mesh = Load<IPOMeshTree>();
    const auto corners = Load<IPOAssemblyInfo>()->GetNodeBasisCounts1().size();
    EXPECT_EQ(corners + mesh->GetIds().size(), mesh->GetIdPairs().size() + 1);
}

INSTANTIATE_TEST_SUITE_P(
    Shapes, ShapeTest,
    testing::Values(ShapeCase{"Rectangle", "", "TE10"},
                    ShapeCase{"RectangleLinear", "--order 1", "TE10"},
                    ShapeCase{"RectangleLossy", "--loss-tangent 0.02 --frequencies 4e9:9e9:7",
                              "TE10"},
                    ShapeCase{"Circle", "--shape circle", "TE11"},
                    ShapeCase{"CircleLinear", "--shape circle --order 1", "TE11"},
                    ShapeCase{"LShape", "--shape lshape", "TE#1"},
                    ShapeCase{"Ridged", "--shape ridged --ridge-width 5 --ridge-gap 3", "TE#1"}),
    testing::PrintToStringParamName());

TEST_F(PhysicsTest, ARidgeLowersTheFirstCutoff) {
    Solve("--shape ridged --ridge-width 6 --ridge-gap 4 --tolerance 1e-4");
    EXPECT_LT(Cutoffs(0, 1).back(), 0.75 * pi / 0.02286);
}

TEST_F(PhysicsTest, ARunThatDoesNotSettleIsNoSuccessForTheReport) {
    Solve("--passes 2 --tolerance 1e-12");
    const Outcome report = Report();
    EXPECT_EQ(report.status, 1);
    EXPECT_NE(report.out.find("FAIL  the passes converged"), std::string::npos) << report.out;
}

}  // namespace
}  // namespace waveguide_tests
