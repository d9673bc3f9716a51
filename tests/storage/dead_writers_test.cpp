// SPDX-License-Identifier: Apache-2.0
// What writers leave that die, and several processes at one file.

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

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
