// SPDX-License-Identifier: Apache-2.0
// What all persistent objects have in common: creation, storage, commit and load, locks, version
// lines and logs. Loops over the nine classes where a rule holds for each.

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <functional>

#include "core/POBase.h"
#include "samples.h"
#include "streams/StreamErrors.h"
#include "streams/Writer.h"
#include "support.h"

namespace {

using support::Bytes;
using support::CountedPauses;
using support::Raised;
using support::ReadFile;
using support::TempDirectory;
using support::WriteFile;

/// An object of a class, pointed at a directory.
std::shared_ptr<IPOBase> In(const TempDirectory& directory, const std::string& name) {
    auto object = samples::New(name);
    object->SetDirectory(directory.Path());
    return object;
}

using Type = IPOBase::EStorageType;

int CommitSample(const TempDirectory& directory, const std::string& name, Type type,
                 int variant = 0) {
    const auto object = In(directory, name);
    samples::Fill(*object, variant);
    object->CreateStorageInterface(type, true);
    return object->Commit(false);
}

int LoadIn(const TempDirectory& directory, const std::string& name, Type type, std::string& held) {
    const auto object = In(directory, name);
    object->CreateStorageInterface(type, false);
    const int result = object->Load();
    if (result == 0) held = samples::Describe(*object);
    return result;
}

// ---- every class ----

class EveryClass : public testing::TestWithParam<std::tuple<std::string, bool>> {
protected:
    const std::string& Name() const { return std::get<0>(GetParam()); }
    bool Text() const { return std::get<1>(GetParam()); }
    Type WriteType() const { return Text() ? IPOBase::eWriteText : IPOBase::eWriteBinary; }
    Type ReadType() const { return Text() ? IPOBase::eReadText : IPOBase::eReadBinary; }

