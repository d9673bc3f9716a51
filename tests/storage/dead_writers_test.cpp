// SPDX-License-Identifier: Apache-2.0
// What writers leave that die, and several processes at one file.

#include <fstream>
#include <functional>

#include "streams/Writer.h"
#include "tests/storage/EveryClass.h"
#include "tests/storage/Probe.h"

namespace {

using namespace support;

bool AppendMarkStands(const TempDirectory& directory, const std::string& name) {
    return std::filesystem::exists(directory / samples::New(name)->GetFileName() + ".undo");
}

class AppendingClass : public EveryClass {};

INSTANTIATE_TEST_SUITE_P(, AppendingClass,
                         testing::Combine(testing::Values("POModeInfo", "POCircuitMatrices",
                                                          "POSolutionMetrics", "POAssemblyInfo"),
                                          testing::Bool()),
                         [](const auto& instance) { return NameOf(instance.param); });

TEST_P(AppendingClass, CutsWhatADeadWriterLeftBehindTheWholeBodies) {
    ASSERT_EQ(CommitSample(directory, Name(), WriteType()), 0);
    const std::string first = ReadFile(File());
    ASSERT_EQ(CommitSample(directory, Name(), WriteType(), 1), 0);
    const std::string two = ReadFile(File());
    ASSERT_EQ(CommitSample(directory, Name(), WriteType(), 2), 0);
    const std::string three = ReadFile(File());
    EXPECT_FALSE(AppendMarkStands(directory, Name()));
    const auto length = [](const std::string& bytes) { return std::to_string(bytes.size()); };
    struct Case {
        const char* what;
        std::string content;
        std::string mark;
        std::string kept;  // "": the commit is refused
    };
    const Case cases[] = {
        {"torn", three.substr(0, three.size() - 2), length(two), two},
        {"nothing written yet", two, length(two), two},
        {"first body torn", first.substr(0, first.size() / 2), "0", "nothing"},
        {"whole, but for the mark", three, length(two), three},
        {"bodies since then", three, length(first), three},
        {"cut shorter since then", first, length(two), first},
        {"torn before the mark", two.substr(0, two.size() - 2), length(two), ""},
        {"torn and a mark that says nothing", two.substr(0, two.size() - 2), "", ""},
        {"torn and a mark that is no number", two.substr(0, two.size() - 2), "12x", ""},
        {"removed since then", "", length(two), "nothing"},
        {"whole and a mark that says nothing", two, "", two}};
    const std::string log = File().substr(0, File().rfind('.')) + ".err";
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        WriteFile(File(), c.content);
        if (c.content.empty()) std::filesystem::remove(File());
        WriteFile(File() + ".undo", c.mark);
        std::filesystem::remove(log);
        const bool refused = c.kept.empty();
        EXPECT_EQ(CommitSample(directory, Name(), WriteType(), 3), refused ? 1 : 0);
        EXPECT_EQ(AppendMarkStands(directory, Name()), refused);
        const std::string now = ReadFile(File());
        if (refused) {
            EXPECT_EQ(now, c.content);
            EXPECT_NE(ReadFile(log).find("damaged before the last commit"), std::string::npos);
            continue;
        }
        const std::string kept = c.kept == "nothing" ? "" : c.kept;
        EXPECT_EQ(now.substr(0, kept.size()), kept);
        EXPECT_EQ(ReadFile(log).empty(), kept == c.content);
        std::string held;
        EXPECT_EQ(LoadIn(directory, Name(), ReadType(), held), 0);
        const auto alone = In(directory, Name());
        alone->SetFileName("alone.dat");
        samples::Fill(*alone, 3);
        alone->CreateStorageInterface(WriteType(), false);
        ASSERT_EQ(alone->Commit(false), 0);
        EXPECT_EQ(now.substr(kept.size()), ReadFile(directory / "alone.dat"));
        std::filesystem::remove(directory / "alone.dat");
    }
}

TEST(AppendMark, IsDispensedWithWhereTheNameHasNoRoomForIt) {
    const TempDirectory directory;
    constexpr std::size_t longestName = 255;
    const auto object = In(directory, "POModeInfo");
    object->SetFileName(std::string(longestName - 4, 'x') + ".dat");
    for (int commit = 0; commit < 2; ++commit) {
        ASSERT_EQ(object->CreateStorageInterface(IPOBase::eWriteDefault, true), 0);
        EXPECT_EQ(object->Commit(true), 0);
    }
    EXPECT_EQ(object->Load(), 0);
}

}  // namespace
