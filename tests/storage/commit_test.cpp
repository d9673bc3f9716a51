// SPDX-License-Identifier: Apache-2.0
// What commits promise: on which file they build, what they bring to the disk, what they undo,
// whose changes they store, and how they say why they failed.

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <functional>

#include "core/AppendMark.h"
#include "core/POBase.h"
#include "tests/samples/Samples.h"
#include "tests/support.h"

namespace {

// What was brought to the disk since this was emptied: the last names of the paths.
std::vector<std::string>* synced = nullptr;
std::size_t failingSync = 0;  // counted from 1; 0: none fails

}  // namespace

/// In place of the system's, which the library calls in this program.
extern "C" int fsync(int descriptor) {
    if (synced == nullptr) return 0;
    const std::filesystem::path link = "/proc/self/fd/" + std::to_string(descriptor);
    auto path = std::filesystem::read_symlink(link);
    if (std::filesystem::is_directory(path)) path /= "";
    synced->push_back(path.has_filename() ? path.filename().string() : "directory");
    if (synced->size() != failingSync) return 0;
    errno = EIO;
    return -1;
}

namespace {

using support::Bytes;
using support::CountedPauses;
using support::Raised;
using support::ReadFile;
using support::TempDirectory;
using support::WriteFile;
namespace fs = std::filesystem;

/// An appending or replacing class with one number as its body, and a look at a commit from inside.
class Number : public POBase {
public:
    static constexpr fieldstore::ClassTraits kTraits{"Number",
                                                     "number.dat",
                                                     fieldstore::kAppending,
                                                     eReadBinary,
                                                     eWriteBinary,
                                                     false,
                                                     "Unknown error committing Number object."};

    explicit Number(const TempDirectory& directory, bool appends = true) : POBase(kTraits) {
        if (!appends) persistFlags = fieldstore::kReplacing;
        SetDirectory(directory.Path());
    }
    ~Number() override { CommitBeforeDestruction(); }

    int CopyFrom(std::shared_ptr<IPOBase>) override { return 1; }
    void ClearData() override {}
    bool ValidateData() override { return true; }
    void Change() { modified = true; }
    int Store(EStorageType type = eWriteBinary, bool withLock = true) {
        CreateStorageInterface(type, withLock);
        Change();
        const int result = Commit(false);
        modified = false;
        return result;
    }

    int Bodies() const { return bodies; }

