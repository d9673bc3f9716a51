// SPDX-License-Identifier: Apache-2.0
// Rules that hold for each of the nine classes.

#include "tests/Apart.h"
#include "tests/storage/EveryClass.h"

namespace {

using namespace support;

INSTANTIATE_TEST_SUITE_P(, EveryClass,
                         testing::Combine(testing::ValuesIn(samples::ClassNames()),
                                          testing::Bool()),
                         [](const auto& instance) { return NameOf(instance.param); });

TEST_P(EveryClass, LoadsInAnotherProcessWhatWasCommitted) {
    ASSERT_EQ(CommitSample(directory, Name(), WriteType()), 0);
    EXPECT_FALSE(std::filesystem::exists(File().substr(0, File().rfind('.')) + ".lck"));
    const auto filled = In(directory, Name());
    samples::Fill(*filled);
    // The frequencies of these two show only after a load.
    const bool afterLoad = Name() == "POModeInfo" || Name() == "POCircuitMatrices";
    const bool differs =
        Apart([&]() -> int {
            const auto object = In(directory, Name());
            object->CreateStorageInterface(ReadType(), false);
            if (object->Load() != 0) return 1;
            const std::string held = samples::Describe(*object);
            return afterLoad ? held.size() < 20 : held != samples::Describe(*filled);
        }) != 0;
    EXPECT_FALSE(differs);
    filled->CreateStorageInterface(IPOBase::eWriteDataService, false);
    // The same data written once more are the same bytes.
    const std::string bytes = ReadFile(File());
    const auto object = In(directory, Name());
    object->CreateStorageInterface(ReadType(), false);
    ASSERT_EQ(object->Load(), 0);
    object->SetFileName("again.dat");
    object->CreateStorageInterface(WriteType(), false);
    ASSERT_EQ(object->Commit(true), 0);
    EXPECT_EQ(ReadFile(directory / "again.dat"), bytes);
}

TEST_P(EveryClass, ReportsEveryCutThatLosesData) {
    ASSERT_EQ(CommitSample(directory, Name(), WriteType()), 0);
    const std::size_t first = ReadFile(File()).size();
    ASSERT_EQ(CommitSample(directory, Name(), WriteType(), 1), 0);
    const std::string whole = ReadFile(File());
    const bool appends = samples::Appends(Name());
    ASSERT_EQ(whole.size() > first, appends);
    std::string held;
    ASSERT_EQ(LoadIn(directory, Name(), ReadType(), held), 0);
    for (std::size_t length = 0; length < whole.size(); ++length) {
        WriteFile(File(), whole.substr(0, length));
        // Of a line end of two characters the first does as well.
        const bool halfLineEnd = length > 0 && whole[length - 1] == '\r';
        const std::size_t end = halfLineEnd ? length + 1 : length;
        const bool betweenBodies = appends && (end == first || end == 0);
        const bool valid =
            (betweenBodies && !(end == 0 && Name() == "POSolutionMetrics")) || end == whole.size();
        EXPECT_EQ(LoadIn(directory, Name(), ReadType(), held), valid ? 0 : 1) << length;
    }
    std::filesystem::remove(File());
    EXPECT_EQ(LoadIn(directory, Name(), ReadType(), held), 2);
    std::filesystem::create_directory(File());
    EXPECT_EQ(LoadIn(directory, Name(), ReadType(), held), 2);
}

TEST_P(EveryClass, SurvivesAnyChangedByte) {
    ASSERT_EQ(CommitSample(directory, Name(), WriteType()), 0);
    const std::string whole = ReadFile(File());
    std::string held;
    for (std::size_t at = 0; at < whole.size(); ++at) {
        for (const char value : {'\0', Text() ? '9' : '\xff'}) {
            std::string changed = whole;
            changed[at] = value;
            WriteFile(File(), changed);
            const auto object = In(directory, Name());
            object->CreateStorageInterface(ReadType(), false);
            const int result = object->Load();
            EXPECT_TRUE(result == 0 || result == 1);
            EXPECT_EQ(object->Commit(false), 0) << "what was loaded counts as saved";
        }
    }
}

TEST_P(EveryClass, MergesOrReplacesASecondCommit) {
    std::string one, two;
    ASSERT_EQ(CommitSample(directory, Name(), WriteType(), 1), 0);
    ASSERT_EQ(LoadIn(directory, Name(), ReadType(), one), 0);
    ASSERT_EQ(CommitSample(directory, Name(), WriteType(), 2), 0);
    ASSERT_EQ(LoadIn(directory, Name(), ReadType(), two), 0);
    EXPECT_NE(one, two);
    EXPECT_EQ(two.size() > one.size() + 10, samples::Appends(Name()));
}

TEST_P(EveryClass, CopiesItselfAndRefusesOthers) {
    const auto object = In(directory, Name());
    samples::Fill(*object);
    object->CreateStorageInterface(WriteType(), false);
    ASSERT_EQ(object->Commit(false), 0);
    const std::string bytes = ReadFile(File());
    EXPECT_EQ(object->CopyFrom(nullptr), 1);
    EXPECT_EQ(object->CopyFrom(samples::New(Name() == "POMeshTree" ? "PODOFMap" : "POMeshTree")),
              1);
    EXPECT_EQ(object->Commit(false), 0);
    EXPECT_EQ(ReadFile(File()), bytes) << "a refused copy changes nothing";
    EXPECT_EQ(object->CopyFrom(object), 0);

    ASSERT_EQ(object->CreateStorageInterface(ReadType(), false), 0);
    ASSERT_EQ(object->Load(), 0);
    const auto copy = In(directory, Name());
    EXPECT_EQ(copy->CopyFrom(object), 0);
    const auto describe = [this](IPOBase& described) {
        // A copy does not take the header values over.
        if (auto* metrics = dynamic_cast<IPOSolutionMetrics*>(&described))
            metrics->SetHeaderId(0), metrics->SetHeaderFields(0, 0, 0, 0);
        const std::string held = samples::Describe(described);
        // A copy of a tree counts its ids by the tag.
        return Name() == "POBinaryTree" ? held.substr(0, held.rfind('[')) : held;
    };
    EXPECT_EQ(describe(*copy), describe(*object));
    copy->SetFileName("copy.dat");
    copy->CreateStorageInterface(WriteType(), false);
    EXPECT_EQ(copy->Commit(false), 0) << "a copy counts as unsaved";
    EXPECT_EQ(ReadFile(directory / "copy.dat").size() > 8, true);
    EXPECT_EQ(object->DeleteStorage(), 0);
}

TEST_P(EveryClass, RunsOverADataServiceWithoutData) {
    const auto object = In(directory, Name());
    samples::Fill(*object);
    EXPECT_EQ(object->CreateStorageInterface(WriteType(), true), 0);  // its lock stays
    EXPECT_EQ(object->CreateStorageInterface(IPOBase::eWriteDataService, true), 0);
    EXPECT_EQ(object->Commit(false), 1);
    object->Load();
    EXPECT_EQ(object->DeleteStorage(), 0);
    EXPECT_TRUE(std::filesystem::is_empty(directory.Path()));
}

TEST(EmptyVectors, AtTheEndOfAStorageLoad) {
    // The last thing these objects write is an empty raw vector.
    const TempDirectory directory;
    const auto modes = In(directory, "POModeInfo");
    ASSERT_TRUE(dynamic_cast<IPOModeInfo&>(*modes).AddModeData(1, 1, {{0, 0}}, {{0}}, {{}}));
    const auto matrices = In(directory, "POCircuitMatrices");
    dynamic_cast<IPOCircuitMatrices&>(*matrices).SetMatrix(1, 1, 0, 0, {});
    for (const auto& object : {modes, matrices, In(directory, "PODOFMap")}) {
        ASSERT_EQ(object->CreateStorageInterface(IPOBase::eWriteBinary, false), 0);
        ASSERT_EQ(object->Commit(true), 0);
        ASSERT_EQ(object->CreateStorageInterface(IPOBase::eReadBinary, false), 0);
        EXPECT_EQ(object->Load(), 0);
        const std::string path = directory / object->GetFileName();
        std::filesystem::resize_file(path, std::filesystem::file_size(path) - 1);
        EXPECT_EQ(object->CreateStorageInterface(IPOBase::eReadBinary, false), 0);
        EXPECT_EQ(object->Load(), 1) << "a cut inside the count";
    }
}

}  // namespace
