// SPDX-License-Identifier: Apache-2.0
// File streams, locks and data-service streams.

#include <limits>

#include "streams/PODataServiceIO.h"
#include "streams/POStreamFileIO.h"
#include "streams/POWindowsFileLocker.h"
#include "tests/support.h"

namespace {

using support::Bytes;
using support::CountedPauses;
using support::Raised;
using support::ReadFile;
using support::WriteFile;

void Nothing(const std::string&) {}

POStreamFileIO Writer(const std::string& path) {
    return {false, path, POStreamIO::OutputCloser(&POStreamFileIO::CloseOutputFile)};
}
POStreamFileIO Reader(const std::string& path) {
    return {false, path, POStreamIO::InputPreparer(&Nothing)};
}

TEST(FileStream, AppendsOrTruncates) {
    const support::TempDirectory directory;
    const std::string path = directory / "f";
    struct Case {
        int mode;
        std::string expected;
    };
    const Case cases[] = {{0, "a"}, {1, "aa"}, {1, "aaa"}, {7, "a"}};
    for (const Case& c : cases) {
        POStreamFileIO stream = Writer(path);
        stream.OpenOutput(c.mode);
        EXPECT_EQ(stream.Tell(), c.expected.size() - 1);
        stream.Write('a', "");
        stream.CloseOutput();
        EXPECT_EQ(ReadFile(path), c.expected);
    }
}

TEST(FileStream, TellsAndSeeksAlsoAtTheEnd) {
    const support::TempDirectory directory;
    POStreamFileIO writer = Writer(directory / "f");
    writer.OpenOutput(0);
    for (const double value : {1.0, 2.0, 3.0}) writer.Write(value, "");
    EXPECT_EQ(writer.Tell(), 24u);
    writer.Seek(std::uint64_t{8});
    writer.Write(5.0, "");
    writer.Close();

    POStreamFileIO reader = Reader(directory / "f");
    reader.OpenInput();
    double value = 0;
    for (int i = 0; i < 3; ++i) reader.Read(value);
    EXPECT_EQ(Raised([&] { reader.Read(value); }), "End of file reached;");
    EXPECT_EQ(reader.Tell(), 24u);
    EXPECT_EQ(Raised([&] { reader.Seek(std::streampos(0)); }), "Bad stream;");
    reader.Seek(std::uint64_t{8});
    reader.Read(value);
    EXPECT_EQ(value, 5.0);
    EXPECT_EQ(reader.GetPosition(), std::streampos(16));
    reader.Seek(std::streampos(0));
    reader.Read(value);
    EXPECT_EQ(value, 1.0);
}

TEST(FileStream, OpensAMissingFileOrADirectoryWithoutRaising) {
    const support::TempDirectory directory;
    for (const std::string& path : {directory / "missing", directory.Path()}) {
        POStreamFileIO stream = Reader(path);
        stream.OpenInput();
        EXPECT_FALSE(stream.IsGood()) << path;
        char value = 0;
        EXPECT_EQ(Raised([&] { stream.Read(value); }), "Bad stream;");
    }
}

TEST(FileStream, RunsItsCallbacks) {
    const support::TempDirectory directory;
    std::string prepared;
    POStreamFileIO reader(false, directory / "r", [&prepared](const std::string& name) {
        prepared = name;
        WriteFile(name, std::string(Bytes().I32(4)));
    });
    reader.OpenInput();
    int value = 0;
    reader.Read(value);
    EXPECT_EQ(prepared, directory / "r");
    EXPECT_EQ(value, 4);

    int closed = 0;
    POStreamFileIO writer(false, directory / "w", [&closed](const std::string&, std::ostream* s) {
        ++closed;
        POStreamFileIO::CloseOutputFile("", s);
    });
    writer.OpenOutput(0);
    writer.Write(7, "");
    writer.Close();
    EXPECT_EQ(closed, 1);
    EXPECT_FALSE(writer.IsWriting());

    POStreamFileIO::CloseOutputFile("", nullptr);

    // A reader that writes closes its file itself.
    reader.Close();
    reader.OpenOutput(1);
    reader.Write(5, "");
    reader.Close();
    EXPECT_EQ(ReadFile(directory / "r"), std::string(Bytes().I32(4).I32(5)));
}

TEST(FileStream, WaitsForAFileThatCannotBeOpened) {
    const support::TempDirectory directory;
    const CountedPauses pauses;
    POStreamFileIO stream = Writer(directory / "missing/f");
    EXPECT_EQ(Raised([&] { stream.OpenOutput(0); }), "Failed to open output stream.");
    EXPECT_EQ(CountedPauses::Number(), 199);
    EXPECT_EQ(CountedPauses::Microseconds(), 199 * 2'000'000);
}

TEST(FileStream, ReportsAFullDiskAtTheLatestWhenClosing) {
    if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "no device that is always full";
    POStreamFileIO stream = Writer("/dev/full");
    stream.OpenOutput(0);
    stream.Write(1, "");  // still in the buffer
    EXPECT_THROW(stream.Close(), std::ios_base::failure);
    EXPECT_FALSE(stream.IsWriting()) << "the stream is let go of all the same";
    stream.OpenOutput(0);
    const std::vector<double> large(100000);
    EXPECT_THROW(stream.Write(large, 1, "", ""), std::ios_base::failure);
}

TEST(FileStream, Destroys) {
    const support::TempDirectory directory;
    const CountedPauses pauses;
    WriteFile(directory / "f", "x");
    POStreamFileIO stream = Reader(directory / "f");
    EXPECT_TRUE(stream.Exists());
    stream.Destroy();
    EXPECT_FALSE(stream.Exists());
    stream.Destroy();
    EXPECT_EQ(CountedPauses::Number(), 0);

    Reader("").Destroy();
    EXPECT_EQ(CountedPauses::Number(), 200);
    EXPECT_EQ(CountedPauses::Microseconds(), 20'000'000);

    if (support::MadeLink("loop", directory / "loop")) {
        EXPECT_NE(Raised([&] { Reader(directory / "loop").Exists(); }).find("exists"),
                  std::string::npos);
    }
    std::filesystem::create_directories(directory / "full/below");
    POStreamFileIO stuck = Reader(directory / "full");
    EXPECT_EQ(Raised([&] { stuck.Destroy(); }), "Unable to destroy stream file.");
    EXPECT_EQ(CountedPauses::Number(), 400);
}

TEST(FileStream, ReadsLargeVectorsOfAllKinds) {
    // Beyond 64 MiB vectors grow in steps; the sum over a ramp shows that each part arrived.
    const support::TempDirectory directory;
    constexpr std::size_t count = 9'000'000;
    {
        std::vector<double> ramp(count);
        for (std::size_t i = 0; i < count; ++i) ramp[i] = static_cast<double>(i);
        POStreamFileIO writer = Writer(directory / "f");
        writer.OpenOutput(0);
        writer.Write(ramp, 1, "", "");
        writer.Write(std::vector<std::vector<int>>(3'000'000, std::vector<int>{1}), 1, "", "");
        writer.Close();
    }
    POStreamFileIO reader = Reader(directory / "f");
    reader.OpenInput();
    std::vector<double> read;
    reader.Read(read);
    ASSERT_EQ(read.size(), count);
    double sum = 0;
    for (const double value : read) sum += value;
    EXPECT_EQ(sum, static_cast<double>(count) * static_cast<double>(count - 1) / 2);
    std::vector<std::vector<int>> rows;
    reader.Read(rows);
    EXPECT_EQ(rows, std::vector<std::vector<int>>(3'000'000, std::vector<int>{1}));
}

// ---- locks ----

std::string LockName() {
    return "Lock";
}

TEST(FileLock, IsAnEmptyMarkerThatShutsOthersOut) {
    const support::TempDirectory directory;
    const CountedPauses pauses;
    POWindowsFileLocker first(directory / "f.lck", &LockName);
    POWindowsFileLocker second(directory / "f.lck", &LockName);
    first.Lock();
    EXPECT_EQ(ReadFile(directory / "f.lck"), "");
    EXPECT_TRUE(std::filesystem::exists(directory / "f.lck"));
    EXPECT_EQ(Raised([&] { second.Lock(); }), "Unable to acquire file lock.");
    EXPECT_EQ(CountedPauses::Microseconds(), 199 * 100'000);
    first.Unlock();
    second.Lock();
    second.UnlockIfLocked();
    EXPECT_FALSE(std::filesystem::exists(directory / "f.lck"));
    first.UnlockIfLocked();
    first.Unlock();
    EXPECT_EQ(CountedPauses::Microseconds(), 199 * 100'000);
}

TEST(FileLock, IsTakenAsSoonAsTheOtherGivesItBack) {
    static std::string marker;
    static int naps;
    const support::TempDirectory directory;
    marker = directory / "f.lck";
    // The holder goes when the waiting writer has looked this often; patience for one pause is
    // left.
    for (const int looks : {1, 5, 40}) {
        WriteFile(marker, "");
        naps = looks;
        const auto previous = fieldstore::SetPauseFunction([](std::chrono::microseconds nap) {
            EXPECT_LE(nap.count(), 2000);
            if (--naps == 0) std::filesystem::remove(marker);
        });
        POWindowsFileLocker locker(marker, &LockName);
        locker.SetRetry(0.1, 2);
        EXPECT_EQ(Raised([&] { locker.Lock(); }), "") << "after the one attempt that counts";
        fieldstore::SetPauseFunction(previous);
        EXPECT_EQ(naps, 0);
        EXPECT_TRUE(std::filesystem::exists(marker));
    }
}

TEST(FileLock, IsLeftToTheOneWithTheClaimEveryOtherTime) {
    static std::string marker, claim;
    static bool otherHasHadIt;
    const support::TempDirectory directory;
    marker = directory / "f.lck";
    claim = directory / "f.lck.next";
    constexpr int kTimes = 60;
    int left = 0;
    for (int time = 0; time < kTimes; ++time) {
        WriteFile(claim, "");
        otherHasHadIt = false;
        const auto previous = fieldstore::SetPauseFunction([](std::chrono::microseconds) {
            if (otherHasHadIt) return static_cast<void>(std::filesystem::remove(marker));
            otherHasHadIt = true;
            std::filesystem::rename(claim, marker);
        });
        POWindowsFileLocker locker(marker, &LockName);
        locker.SetRetry(0.1, 2);
        EXPECT_EQ(Raised([&] { locker.Lock(); }), "");
        fieldstore::SetPauseFunction(previous);
        if (!std::filesystem::exists(claim)) ++left;
        locker.Unlock();
    }
    EXPECT_TRUE(left > 0 && left < kTimes) << left;
}

TEST(FileLock, IsTakenWhateverIsLeftInTheClaimsPlace) {
    struct Case {
        const char* what;
        std::function<void(const std::string&)> make;
        bool stays;
    };
    const Case cases[] = {
        {"a dead writer's", [](const std::string& path) { WriteFile(path, ""); }, false},
        {"data", [](const std::string& path) { WriteFile(path, "x"); }, true},
        {"a directory", [](const auto& path) { std::filesystem::create_directory(path); }, true},
        {"a link",
         [](const auto& path) {
             if (!support::MadeLink("f", path)) WriteFile(path, "x");
         },
         true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        const support::TempDirectory directory;
        const CountedPauses pauses;
        c.make(directory / "f.lck.next");
        POWindowsFileLocker locker(directory / "f.lck", &LockName);
        locker.SetRetry(0.1, 2);
        for (int time = 0; time < 60; ++time) {
            EXPECT_EQ(Raised([&] { locker.Lock(); }), "");
            EXPECT_EQ(Raised([&] { locker.Lock(); }), "Unable to acquire file lock.");
            locker.Unlock();
        }
        const auto left = std::filesystem::symlink_status(directory / "f.lck.next").type();
        EXPECT_EQ(left != std::filesystem::file_type::not_found, c.stays);
    }
}

TEST(FileLock, FollowsItsRetryPolicy) {
    const support::TempDirectory directory;
    WriteFile(directory / "f.lck", "");
    struct Case {
        double interval;
        unsigned int count;
        std::int64_t microseconds;
    };
    constexpr double kNotANumber = std::numeric_limits<double>::quiet_NaN();
    const Case cases[] = {{0.01, 3, 20'000}, {0.1, 1, 0},  {0.1, 0, 0},
                          {0.0000009, 5, 0}, {-1.0, 4, 0}, {kNotANumber, 4, 0}};
    EXPECT_EQ(fieldstore::PauseFromSeconds(1e300), std::chrono::hours(1));
    for (const Case& c : cases) {
        const CountedPauses pauses;
        POWindowsFileLocker locker(directory / "f.lck", &LockName);
        locker.SetRetry(c.interval, c.count);
        EXPECT_EQ(Raised([&] { locker.Lock(); }), "Unable to acquire file lock.");
        EXPECT_EQ(CountedPauses::Microseconds(), c.microseconds);
    }
    const auto counted = fieldstore::SetPauseFunction(nullptr);
    POWindowsFileLocker impatient(directory / "f.lck", &LockName);
    impatient.SetRetry(0.000001, 2);
    EXPECT_EQ(Raised([&] { impatient.Lock(); }), "Unable to acquire file lock.");
    fieldstore::SetPauseFunction(counted);
    std::filesystem::create_directories(directory / "held.lck/below");
    const CountedPauses pauses;
    POWindowsFileLocker stuck(directory / "held.lck", &LockName);
    stuck.SetRetry(0.01, 3);
    EXPECT_EQ(Raised([&] { stuck.Unlock(); }), "Unable to release file lock.");
    EXPECT_EQ(CountedPauses::Number(), 3);
}

// ---- data service ----

TEST(DataService, AcceptsPrimitivesAndRefusesTheRest) {
    PODataServiceIO stream("", &Nothing);
    int number = 7;
    std::string text = "kept";
    stream.OpenOutput(1);
    stream.Read(number);
    stream.Read(text, "\n", 5);
    stream.Write(3.5, "\n");
    stream.Write(std::string("x"), "\n");
    stream.Close();
    EXPECT_EQ(number, 7);
    EXPECT_EQ(text, "kept");
    EXPECT_EQ(stream.Tell(), 0u);
    EXPECT_TRUE(stream.Exists() && stream.IsReading());
    EXPECT_FALSE(stream.IsWriting() || stream.IsGood() || stream.IsValid());
    EXPECT_EQ(Raised([&] { stream.Seek(std::uint64_t{0}); }),
              "PODataServiceIO::Seek: Not implemented.");
    std::vector<int> numbers;
    std::pair<int, int> both;
    char buffer[1];
    EXPECT_EQ(Raised([&] { stream.Seek(std::streampos(0)); }), "Bad stream;");
    EXPECT_EQ(Raised([&] { stream.Read(numbers); }), "Bad stream;");
    EXPECT_EQ(Raised([&] { stream.Read(both); }), "Bad stream;");
    EXPECT_EQ(Raised([&] { stream.Read(buffer, 1); }), "Bad stream;");
    EXPECT_EQ(Raised([&] { stream.Write(numbers, 1, "", ""); }), "Bad stream;");
    EXPECT_EQ(Raised([&] { stream.Write(both, "", ""); }), "Bad stream;");
    EXPECT_EQ(Raised([&] { stream.Write("", std::uint64_t{0}); }), "Bad stream;");
}

}  // namespace
