// SPDX-License-Identifier: Apache-2.0
// What commits promise: on which file they build, what they bring to the disk, what they undo,
// whose changes they store, and how they say why they failed.

#include <functional>

#include "core/AppendMark.h"
#include "streams/FileNames.h"
#include "tests/samples/Samples.h"
#include "tests/storage/Number.h"

namespace {

using support::CountedPauses;
using support::kNumberBody;
using support::Number;
using support::Raised;
using support::ReadFile;
using support::TempDirectory;
using support::WriteFile;
namespace fs = std::filesystem;

// ---- marks of appends ----

TEST(Mark, BesideTheLockCountsOnlyForTheDataThatItNames) {
    const TempDirectory directory;
    const std::string place = directory / "number.lck.undo";
    fieldstore::AppendRecord record = fieldstore::AppendRecord::Now(4, "/elsewhere/number.dat");
    WriteFile(directory / "number.dat", kNumberBody + "ab");
    WriteFile(place, record.Text());
    Number number(directory);
    EXPECT_EQ(number.Store(), 1) << "it says nothing about these";
    EXPECT_EQ(ReadFile(place), record.Text());
    record.dataPath = fieldstore::platform::WholePath(directory / "number.dat");
    WriteFile(place, record.Text());
    EXPECT_EQ(number.Store(), 0);
    EXPECT_EQ(ReadFile(directory / "number.dat"), kNumberBody + kNumberBody);
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
        auto record = fieldstore::AppendRecord::Now(4, fieldstore::platform::WholePath(data));
        record.writer->host = c.host;
        record.boot = c.boot;
        for (const char* place : {"number.dat.undo", "number.lck.undo"}) {
            WriteFile(data, kNumberBody + std::string(8, '\0'));
            WriteFile(directory / place, record.Text());
            Number reader(directory);
            ASSERT_EQ(reader.Load(), 0);
            EXPECT_EQ(reader.Bodies(), c.believed ? 3 : 1);
            Number writer(directory);
            writer.CreateStorageInterface(IPOBase::eWriteBinary, true);
            writer.SetFileName("another.dat");  // takes effect with the next storage
            EXPECT_EQ(writer.Commit(true), 0);
            EXPECT_EQ(ReadFile(data),
                      kNumberBody + std::string(c.believed ? 8 : 0, '\0') + kNumberBody);
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
                      stored + support::InTextFile(result == 0 ? "5\n" : ""));
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
    WriteFile(directory / "number.dat", kNumberBody);
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
        EXPECT_EQ(ReadFile(directory / "number.dat"), kNumberBody);
    }
}

TEST(Replacement, IsMadeForNamesOfAnyLength) {
    const TempDirectory directory;
    const std::string name(255, 'x');
    WriteFile(directory / name, "old");
    Number number(directory, false);
    number.SetFileName(name);
    number.whileWriting = [&] { EXPECT_EQ(ReadFile(directory / name), "old"); };
    EXPECT_EQ(number.Store(IPOBase::eWriteBinary, false), 0);
    EXPECT_EQ(ReadFile(directory / name), kNumberBody);
}

// ---- whose changes ----

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