    std::function<void()> whileWriting = [] {};

protected:
    void SerializeData(IStreamer::EDirection direction) override {
        if (direction == IStreamer::eRead)
            return ReadBodies([this] {
                SkipBody();
                ++bodies;
            });
        SerializeValue(direction, value);
        whileWriting();
    }
    void SkipBody() override {
        int skipped = 0;
        SerializeValue(IStreamer::eRead, skipped);
    }

private:
    int value = 5;
    int bodies = 0;
};

const std::string kBody = Bytes().I32(5);

// ---- marks of appends ----

TEST(Mark, StandsWhereItCanAndTellsWhoIsAtWork) {
    struct Case {
        const char* what;
        std::string name;
        std::string foreign;  // what somebody else has at the place beside the data
        std::string mark;     // "": none can stand
    };
    const std::string longName = std::string(240, 'x') + ".extensions1";
    const Case cases[] = {
        {"beside the data", "n.dat", "", "n.dat.undo"},
        {"not in place of another's data", "n.dat", "12 monkeys", "locks/n.lck.undo"},
        {"no room for the name", longName, "", "locks/" + std::string(240, 'x') + ".lck.undo"},
        {"no room anywhere", std::string(251, 'x') + ".dat", "", ""}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        const TempDirectory directory;
        fs::create_directory(directory / "locks");
        const std::string data = directory / c.name;
        Number number(directory);
        number.SetFileName(c.name);
        number.SetLockDirectory(directory / "locks/");
        WriteFile(data, kBody);
        if (!c.foreign.empty()) WriteFile(data + ".undo", c.foreign);
        number.whileWriting = [&] {
            if (c.mark.empty()) return;
            const auto text = ReadFile(directory / c.mark);
            EXPECT_EQ(text.rfind("4\nhost ", 0), 0u) << text;
            EXPECT_NE(text.find("\nboot "), std::string::npos);
            EXPECT_NE(text.find("\nprocess " + std::to_string(getpid()) + "\nstart "),
                      std::string::npos);
            EXPECT_NE(text.find("\ndata " + fs::canonical(data).string() + "\n"),
                      std::string::npos);
            EXPECT_EQ(fieldstore::AppendRecord::Parse(text)->writer->Now(),
                      fieldstore::Writer::State::Runs);
        };
        EXPECT_EQ(number.Store(), 0);
        EXPECT_EQ(ReadFile(data), kBody + kBody);
        EXPECT_TRUE(fs::is_empty(directory / "locks"));
        EXPECT_EQ(ReadFile(data + ".undo"), c.foreign);
        number.whileWriting = [] {};

        // The writer dies halfway; its lock is cleared, and others come.
        const pid_t child = fork();
        if (child == 0) {
            number.whileWriting = [&] {
                std::ofstream(data, std::ios::binary | std::ios::app) << "ab";
                _exit(0);
            };
            number.Store();
        }
        waitpid(child, nullptr, 0);
        for (const auto& left : fs::directory_iterator(directory / "locks"))
            if (left.path().extension() == ".lck") fs::remove(left);
        const bool vouched = !c.mark.empty();
        for (int commit = 0; commit < 2; ++commit) EXPECT_EQ(number.Store(), vouched ? 0 : 1);
        EXPECT_EQ(ReadFile(data), kBody + kBody + (vouched ? kBody + kBody : "ab"));
        EXPECT_TRUE(fs::is_empty(directory / "locks"));
    }
}

TEST(Mark, BesideTheLockCountsOnlyForTheDataThatItNames) {
    const TempDirectory directory;
    const std::string place = directory / "number.lck.undo";
    fieldstore::AppendRecord record = fieldstore::AppendRecord::Now(4, "/elsewhere/number.dat");
    WriteFile(directory / "number.dat", kBody + "ab");
    WriteFile(place, record.Text());
    Number number(directory);
    EXPECT_EQ(number.Store(), 1) << "it says nothing about these";
    EXPECT_EQ(ReadFile(place), record.Text());
    record.dataPath = fieldstore::WholePath(directory / "number.dat");
    WriteFile(place, record.Text());
    EXPECT_EQ(number.Store(), 0);
    EXPECT_EQ(ReadFile(directory / "number.dat"), kBody + kBody);
    WriteFile(place, record.Text());
    WriteFile(directory / "number.dat.undo", "4 monkeys");
    EXPECT_EQ(number.DeleteStorage(), 0);
    EXPECT_FALSE(fs::exists(place));
    EXPECT_EQ(ReadFile(directory / "number.dat.undo"), "4 monkeys");
}

TEST(Mark, IsOneOnlyWhenItIsNothingElse) {
    using fieldstore::AppendRecord;
    const std::string whole =
        AppendRecord{12, fieldstore::Writer{"node-7", 4711, 99}, "b-1", "a\nb"}.Text();
    EXPECT_EQ(whole, "12\nhost node-7\nboot b-1\nprocess 4711\nstart 99\ndata a\nb\n");
    for (const std::string& text : {whole, std::string("12"), std::string("0"), std::string()})
        EXPECT_TRUE(AppendRecord::Parse(text)) << text;
    EXPECT_EQ(AppendRecord::Parse(whole)->dataPath, "a\nb");
    EXPECT_EQ(AppendRecord::Parse("")->length, AppendRecord::kUnknownLength);
    for (std::size_t length = 3; length + 3 < whole.size(); ++length)
        EXPECT_FALSE(AppendRecord::Parse(whole.substr(0, length))) << length;
    for (const char* text : {"x", "12x", "-1", " 12", "12 ", "99999999999999999999", "12\n"})
        EXPECT_FALSE(AppendRecord::Parse(text)) << text;
}

TEST(Mark, OfAMachineThatWentDownMakesTheRestWorthNothing) {
    // Bodies of zeros, as a file system may leave them where data never came.
    struct Case {
        const char* what;
        std::string host, boot;
        bool believed;
    };
    const auto self = fieldstore::AppendRecord::Now(4, "");
    const Case cases[] = {{"a process died", self.writer->host, self.boot, true},
                          {"the machine was started again", self.writer->host, "another", false},
                          {"another machine", self.writer->host + "x", self.boot, false}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        const TempDirectory directory;
        const std::string data = directory / "number.dat";
        auto record = fieldstore::AppendRecord::Now(4, fieldstore::WholePath(data));
        record.writer->host = c.host;
        record.boot = c.boot;
        for (const char* place : {"number.dat.undo", "number.lck.undo"}) {
            WriteFile(data, kBody + std::string(8, '\0'));
            WriteFile(directory / place, record.Text());
            Number reader(directory);
            ASSERT_EQ(reader.Load(), 0);
            EXPECT_EQ(reader.Bodies(), c.believed ? 3 : 1);
            Number writer(directory);
            writer.CreateStorageInterface(IPOBase::eWriteBinary, true);
            writer.SetFileName("another.dat");  // takes effect with the next storage
            EXPECT_EQ(writer.Commit(true), 0);
            EXPECT_EQ(ReadFile(data), kBody + std::string(c.believed ? 8 : 0, '\0') + kBody);
            EXPECT_FALSE(fs::exists(directory / place));
            fs::remove(directory / "number.err");
        }
    }
}

TEST(TextAppend, NeverGluesDigitsTogether) {
    for (const bool withLock : {true, false}) {
        for (const auto& [stored, result] :
             {std::pair("5\n", 0), {"5 ", 0}, {"5", 1}, {"5\n0.", 1}, {"", 0}}) {
            const TempDirectory directory;
            WriteFile(directory / "number.dat", stored);
            Number number(directory);
            EXPECT_EQ(number.Store(IPOBase::eWriteText, withLock), result) << stored;
            EXPECT_EQ(ReadFile(directory / "number.dat"),
                      stored + std::string(result == 0 ? "5\n" : ""));
            EXPECT_EQ(
                number.GetLastError().find("damaged before the last commit") != std::string::npos,
                result == 1);
        }
    }
}

// ---- names ----

TEST(Names, WithAZeroByteBuildNoStorage) {
    const TempDirectory directory;
    const std::string zero(1, '\0');
    WriteFile(directory / "number.dat", kBody);
    const std::function<void(Number&)> settings[] = {
        [&](Number& number) { number.SetFileName("number.dat" + zero + "  "); },
        [&](Number& number) { number.SetDirectory(directory.Path() + zero); },
        [&](Number& number) { number.SetLockDirectory(zero); }};
    for (const auto& set : settings) {
        Number number(directory);
        set(number);
        EXPECT_EQ(number.Store(), 1);
        EXPECT_EQ(number.CreateStorageInterface(IPOBase::eReadBinary, false), 1);
        EXPECT_NE(number.GetLastError().find("zero byte"), std::string::npos);
        EXPECT_EQ(ReadFile(directory / "number.dat"), kBody);
    }
}

TEST(Names, OfWhatIsNoFileAreNotLoaded) {
    const TempDirectory directory;
    ASSERT_EQ(mkfifo((directory / "pipe").c_str(), 0600), 0);
    fs::create_symlink("pipe", directory / "link");
    for (const std::string& path :
         {directory / "pipe", directory / "link", std::string("/dev/zero")}) {
        const auto object = samples::New("POModeInfo");
        object->SetFileName(path);
        EXPECT_EQ(object->Load(), 2) << path;
    }
}

TEST(Undo, WorksOnWhatWasOpened) {
    const TempDirectory directory;
    const auto fail = [] { throw std::runtime_error("broken"); };
    fs::create_symlink("target", directory / "number.dat");
    Number number(directory);
    number.whileWriting = fail;
    EXPECT_EQ(number.Store(), 1);
    EXPECT_TRUE(fs::is_symlink(directory / "number.dat"));
    EXPECT_FALSE(fs::exists(directory / "target"));
    // The name leads elsewhere when the commit fails.
    WriteFile(directory / "target", kBody);
    WriteFile(directory / "another", "precious content");
    number.whileWriting = [&] {
        fs::remove(directory / "number.dat");
        fs::create_symlink("another", directory / "number.dat");
        fail();
    };
    EXPECT_EQ(number.Store(), 1);
    EXPECT_EQ(ReadFile(directory / "another"), "precious content");
    EXPECT_EQ(ReadFile(directory / "target"), kBody);
}

TEST(Replacement, ThatWasExchangedTakesNoPlace) {
    const TempDirectory directory;
    WriteFile(directory / "number.dat", "old");
    WriteFile(directory / "victim", "precious");
    Number number(directory, false);
    number.whileWriting = [&] {
        for (const auto& entry : fs::directory_iterator(directory.Path())) {
            if (entry.path().string().find(".new") == std::string::npos) continue;
            fs::remove(entry.path());
            fs::create_symlink("victim", entry.path());
            break;
        }
    };
    EXPECT_EQ(number.Store(), 1);
    EXPECT_EQ(ReadFile(directory / "number.dat"), "old");
    EXPECT_EQ(ReadFile(directory / "victim"), "precious");
}

TEST(Replacement, IsMadeForNamesOfAnyLength) {
    const TempDirectory directory;
    const std::string name(255, 'x');
    WriteFile(directory / name, "old");
    Number number(directory, false);
    number.SetFileName(name);
    number.whileWriting = [&] { EXPECT_EQ(ReadFile(directory / name), "old"); };
    EXPECT_EQ(number.Store(IPOBase::eWriteBinary, false), 0);
    EXPECT_EQ(ReadFile(directory / name), kBody);
}

// ---- whose changes ----

TEST(Fork, LeavesUnsavedChangesToTheProcessThatMadeThem) {
    struct Case {
        const char* what;
        std::function<void(Number&)> inChild;
        int bodies;  // with that of the parent
    };
    const Case cases[] = {{"nothing", [](Number&) {}, 1},
                          {"a commit of its own", [](Number& number) { number.Commit(false); }, 2},
                          {"a change of its own", [](Number& number) { number.Change(); }, 2}};
    for (const Case& c : cases) {
        const TempDirectory directory;
        {
            auto number = std::make_unique<Number>(directory);
            number->CreateStorageInterface(IPOBase::eWriteBinary, true);
            number->Change();
            const pid_t child = fork();
            if (child == 0) {
                c.inChild(*number);
                number.reset();
                _exit(0);
            }
            waitpid(child, nullptr, 0);
        }
        EXPECT_EQ(ReadFile(directory / "number.dat").size(), 4u * static_cast<unsigned>(c.bodies))
            << c.what;
    }
}

TEST(LoadFile, ThatRaisesLeavesNothingUnsaved) {
    const TempDirectory directory;
    {
        const auto object = samples::New("POSolutionMetrics");
        object->SetDirectory(directory.Path());
        object->CreateStorageInterface(IPOBase::eWriteDefault, true);
        samples::Fill(*object);
        dynamic_cast<IPOSolutionMetrics&>(*object).SetStorageTypeOverride(0, 99);
        EXPECT_EQ(Raised([&] { object->LoadFile("any"); }),
                  "Failed to create storage interface for persistent object.");
    }
    EXPECT_TRUE(fs::is_empty(directory.Path()));
}

// ---- durability ----

TEST(Durability, BringsWhatItAcknowledgesToTheDisk) {
    struct Case {
        bool appends;
        bool existed;
        std::vector<std::string> expected;  // in this order
    };
    const Case cases[] = {
        {true, false, {"number.dat.undo", "directory", "number.dat", "directory", "directory"}},
        {true, true, {"number.dat.undo", "directory", "number.dat", "directory"}},
        {false, false, {"new", "directory"}},
        {false, true, {"new", "directory"}}};
    for (const Case& c : cases) {
        for (std::size_t failing = 0; failing <= c.expected.size(); ++failing) {
            const TempDirectory directory;
            if (c.existed) WriteFile(directory / "number.dat", "old!");
            std::vector<std::string> names;
            Number number(directory, c.appends);
            synced = &names;
            failingSync = failing;
            const int result = number.Store();
            synced = nullptr;
            failingSync = 0;
            for (std::string& name : names)
                if (name.find(".new") != std::string::npos) name = "new";
            EXPECT_EQ(result, failing == 0 ? 0 : 1);
            const auto reached = static_cast<std::ptrdiff_t>(failing == 0 ? names.size() : failing);
            EXPECT_EQ(names,
                      std::vector<std::string>(c.expected.begin(), c.expected.begin() + reached));
            EXPECT_FALSE(fs::exists(directory / "number.dat.undo"));
            EXPECT_FALSE(fs::exists(directory / "number.lck"));
            if (failing == 0) continue;
            EXPECT_NE(number.GetLastError().find("(Input/output error)"), std::string::npos);
            // Only what was renamed over the old file cannot be taken back.
            const bool renamed = !c.appends && c.existed && failing == 2;
            EXPECT_EQ(ReadFile(directory / "number.dat"), renamed     ? kBody
                                                          : c.existed ? "old!"
                                                                      : "");
            EXPECT_EQ(fs::exists(directory / "number.dat"), c.existed);
        }
    }
}

TEST(Durability, IsAMatterOfEveryObject) {
    for (const std::string& name : samples::ClassNames()) {
        const TempDirectory directory;
        const auto object = samples::New(name);
        const auto control = std::dynamic_pointer_cast<IPOStorageControl>(object);
        ASSERT_TRUE(control) << name;
        object->SetDirectory(directory.Path());
        object->CreateStorageInterface(IPOBase::eWriteDefault, true);
        samples::Fill(*object);
        std::vector<std::string> names;
        synced = &names;
        EXPECT_EQ(control->SetDurability(static_cast<IPOStorageControl::EDurability>(3)), 1);
        EXPECT_EQ(object->Commit(true), 0);
        EXPECT_FALSE(names.empty());
        names.clear();
        EXPECT_EQ(control->SetDurability(IPOStorageControl::eUnsynced), 0);
        EXPECT_EQ(object->Commit(true), 0);
        EXPECT_EQ(names, std::vector<std::string>{});
        synced = nullptr;
    }
}

// ---- reasons ----

TEST(LastError, SaysWhatFailedWhereAndWhy) {
    const TempDirectory directory;
    const CountedPauses pauses;
    const auto object = samples::New("POModeInfo");
    IPOStorageControl& control = fieldstore::Control(*object);
    const std::string path = directory / "modeinfo.dat";
    EXPECT_EQ(control.GetLastError(), "");
    fieldstore::SetDirectory(*object, fs::path(directory.Path()).parent_path());
    EXPECT_EQ(Raised([&] { fieldstore::LoadOrThrow(*object); }),
              "Cannot load " + path + ": Failed to open input stream (No such file or directory).");
    fs::create_directory(path);
    object->Load();
    EXPECT_EQ(control.GetLastError(),
              "Cannot load " + path + ": Failed to open input stream (Is a directory).");
    fs::remove(path);
    WriteFile(path, "1\nx");
    object->Load();
    EXPECT_EQ(control.GetLastError(), "Cannot load " + path + ": Bad stream.");
    WriteFile(path, "");
    EXPECT_EQ(object->Load(), 0);
    EXPECT_EQ(control.GetLastError(), "");
    samples::Fill(*object);
    fieldstore::CreateStorage(*object, fieldstore::StorageType::WriteDefault,
                              fieldstore::Locking::On);
    WriteFile(directory / "modeinfo.lck", "");
    EXPECT_EQ(Raised([&] { fieldstore::CommitOrThrow(*object); }),
              "Cannot store " + path + ": Unable to acquire file lock, " + directory.Path() +
                  "modeinfo.lck (File exists).");
    fs::remove(directory / "modeinfo.lck");
    fieldstore::CommitOrThrow(*object);
    EXPECT_EQ(control.GetLastError(), "");
    EXPECT_EQ(Raised([&] { fieldstore::CreateStorage(*object, fieldstore::StorageType(9)); }),
              "Cannot build storage on " + path + ": Unsupported storage creation type parameter.");
    EXPECT_EQ(Raised([&] { fieldstore::SetDirectory(*object, directory / "none"); }),
              "There is no directory " + directory.Path() + "none.");
    if (!fs::exists("/dev/full")) GTEST_SKIP() << "no device that is always full";
    object->SetDirectory("");
    object->SetFileName("/dev/full");
    object->CreateStorageInterface(IPOBase::eWriteText, false);
    EXPECT_EQ(object->Commit(true), 1);
    EXPECT_EQ(
        control.GetLastError(),
        "Cannot store /dev/full: The system did not take all of it (No space left on device).");
}

}  // namespace
