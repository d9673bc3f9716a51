// SPDX-License-Identifier: Apache-2.0
// Creation, storage types, locks, logs, and the order of operations.

#include <functional>

#include "core/POBase.h"
#include "streams/StreamErrors.h"
#include "tests/storage/EveryClass.h"
#include "tests/storage/Probe.h"

namespace {

using namespace support;

TEST(NewInstance, KnowsNamesExactly) {
    for (const std::string& name : samples::ClassNames())
        EXPECT_EQ(samples::New(name)->GetFileName(), samples::TraitsOf(name).fileName);
    EXPECT_EQ(NewInstance(L"POModeInfo", nullptr), 1);
    for (const std::wstring& name :
         {std::wstring(L"POModeInfo "), std::wstring(L"pomodeinfo"), std::wstring(),
          std::wstring(L"POModeInf"), std::wstring(L"POModeInfo\0", 11)}) {
        std::shared_ptr<IPOBase> object = samples::New("POMeshTree");
        EXPECT_EQ(NewInstance(name, &object), 0);
        EXPECT_EQ(object, nullptr);
    }
    EXPECT_EQ(Raised([] {
                  fieldstore::CreateWith<IPOModeInfo>(
                      [](const std::wstring&, std::shared_ptr<IPOBase>*) { return 0; });
              }),
              "Cannot create a POModeInfo object.");
}

TEST(NewInstance, CommitsTheObjectItReplaces) {
    const TempDirectory directory;
    auto object = In(directory, "POMeshTree");
    samples::Fill(*object);
    object->CreateStorageInterface(IPOBase::eWriteDefault, false);
    EXPECT_EQ(NewInstance(L"POModeInfo", &object), 0);
    EXPECT_TRUE(std::filesystem::exists(directory / "evtree.dat"));
}

TEST(Storage, KnowsEightTypes) {
    const auto object = samples::New("POModeInfo");
    for (int type = -1; type <= 10; ++type)
        EXPECT_EQ(object->CreateStorageInterface(static_cast<Type>(type), false),
                  type >= 1 && type <= 8 ? 0 : 1);
    // An override that is itself a default is resolved once and then refused.
    for (const char* name : {"POSolutionMetrics", "POAssemblyInfo"}) {
        const auto overridden = samples::New(name);
        const auto set = [&](int which, unsigned int type) {
            if (auto* metrics = dynamic_cast<IPOSolutionMetrics*>(overridden.get()))
                metrics->SetStorageTypeOverride(which, type);
            else
                dynamic_cast<IPOAssemblyInfo&>(*overridden).SetStorageTypeOverride(which, type);
        };
        set(2, 3);
        set(0, 2);
        EXPECT_EQ(overridden->CreateStorageInterface(IPOBase::eReadDefault, false), 1);
        EXPECT_EQ(overridden->Load(), 1);
        set(0, 7);
        EXPECT_EQ(overridden->CreateStorageInterface(IPOBase::eReadDefault, false), 0);
        set(1, 9);
        EXPECT_EQ(overridden->CreateStorageInterface(IPOBase::eWriteDefault, false), 1);
    }
}

TEST(Lock, LiesWhereItsRulePutsIt) {
    struct Case {
        const char* directory;
        const char* fileName;
        const char* lockDirectory;
        const char* marker;
    };
    const Case cases[] = {{"out/", "probe.dat", "", "out/probe.lck"},
                          {"out/", "probe.dat", "locks/", "locks/probe.lck"},
                          {"run.1/", "data", "", "run.lck"},
                          {"out/", "data", "", "out/data.lck"}};
    const TempDirectory directory;
    for (const char* name : {"out", "locks", "run.1"})
        std::filesystem::create_directory(directory / name);
    for (const Case& c : cases) {
        Probe probe;
        probe.SetDirectory(directory / c.directory);
        probe.SetFileName(c.fileName);
        if (*c.lockDirectory != '\0') probe.SetLockDirectory(directory / c.lockDirectory);
        ASSERT_EQ(probe.CreateStorageInterface(IPOBase::eWriteDefault, true), 0);
        bool marked = false;
        probe.whileWriting = [&] { marked = std::filesystem::exists(directory / c.marker); };
        EXPECT_EQ(probe.Commit(true), 0);
        EXPECT_TRUE(marked) << c.marker;
        EXPECT_FALSE(std::filesystem::exists(directory / c.marker));
    }
    Probe probe;
    for (const char* lockDirectory : {"", "./"}) {
        probe.SetFileName("data.lck");
        probe.SetLockDirectory(lockDirectory);
        EXPECT_EQ(probe.CreateStorageInterface(IPOBase::eWriteDefault, true), 1);
    }
}

TEST(Lock, OfAnotherStopsACommitAndStays) {
    const TempDirectory directory;
    const CountedPauses pauses;
    ASSERT_EQ(CommitSample(directory, "POModeInfo", IPOBase::eWriteDefault), 0);
    const std::string before = ReadFile(directory / "modeinfo.dat");
    WriteFile(directory / "modeinfo.lck", "");
    EXPECT_EQ(CommitSample(directory, "POModeInfo", IPOBase::eWriteDefault, 1), 1);
    EXPECT_EQ(ReadFile(directory / "modeinfo.dat"), before);
    EXPECT_TRUE(std::filesystem::exists(directory / "modeinfo.lck"));
    // Twice: the host's commit and the destructor's, which says why.
    EXPECT_EQ(CountedPauses::Microseconds(), 2 * 199 * 100'000);
    EXPECT_EQ(
        ReadFile(directory / "modeinfo.err"),
        InTextFile("Error on stream " + directory.Path() +
                   "modeinfo.dat: Frequency 1000000001 reported: Unable to acquire file lock.\n"));
    const auto object = In(directory, "POModeInfo");
    ASSERT_EQ(object->CreateStorageInterface(IPOBase::eWriteDefault, true), 0);
    EXPECT_EQ(object->DeleteStorage(), 0);
    EXPECT_FALSE(std::filesystem::exists(directory / "modeinfo.lck"));
    EXPECT_FALSE(std::filesystem::exists(directory / "modeinfo.dat"));
}

TEST(FailedCommit, LeavesTheFileItsLengthAndGivesTheLockBack) {
    for (const bool existed : {false, true}) {
        for (const bool standard : {false, true}) {
            const TempDirectory directory;
            Probe probe;
            probe.SetDirectory(directory.Path());
            if (existed) WriteFile(directory / "probe.dat", "content");
            ASSERT_EQ(probe.CreateStorageInterface(IPOBase::eWriteDefault, true), 0);
            probe.Change();
            probe.whileWriting = [standard] {
                if (standard) throw std::runtime_error("broken");
                throw 42;
            };
            EXPECT_EQ(probe.Commit(false), 1);
            EXPECT_EQ(std::filesystem::exists(directory / "probe.dat"), existed);
            EXPECT_EQ(ReadFile(directory / "probe.dat"), existed ? "content" : "");
            EXPECT_FALSE(std::filesystem::exists(directory / "probe.lck"));
            EXPECT_TRUE(probe.IsModified());
            EXPECT_FALSE(std::filesystem::exists(directory / "probe.err")) << "no destructor yet";
        }
    }
}

TEST(Destructor, CommitsOrLogsWhyNot) {
    const TempDirectory directory;
    const auto destroy = [&](std::function<void()> whileWriting, Type type) {
        Probe probe;
        probe.SetDirectory(directory.Path());
        probe.CreateStorageInterface(type, true);
        probe.Change();
        probe.whileWriting = whileWriting;
    };
    destroy([] {}, IPOBase::eWriteDefault);
    EXPECT_EQ(ReadFile(directory / "probe.dat"), std::string(Bytes().I32(5)));
    destroy([] { throw std::runtime_error("broken"); }, IPOBase::eWriteDefault);
    destroy([] { throw 42; }, IPOBase::eWriteDefault);
    const std::string start = "Error on stream " + directory.Path() + "probe.dat: ";
    EXPECT_EQ(ReadFile(directory / "probe.err"),
              InTextFile(start + "broken\n" + start + "Unknown error committing Probe object.\n"));

    testing::internal::CaptureStderr();
    { Probe().Change(); }
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Error on stream <unknown>: Null stream function.\n");
    testing::internal::CaptureStderr();
    destroy([] { throw std::runtime_error("broken"); }, static_cast<Type>(99));
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Error on stream <unknown>: Null stream function.\n");
}

TEST(Exceptions, OfAnyTypeEndInAResultAndALine) {
    class StuckLocker : public ILocker {
    public:
        void Lock() override {}
        void UnlockIfLocked() override {}
        void Unlock() override { throw 42; }
        void SetRetry(double, unsigned int) override {}
    };
    const TempDirectory directory;
    const auto fail = [](auto error) { return [error] { throw error; }; };
    const std::string start = "Error on stream " + directory.Path() + "probe.dat: ";
    for (const bool standard : {true, false}) {
        Probe probe;
        probe.SetDirectory(directory.Path());
        ASSERT_EQ(probe.CreateStorageInterface(IPOBase::eWriteDefault, true), 0);
        ASSERT_EQ(probe.Commit(true), 0);
        // 2 is for a file that cannot be opened, not for whatever has the text of that.
        const fieldstore::InputNotOpened notOpened("file");
        probe.whenReading = standard ? std::function<void()>(fail(notOpened)) : fail(42);
        EXPECT_EQ(probe.CreateStorageInterface(IPOBase::eReadDefault, false), standard ? 2 : 1);
        probe.whenReading = fail(std::runtime_error(notOpened.what()));
        EXPECT_EQ(probe.CreateStorageInterface(IPOBase::eReadDefault, false), 1);
        probe.whenReading = [] {};
        ASSERT_EQ(probe.CreateStorageInterface(IPOBase::eWriteDefault, true), 0);
        probe.whenLocking =
            standard ? std::function<void()>(fail(std::runtime_error("no lock"))) : fail(42);
        probe.Change();
        EXPECT_EQ(probe.Commit(false), 1);
    }
    {
        Probe probe;
        probe.SetDirectory(directory.Path());
        probe.whileReading = fail(42);
        EXPECT_EQ(probe.Load(), 1);
    }
    {
        Probe probe;
        probe.SetDirectory(directory.Path());
        ASSERT_EQ(probe.CreateStorageInterface(IPOBase::eWriteDefault, true), 0);
        probe.UseLocker(std::make_shared<StuckLocker>());
        probe.Change();
    }
    EXPECT_EQ(ReadFile(directory / "probe.err"),
              InTextFile(start + "no lock\n" + start + "Unknown file open error.\n" + start +
                         "Unknown file close error.\n"));
    EXPECT_EQ(ReadFile(directory / "probe.dat"), std::string(Bytes().I32(5).I32(5)));
    testing::internal::CaptureStderr();
    {
        Probe probe;
        probe.SetDirectory(directory.Path());
        probe.SetFileName("probe.err");
        probe.CreateStorageInterface(IPOBase::eWriteDefault, true);
        probe.Change();
        probe.whileWriting = fail(std::runtime_error("broken"));
    }
    EXPECT_NE(testing::internal::GetCapturedStderr().find("broken"), std::string::npos)
        << "data that are named like a log take no line in";
}

TEST(Bookmarks, NeedAStreamThatWritesAndAName) {
    const TempDirectory directory;
    Probe probe;
    probe.SetDirectory(directory.Path());
    EXPECT_EQ(Raised([&] { probe.SetBookmark("a", 0); }), "Null stream function.");
    ASSERT_EQ(probe.CreateStorageInterface(IPOBase::eReadDefault, false), 0);
    ASSERT_EQ(probe.CreateStorageInterface(IPOBase::eWriteDefault, false), 0);
    probe.whileWriting = [&] {
        EXPECT_EQ(Raised([&] { probe.SetBookmark("", 0); }), "Bookmark name is empty.");
        for (const auto& size : {std::pair(0, 3), {1, 0}}) {
            EXPECT_EQ(
                Raised([&] { probe.SerializeIndex(IStreamer::eWrite, size.first, size.second); }),
                "Invalid parameters for index.");
        }
    };
    EXPECT_EQ(probe.Commit(true), 0);
    probe.whileReading = [&] {
        EXPECT_EQ(Raised([&] { probe.SetBookmark("a", 0); }),
                  "Persistent object stream wrong direction for bookmark.");
    };
    EXPECT_EQ(probe.Load(), 0);
}

TEST(StorageTypeOverride, ThatIsNoTypeStopsWhatNeedsIt) {
    const TempDirectory directory;
    const auto object = In(directory, "POSolutionMetrics");
    auto& metrics = dynamic_cast<IPOSolutionMetrics&>(*object);
    metrics.SetStorageTypeOverride(0, 99);
    metrics.SetStorageTypeOverride(1, 99);
    auto& base = dynamic_cast<POBase&>(*object);
    EXPECT_EQ(base.GetStorageType(0), 99);
    EXPECT_NE(base.GetStorageType(2), 99) << "no direction, so nothing to override";
    EXPECT_EQ(Raised([&] { object->LoadFile(directory / "any.dat"); }),
              "Failed to create storage interface for persistent object.");
    EXPECT_EQ(object->Load(), 1);
    EXPECT_EQ(object->DeleteStorage(), 1);
}

TEST(FullDisk, MakesACommitFail) {
    if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "no device that is always full";
    for (const std::string& name : samples::ClassNames()) {
        const auto object = samples::New(name);
        samples::Fill(*object);
        object->SetFileName("/dev/full");
        ASSERT_EQ(object->CreateStorageInterface(IPOBase::eWriteBinary, false), 0);
        EXPECT_EQ(object->Commit(false), 1) << name;
    }
}

TEST(Operations, FollowOneAnotherInAnyOrder) {
    // w: build write storage, r: build read storage, c: change and commit, l: load, d: delete.
    // Upper case fails. After the last one the file holds `bodies` values of 5.
    struct Case {
        const char* steps;
        int bodies;
    };
    const Case cases[] = {{"C", 0},       {"wc", 1},    {"wcc", 2},   {"wcl", 1},    {"wclc", 2},
                          {"wcll", 1},    {"wclcl", 2}, {"rc", 1},    {"rcc", 2},    {"L", 0},
                          {"Lc", 1},      {"wcrl", 1},  {"wcrlc", 2}, {"wcwl", 1},   {"wcd", 0},
                          {"wcdC", 0},    {"d", 0},     {"wcdL", 0},  {"wcldwc", 1}, {"wLc", 1},
                          {"wcrwclrl", 2}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.steps);
        const TempDirectory directory;
        Probe probe;
        probe.SetDirectory(directory.Path());
        for (const char* step = c.steps; *step != '\0'; ++step) {
            int result = 0;
            switch (std::tolower(*step)) {
                case 'w':
                    result = probe.CreateStorageInterface(IPOBase::eWriteDefault, true);
                    break;
                case 'r':
                    result = probe.CreateStorageInterface(IPOBase::eReadDefault, false);
                    break;
                case 'c':
                    probe.value = 5, probe.Change(), result = probe.Commit(false);
                    break;
                case 'l':
                    result = probe.Load();
                    break;
                default:
                    result = probe.DeleteStorage();
            }
            EXPECT_EQ(result != 0, std::isupper(*step) != 0) << step;
            if (result == 0) {
                EXPECT_FALSE(probe.IsModified() && *step != 'w' && *step != 'r' && *step != 'd');
            }
        }
        std::string expected;
        for (int i = 0; i < c.bodies; ++i) expected += std::string(Bytes().I32(5));
        EXPECT_EQ(ReadFile(directory / "probe.dat"), expected);
        probe.Load();  // nothing unsaved is left for the destructor
    }
}

TEST(Operations, MergeBeforeRewritingWhenTheClassSaysSo) {
    const TempDirectory directory;
    for (const int expected : {5, 10}) {
        Probe probe;
        probe.SetFlags(fieldstore::kReplacing | fieldstore::kKeepOnRead);
        probe.SetDirectory(directory.Path());
        ASSERT_EQ(probe.CreateStorageInterface(IPOBase::eWriteDefault, false), 0);
        EXPECT_EQ(probe.Commit(true), 0);
        EXPECT_EQ(ReadFile(directory / "probe.dat"), std::string(Bytes().I32(expected)));
    }
    WriteFile(directory / "probe.dat", "ab");
    Probe probe;
    probe.SetFlags(fieldstore::kReplacing | fieldstore::kKeepOnRead);
    probe.SetDirectory(directory.Path());
    ASSERT_EQ(probe.CreateStorageInterface(IPOBase::eWriteDefault, false), 0);
    EXPECT_EQ(probe.Commit(true), 1) << "what cannot be merged is not written over";
    EXPECT_EQ(ReadFile(directory / "probe.dat"), "ab");
}

TEST(Operations, WithoutAChangeTouchNothing) {
    const TempDirectory directory;
    const auto object = In(directory, "POMeshTree");
    EXPECT_EQ(object->Commit(true), 1) << "no storage";
    ASSERT_EQ(object->CreateStorageInterface(IPOBase::eWriteDefault, true), 0);
    EXPECT_EQ(object->Commit(false), 0);
    EXPECT_TRUE(std::filesystem::is_empty(directory.Path()));
    EXPECT_EQ(object->Commit(true), 0);
    EXPECT_EQ(ReadFile(directory / "evtree.dat"), std::string(16, '\0'));
    EXPECT_EQ(object->LoadFile(directory / "missing.dat"), 0);
    EXPECT_EQ(object->GetFileName(), directory / "missing.dat");
}

}  // namespace
