// SPDX-License-Identifier: Apache-2.0
#include "support.h"

namespace waveguide_tests {
namespace {

class MeshFileTest : public WaveguideTest {
protected:
    Outcome SolveMesh(const std::string& content, const std::string& options = "") const {
        WriteFile(Path("section.msh"), content);
        return Run("solve '" + store + "' --mesh '" + Path("section.msh") + "' " + options);
    }
};

// A rectangle of 20 x 10 in two triangles, one of them clockwise, with what mesh files have besides
// triangles: names, a point, lines, a node that nothing uses, tags.
const std::string version2 =
    "$MeshFormat\n2.2 0 8\n$EndMeshFormat\n"
    "$PhysicalNames\n1\n2 1 \"section $Nodes\"\n$EndPhysicalNames\n"
    "$Nodes\n5\n1 0 0 0\n2 20 0 0\n3 2e1 1.0E+1 0\n7 0 10 0\n9 5 5 8\n$EndNodes\n"
    "$Elements\n4\n1 15 2 0 1 1\n2 1 2 0 1 1 2\n3 2 2 1 1 1 2 3\n4 2 4 1 1 1 2 1 7 3\n"
    "$EndElements\n";

const std::string version4 =
    "$MeshFormat\r\n4.1 0 8\r\n$EndMeshFormat\r\n"
    "$Entities\r\n1 0 1 0\r\n1 0 0 0 0\r\n1 0 0 0 20 10 0 0 0\r\n$EndEntities\r\n\r\n"
    "$Nodes\r\n2 5 1 9\r\n0 1 0 1\r\n1\r\n0 0 0\r\n"
    "2 1 1 4\r\n2\r\n3\r\n7\r\n9\r\n20 0 0 20 0\r\n20 10 0 20 10\r\n0 10 0 0 10\r\n5 5 8 5 5\r\n"
    "$EndNodes\r\n"
    "$Elements\r\n2 3 1 3\r\n1 1 1 1\r\n1 1 2\r\n2 1 2 2\r\n2 1 2 3\r\n3 1 7 3\r\n"
    "$EndElements\r\n$Periodic\r\n0\r\n$EndPeriodic\r\n";

std::string Replaced(std::string text, const std::string& from, const std::string& to) {
    const std::size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    return text.replace(at, from.size(), to);
}

TEST_F(MeshFileTest, BothFormatsGiveTheRectangleThatTheyDescribe) {
    for (const std::string& content : {version2, version4}) {
        const Outcome outcome =
            SolveMesh(content, "--shape rectangle --width 20 --height 10 --tolerance 1e-4 --force");
        ASSERT_EQ(outcome.status, 0) << outcome.err;
        const Outcome report = Report();
        EXPECT_EQ(report.status, 0) << report.out;
        EXPECT_NE(report.out.find("TE10 "), std::string::npos);
    }
}

TEST_F(MeshFileTest, WithoutAShapeNothingIsComparedWithClosedForms) {
    const Outcome outcome = SolveMesh(version2, "--unit 1 --frequencies 1e7:2e7:3");
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    // In metres the first cutoff is pi / 20.
    EXPECT_NEAR(Cutoffs(0, 1).back(), std::acos(-1.0) / 20, 1e-5);
    const Outcome report = Report();
    EXPECT_EQ(report.status, 0) << report.out;
    EXPECT_NE(report.out.find("TE#1"), std::string::npos);
}

TEST_F(MeshFileTest, AMeshOfAnotherSectionThanNamedIsAMismatch) {
    ASSERT_EQ(SolveMesh(version2, "--shape rectangle --width 21 --height 10").status, 0);
    const Outcome report = Report();
    EXPECT_EQ(report.status, 1);
    EXPECT_NE(report.out.find("FAIL  the cutoffs"), std::string::npos) << report.out;
    EXPECT_NE(report.out.find("FAIL  the elements cover"), std::string::npos) << report.out;
}

TEST_F(MeshFileTest, WhatIsNotUnderstoodIsNamedWithItsLine) {
    struct Case {
        std::string content;
        const char* expected;
    };
    const Case cases[] = {
        {"", "cannot be read or is empty"},
        {"solid cube\n", "line 1: this is not a Gmsh mesh file"},
        {Replaced(version2, "2.2 0 8", "4 0 8"), "line 2: Gmsh format 4 is not supported"},
        {Replaced(version2, "2.2 0 8", "2.2 1 8"), "line 2: the file is binary"},
        {Replaced(version2, "3 2 2 1 1 1 2 3", "3 3 2 1 1 1 2 3 7"), "line 20: the mesh has quad"},
        {Replaced(version2, "3 2 2 1 1", "3 9 2 1 1"), "line 20: the mesh has curved"},
        {Replaced(version4, "2 1 2 2\r", "3 1 4 2\r"), "line 29: the mesh has volume"},
        {Replaced(version2, "3 2 2 1 1", "3 31 2 1 1"), "line 20: element type 31"},
        {Replaced(version2, " 1 7 3\n$End", " 1 8 3\n$End"), "line 21: node 8 is not defined"},
        {Replaced(version2, "1 2 3\n4", "1 2\n4"), "line 20: there are fewer values"},
        {Replaced(version2, "2 20 0 0", "2 2o 0 0"), "line 11: \"2o\" is not a number"},
        {Replaced(version2, "2 20 0 0", "1 20 0 0"), "line 11: node 1 occurs twice"},
        {Replaced(version2, "7 0 10 0", "7 0 10 3"), "line 21: the triangles do not lie"},
        {Replaced(version2, "7 0 10 0", "7 10 5 0"), "triangle 2 has no area"},
        {Replaced(version2, "$Elements\n4", "$Elements\n2"), "line 20: the section has more lines"},
        {Replaced(version2, "$Elements\n4", "$Elements\n9"),
         "line 22: the section has fewer lines"},
        {version2.substr(0, version2.find("4 2 4 1")), "line 20: the file ends too early"},
        {version2.substr(0, version2.find("$Elements")), "there are no triangles"},
        {version2 + "4 5 6\n", "line 23: \"4\" stands outside any section"},
        {Replaced(version2, "4\n1 15", "5\n5 2 0 1 3 2\n1 15"), "an edge belongs to 3 triangles"},
        {Replaced(version4, "\n1 1 2\r\n2 1 2 2\r\n2 1 2 3\r\n3 1 7 3\r",
                  "\n1 1 2\r\n2 1 2 2\r\n2 1 2 9\r\n3 1 7 3\r"),
         "do not lie"},
    };
    for (const Case& given : cases) {
        const Outcome outcome = SolveMesh(given.content);
        EXPECT_EQ(outcome.status, 4) << given.expected;
        EXPECT_NE(outcome.err.find("section.msh"), std::string::npos) << outcome.err;
        EXPECT_NE(outcome.err.find(given.expected), std::string::npos) << outcome.err;
        EXPECT_NE(outcome.err.find("Remedy:"), std::string::npos) << outcome.err;
        EXPECT_FALSE(fs::exists(store)) << given.expected;
    }
}

TEST_F(MeshFileTest, SeparatePartsAreRefused) {
    const Outcome outcome = SolveMesh(
        "$MeshFormat\n2.2 0 8\n$EndMeshFormat\n$Nodes\n6\n1 0 0 0\n2 1 0 0\n3 0 1 0\n4 5 0 0\n"
        "5 6 0 0\n6 5 1 0\n$EndNodes\n$Elements\n2\n1 2 0 1 2 3\n2 2 0 4 5 6\n$EndElements\n");
    EXPECT_EQ(outcome.status, 4);
    EXPECT_NE(outcome.err.find("falls into 2 parts"), std::string::npos) << outcome.err;
}

}  // namespace
}  // namespace waveguide_tests
