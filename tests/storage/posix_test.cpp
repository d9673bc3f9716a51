// SPDX-License-Identifier: Apache-2.0
// What commits promise where there are forks, links, pipes and owners: what they bring to the disk,
// what they undo, what writers leave that die, and several processes at one file.

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <functional>

#include "core/AppendMark.h"
#include "streams/Writer.h"
#include "tests/samples/Samples.h"
#include "tests/storage/EveryClass.h"
#include "tests/storage/Number.h"
#include "tests/storage/Probe.h"

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

using namespace support;
namespace fs = std::filesystem;

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
        WriteFile(data, kNumberBody);
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
        EXPECT_EQ(ReadFile(data), kNumberBody + kNumberBody);
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
        EXPECT_EQ(ReadFile(data),
                  kNumberBody + kNumberBody + (vouched ? kNumberBody + kNumberBody : "ab"));
        EXPECT_TRUE(fs::is_empty(directory / "locks"));
    }
}

TEST(AppendMark, ThatIsNoFileSaysNothing) {
    const TempDirectory directory;
    ASSERT_EQ(CommitSample(directory, "POModeInfo", IPOBase::eWriteText), 0);
    const std::string path = directory / "modeinfo.dat";
    std::filesystem::resize_file(path, std::filesystem::file_size(path) - 2);
    ASSERT_EQ(mkfifo((path + ".undo").c_str(), 0600), 0);
    EXPECT_EQ(CommitSample(directory, "POModeInfo", IPOBase::eWriteText, 1), 1);
}

// ---- names ----

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

// ---- what is undone, what is replaced ----

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
    WriteFile(directory / "target", kNumberBody);
    WriteFile(directory / "another", "precious content");
    number.whileWriting = [&] {
        fs::remove(directory / "number.dat");
        fs::create_symlink("another", directory / "number.dat");
        fail();
    };
    EXPECT_EQ(number.Store(), 1);
    EXPECT_EQ(ReadFile(directory / "another"), "precious content");
    EXPECT_EQ(ReadFile(directory / "target"), kNumberBody);
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

TEST(Replacing, LeavesTheOldContentUntilTheNewIsWhole) {
    const TempDirectory directory;
    const std::string path = directory / "probe.dat";
    const std::string whole = Bytes().I32(5);
    struct Case {
        const char* what;
        std::function<void()> prepare;
        bool beside;  // written beside the file
    };
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

// ---- processes ----

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
            EXPECT_EQ(ReadFile(directory / "number.dat"), renamed     ? kNumberBody
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

}  // namespace
