// SPDX-License-Identifier: Apache-2.0
// The version line of a file.

#include "tests/storage/EveryClass.h"

namespace {

using namespace support;

std::string TreeBody(int tag) {
    Bytes body;
    body.I32(tag).I32(0).I32(1).I32(0).Zeros(40).I64(1).I32(0).I64(0).I64(0).I64(0);
    return body;
}

TEST(VersionLine, IsTakenOnlyWhenItIsOne) {
    const TempDirectory directory;
    const auto versioned = [](const std::string& line, const std::string& body) {
        return std::string(Bytes().I32(static_cast<int>(line.size())).Text(line)) + body;
    };
    // A body that begins like a version line: length 20, then "!" in the next value.
    const std::string likeVersion =
        std::string(Bytes().I32(20)).append("!\1\1\1", 4) + TreeBody(0).substr(8);
    struct Case {
        const char* what;
        std::string content;
        int result;
    };
    const Case cases[] = {{"none", TreeBody(7), 0},
                          {"one", versioned("!v 1", TreeBody(7)), 0},
                          {"the longest", versioned("!" + std::string(255, 'v'), TreeBody(7)), 0},
                          {"too long", versioned("!" + std::string(256, 'v'), TreeBody(7)), 1},
                          {"negative first integer", TreeBody(-1), 0},
                          {"first integer over 256", TreeBody(1000), 0},
                          {"first integer beyond the file", TreeBody(250), 0},
                          {"body like a version", likeVersion, 0},
                          {"empty file", "", 1},
                          {"short file", "ab", 1}};
    for (const Case& c : cases) {
        WriteFile(directory / "file1.dat", c.content);
        const auto object = In(directory, "POBinaryTree");
        EXPECT_EQ(object->Load(), c.result) << c.what;
    }
}

TEST(VersionLine, StandsOnceAtTheStart) {
    const TempDirectory directory;
    for (const bool text : {false, true}) {
        std::filesystem::remove(directory / "solutiondata.dat");
        for (int variant = 0; variant < 2; ++variant) {
            const auto object = In(directory, "POSolutionMetrics");
            object->SetVersion("made by us");
            samples::Fill(*object, variant);
            object->CreateStorageInterface(text ? IPOBase::eWriteText : IPOBase::eWriteBinary,
                                           true);
            ASSERT_EQ(object->Commit(false), 0);
        }
        const std::string content = ReadFile(directory / "solutiondata.dat");
        const std::string line =
            text ? InTextFile("!made by us\n") : std::string(Bytes().I32(11)) + "!made by us";
        EXPECT_EQ(content.substr(0, line.size()), line);
        EXPECT_EQ(content.find("made by us", line.size()), std::string::npos);
        std::string held;
        EXPECT_EQ(LoadIn(directory, "POSolutionMetrics",
                         text ? IPOBase::eReadText : IPOBase::eReadBinary, held),
                  0);
    }
    const auto modes = In(directory, "POModeInfo");
    modes->SetVersion("ignored");
    modes->CreateStorageInterface(IPOBase::eWriteDefault, false);
    EXPECT_EQ(modes->Commit(true), 0);
    EXPECT_EQ(ReadFile(directory / "modeinfo.dat"), InTextFile("0\n"));
}

TEST(VersionLine, ThatCouldNotBeReadBackIsRefused) {
    struct Case {
        std::string text;
        bool binaryFits;
        bool textFits;
    };
    const Case cases[] = {
        {std::string(254, 'v'), true, true},    {std::string(255, 'v'), true, false},
        {std::string(256, 'v'), false, false},  {"a\nb", true, false},
        {std::string("a\0b", 3), false, false}, {"!", true, true}};
    const TempDirectory directory;
    for (const Case& c : cases) {
        for (const bool text : {false, true}) {
            const auto object = In(directory, "POBinaryTree");
            object->SetVersion(c.text);
            samples::Fill(*object);
            object->CreateStorageInterface(text ? IPOBase::eWriteText : IPOBase::eWriteBinary,
                                           true);
            const bool fits = text ? c.textFits : c.binaryFits;
            WriteFile(directory / "file1.dat", "old");
            EXPECT_EQ(object->Commit(false), fits ? 0 : 1);
            EXPECT_EQ(ReadFile(directory / "file1.dat") == "old", !fits);
            EXPECT_EQ(object->Load(), fits && !text ? 0 : 1);
        }
    }
}

TEST(VersionLine, MistakenForTheBeginningOfABodyIsReadAgain) {
    // In binary, a header id of 16 and a field that begins with "!" look like a line of 16.
    const TempDirectory directory;
    const std::string path = directory / "solutiondata.dat";
    for (int variant = 0; variant < 3; ++variant) {
        if (variant == 2) {
            const std::string whole = ReadFile(path);
            WriteFile(path, whole + whole.substr(0, 50));
            WriteFile(path + ".undo", std::to_string(whole.size()));
        }
        const auto object = In(directory, "POSolutionMetrics");
        samples::Fill(*object, variant);
        auto& metrics = dynamic_cast<IPOSolutionMetrics&>(*object);
        metrics.SetHeaderId(16);
        metrics.SetHeaderFields(0x01010121, 0x01010101, 0x01010101, 0x01010101);
        object->CreateStorageInterface(IPOBase::eWriteBinary, true);
        ASSERT_EQ(object->Commit(false), 0);
    }
    const auto object = In(directory, "POSolutionMetrics");
    object->CreateStorageInterface(IPOBase::eReadBinary, false);
    ASSERT_EQ(object->Load(), 0);
    std::vector<std::uint32_t> entities;
    dynamic_cast<IPOSolutionMetrics&>(*object).GetEntityIds(1, 2, entities);
    EXPECT_EQ(entities, (std::vector<std::uint32_t>{0, 1, 2}));
}

}  // namespace