    TempDirectory directory;
    std::string File() const { return directory / samples::New(Name())->GetFileName(); }
};

std::string NameOf(const std::tuple<std::string, bool>& parameters) {
    return std::get<0>(parameters) + (std::get<1>(parameters) ? "Text" : "Binary");
}

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
    const pid_t child = fork();
    if (child == 0) {
        const auto object = In(directory, Name());
        object->CreateStorageInterface(ReadType(), false);
        if (object->Load() != 0) _exit(1);
        const std::string held = samples::Describe(*object);
        _exit(afterLoad ? held.size() < 20 : held != samples::Describe(*filled));
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
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
        const bool betweenBodies = appends && (length == first || length == 0);
        const bool valid = betweenBodies && !(length == 0 && Name() == "POSolutionMetrics");
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

// ---- creation ----

TEST(NewInstance, KnowsNineNamesExactly) {
    const char* fileNames[] = {"modeinfo.dat", "evdofmap.dat",     "circuitmatrices.dat",
                               "evtree.dat",   "file2.dat",        "file1.dat",
                               "file3.dat",    "solutiondata.dat", "assemblyinfo.dat"};
    std::size_t i = 0;
    for (const std::string& name : samples::ClassNames())
        EXPECT_EQ(samples::New(name)->GetFileName(), fileNames[i++]) << name;
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

// ---- storage ----

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

/// A class whose steps a test can watch and make fail.
class Probe : public POBase {
public:
    static constexpr fieldstore::ClassTraits kTraits{"Probe",
                                                     "probe.dat",
                                                     fieldstore::kAppending,
                                                     eReadBinary,
                                                     eWriteBinary,
                                                     false,
                                                     "Unknown error committing Probe object."};

    Probe() : POBase(kTraits) {}
    ~Probe() override { CommitBeforeDestruction(); }

    int CopyFrom(std::shared_ptr<IPOBase>) override { return 1; }
    void ClearData() override { value = 0; }
    bool ValidateData() override { return true; }
    void SetFlags(std::uint32_t flags) { persistFlags = flags; }
    void Change() { modified = true; }
    bool IsModified() const { return modified; }

    void OnLock(std::shared_ptr<ILocker>) override { whenLocking(); }
    int GetStorageType(int direction) override {
        if (direction == 0) whenReading();
        return POBase::GetStorageType(direction);
    }
    void UseLocker(std::shared_ptr<ILocker> another) { storage.locker = std::move(another); }
    using POBase::SerializeIndex;

    std::function<void()> whileWriting = [] {};
    std::function<void()> whileReading = [] {};
    std::function<void()> whenLocking = [] {};
    std::function<void()> whenReading = [] {};
    int value = 5;

protected:
    void SerializeData(IStreamer::EDirection direction) override {
        int stored = value;
        if (direction == IStreamer::eRead) whileReading();
        SerializeValue(direction, stored);
        if (direction == IStreamer::eRead)
            value += stored;
        else
            whileWriting();
    }
};

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
    EXPECT_EQ(ReadFile(directory / "modeinfo.err"),
              "Error on stream " + directory.Path() +
                  "modeinfo.dat: Frequency 1000000001 reported: Unable to acquire file lock.\n");
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
              start + "broken\n" + start + "Unknown error committing Probe object.\n");

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
    EXPECT_EQ(ReadFile(directory / "probe.err"), start + "no lock\n" + start +
                                                     "Unknown file open error.\n" + start +
                                                     "Unknown file close error.\n");
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

// ---- processes that died ----

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

TEST(AppendMark, ThatIsNoFileSaysNothing) {
    const TempDirectory directory;
    ASSERT_EQ(CommitSample(directory, "POModeInfo", IPOBase::eWriteText), 0);
    const std::string path = directory / "modeinfo.dat";
    std::filesystem::resize_file(path, std::filesystem::file_size(path) - 2);
    ASSERT_EQ(mkfifo((path + ".undo").c_str(), 0600), 0);
    EXPECT_EQ(CommitSample(directory, "POModeInfo", IPOBase::eWriteText, 1), 1);
}

TEST(Replacing, LeavesTheOldContentUntilTheNewIsWhole) {
    const TempDirectory directory;
    const std::string path = directory / "probe.dat";
    const std::string whole = Bytes().I32(5);
    struct Case {
        const char* what;
        std::function<void()> prepare;
        bool beside;  // written beside the file
    };
    namespace fs = std::filesystem;
    const bool isRoot = geteuid() == 0;
    const auto owners = [&] {
        struct stat file {};
        stat(path.c_str(), &file);
        return std::pair(file.st_uid, file.st_gid);
    };
    const Case cases[] = {
        {"no file", [&] { fs::remove(path); }, true},
        {"file", [&] { fs::permissions(path, fs::perms(0640)); }, true},
        {"link",
         [&] {
             fs::rename(path, directory / "real.dat");
             fs::create_symlink("real.dat", path);
         },
         true},
        {"link to nothing",
         [&] {
             fs::remove(path);
             fs::create_symlink("missing.dat", path);
         },
         false},
        {"the first names taken",
         [&] {
             fs::rename(directory / "real.dat", path);
             const auto self = fieldstore::Writer::ThisProcess();
             for (int n = 0; n < 150; ++n)
                 WriteFile(path + fieldstore::ReplacementSuffix(self, n), "left");
         },
         true},
        {"another group", [&] { EXPECT_TRUE(!isRoot || chown(path.c_str(), 0, 1) == 0); }, true},
        {"another owner", [&] { EXPECT_TRUE(!isRoot || chown(path.c_str(), 1, 1) == 0); }, true},
        {"second name", [&] { fs::create_hard_link(path, directory / "real.dat"); }, false}};
    WriteFile(path, "old");
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        c.prepare();
        const std::string before = ReadFile(path);
        const auto permissions = fs::status(path).permissions();
        const auto owned = owners();
        Probe probe;
        probe.SetFlags(fieldstore::kReplacing);
        probe.SetDirectory(directory.Path());
        ASSERT_EQ(probe.CreateStorageInterface(IPOBase::eWriteDefault, false), 0);
        probe.Change();
        probe.whileWriting = [&] {
            EXPECT_EQ(ReadFile(path), c.beside ? before : "");
            throw std::runtime_error("broken");
        };
        EXPECT_EQ(probe.Commit(false), 1);
        EXPECT_TRUE(!c.beside || ReadFile(path) == before);
        probe.whileWriting = [] {};
        EXPECT_EQ(probe.Commit(false), 0);
        EXPECT_EQ(ReadFile(path), whole);
        EXPECT_TRUE(before.empty() || fs::status(path).permissions() == permissions);
        EXPECT_TRUE(before.empty() || owners() == owned);
        for (const auto& entry : fs::directory_iterator(directory.Path())) {
            const std::string name = entry.path().string();
            EXPECT_TRUE(name.find(".new") == std::string::npos || ReadFile(name) == "left") << name;
        }
    }
    EXPECT_EQ(ReadFile(directory / "real.dat"), whole);
}

TEST(ErrorLog, IsNotLedElsewhereByAPlantedName) {
    const TempDirectory directory;
    const std::string victim = directory / "victim";
    WriteFile(victim, "precious");
    std::fstream reader;
    const std::function<void(const std::string&)> plants[] = {
        [&](const std::string& log) { std::filesystem::create_symlink(victim, log); },
        [&](const std::string& log) { std::filesystem::create_hard_link(victim, log); },
        [&](const std::string& log) { ASSERT_EQ(mkfifo(log.c_str(), 0600), 0); },
        [&](const std::string& log) {
            ASSERT_EQ(mkfifo(log.c_str(), 0600), 0);
            reader.open(log, std::ios::in | std::ios::out);  // somebody listens
        }};
    for (const auto& plant : plants) {
        plant(directory / "probe.err");
        testing::internal::CaptureStderr();
        {
            Probe probe;
            probe.SetDirectory(directory.Path());
            probe.CreateStorageInterface(IPOBase::eWriteDefault, true);
            probe.Change();
            probe.whileWriting = [] { throw std::runtime_error("broken"); };
        }
        EXPECT_NE(testing::internal::GetCapturedStderr().find("broken"), std::string::npos);
        EXPECT_EQ(ReadFile(victim), "precious");
        std::filesystem::remove(directory / "probe.err");
    }
}

// ---- order of operations ----

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

// ---- version line ----

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
            text ? "!made by us\n" : std::string(Bytes().I32(11)) + "!made by us";
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
    EXPECT_EQ(ReadFile(directory / "modeinfo.dat"), "0\n");
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

// ---- several processes ----

TEST(Processes, AppendToOneFileWithoutLoss) {
    const TempDirectory directory;
    constexpr int processes = 4;
    constexpr int commits = 250;
    std::vector<pid_t> children;
    for (int process = 0; process < processes; ++process) {
        const pid_t child = fork();
        if (child == 0) {
            // Waiting as a user's process does, but in shorter steps.
            fieldstore::SetPauseFunction([](std::chrono::microseconds) { usleep(2000); });
            int failed = 0;
            for (int i = 0; i < commits; ++i)
                failed += CommitSample(directory, "POModeInfo", IPOBase::eWriteDefault,
                                       process * commits + i);
            _exit(failed == 0 ? 0 : 1);
        }
        children.push_back(child);
    }
    for (const pid_t child : children) {
        int status = -1;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
    }
    const auto object = In(directory, "POModeInfo");
    ASSERT_EQ(object->Load(), 0);
    EXPECT_EQ(dynamic_cast<IPOModeInfo&>(*object).GetFrequencyCount(), processes * commits);
}

}  // namespace
