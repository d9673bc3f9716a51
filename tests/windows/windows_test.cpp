// SPDX-License-Identifier: Apache-2.0
// What is different on Windows: names, line ends, files that others have open, processes that are
// killed.

#include <functional>

#include "core/AppendMark.h"
#include "streams/FileNames.h"
#include "streams/POWindowsFileLocker.h"
#include "streams/Platform.h"
#include "streams/Windows.h"
#include "tests/storage/EveryClass.h"
#include "tests/storage/Number.h"
#include "tests/storage/Probe.h"

namespace {

using namespace support;
using fieldstore::platform::Handle;
using fieldstore::platform::kSharedWithAll;
using fieldstore::platform::NameOf;
using fieldstore::platform::Wide;
namespace fs = std::filesystem;

/// A file that somebody else has open, with what is shared of it.
HANDLE OpenElsewhere(const std::string& path, DWORD shared) {
    return CreateFileW(Wide(path).c_str(), GENERIC_READ, shared, nullptr, OPEN_EXISTING, 0,
                       nullptr);
}

/// While it lives, the fifth pause between two attempts closes a handle.
class ClosedWhileWaiting {
public:
    explicit ClosedWhileWaiting(HANDLE handle)
        : previous(fieldstore::SetPauseFunction([](std::chrono::microseconds) {
              if (++pauses == 5) CloseHandle(open);
          })) {
        open = handle;
        pauses = 0;
    }
    ~ClosedWhileWaiting() { fieldstore::SetPauseFunction(previous); }
    ClosedWhileWaiting(const ClosedWhileWaiting&) = delete;
    ClosedWhileWaiting& operator=(const ClosedWhileWaiting&) = delete;
    static int Pauses() { return pauses; }

private:
    static inline HANDLE open = nullptr;
    static inline int pauses = 0;
    fieldstore::PauseFunction previous;
};

// ---- names ----

TEST(WindowsNames, AreUtf8OfAnyLengthWithSlashesOfBothKinds) {
    const std::string gross =
                          "Gr\xC3\xB6\xC3\x9F"
                          "e",
                      japanese = "\xE9\x9B\xBB\xE7\x95\x8C";
    const std::string deep = std::string(120, 'd') + "/" + std::string(120, 'e') + "/" + japanese;
    for (const std::string& below : {gross, japanese, deep}) {
        for (const char separator : {'/', '\\'}) {
            SCOPED_TRACE(below + separator);
            const TempDirectory directory;
            std::string made = directory.Path();
            std::vector<std::wstring> directories;
            for (const auto& part : fs::path(Wide(below))) {
                directories.push_back(fieldstore::platform::SystemName(made += NameOf(part)));
                ASSERT_NE(CreateDirectoryW(directories.back().c_str(), nullptr), 0);
                made += separator;
            }
            const auto object = samples::New("POModeInfo");
            object->SetDirectory(made);
            object->SetFileName(gross + ".dat");
            samples::Fill(*object);
            ASSERT_EQ(object->CreateStorageInterface(IPOBase::eWriteDefault, true), 0);
            for (int commit = 0; commit < 2; ++commit) EXPECT_EQ(object->Commit(true), 0);
            EXPECT_EQ(object->Load(), 0);
            std::error_code error;
            EXPECT_EQ(fieldstore::platform::NamesIn(made, error),
                      std::vector<std::string>{gross + ".dat"});
            EXPECT_EQ(object->DeleteStorage(), 0);
            EXPECT_EQ(object->Load(), 2);
            for (; !directories.empty(); directories.pop_back())
                EXPECT_NE(RemoveDirectoryW(directories.back().c_str()), 0);
        }
    }
}

TEST(WindowsNames, ThatAreNoUtf8AreInTheCodePageOfTheSystem) {
    wchar_t expected[8] = {};
    ASSERT_NE(MultiByteToWideChar(CP_ACP, 0, "\xFC", 1, expected, 8), 0);
    EXPECT_EQ(Wide("\xFC"), expected);
    EXPECT_EQ(Wide("\xC3\xBC"), L"\u00FC");
}

TEST(WindowsNames, OfOneFileAreTheSameWhicheverWayTheyAreWritten) {
    const TempDirectory directory;
    WriteFile(directory / "Data.dat", "");
    using fieldstore::platform::WholePath;
    const std::string whole = WholePath(directory / "Data.dat");
    EXPECT_EQ(WholePath(directory / "data.DAT"), whole);
    EXPECT_EQ(WholePath(NameOf(fs::path(directory / "x/../Data.dat").make_preferred())), whole);
    EXPECT_EQ(WholePath(directory / "missing/f").find("/"), std::string::npos);
}

// ---- line ends ----

TEST(WindowsText, LoadsWithLineEndsOfEitherKindAndVersionLine) {
    const TempDirectory directory;
    for (const char* end : {"\n", "\r\n"}) {
        const auto object = In(directory, "POSolutionMetrics");
        object->SetVersion("made by us");
        samples::Fill(*object);
        object->CreateStorageInterface(IPOBase::eWriteText, false);
        ASSERT_EQ(object->Commit(true), 0);
        const std::string path = directory / "solutiondata.dat";
        const std::string content = ReadFile(path);
        std::string converted;
        for (const char c : content) {
            if (c == '\n')
                converted += end;
            else if (c != '\r')
                converted += c;
        }
        WriteFile(path, converted);
        std::string held;
        EXPECT_EQ(LoadIn(directory, "POSolutionMetrics", IPOBase::eReadText, held), 0);
        EXPECT_EQ(held, samples::Describe(*object));
        fs::remove(path);
    }
}

// ---- files that others have open ----

TEST(WindowsSharing, AReplacedFileWaitsForAReaderThatKeepsIt) {
    const TempDirectory directory;
    const std::string path = directory / "probe.dat";
    for (const DWORD shared : {DWORD{FILE_SHARE_READ}, DWORD{FILE_SHARE_READ | FILE_SHARE_WRITE}}) {
        WriteFile(path, "old!");
        Probe probe;
        probe.SetFlags(fieldstore::kReplacing);
        probe.SetDirectory(directory.Path());
        ASSERT_EQ(probe.CreateStorageInterface(IPOBase::eWriteDefault, false), 0);
        probe.Change();
        const HANDLE reader = OpenElsewhere(path, shared);
        ASSERT_NE(reader, INVALID_HANDLE_VALUE);
        {
            const CountedPauses pauses;
            if (shared != FILE_SHARE_READ) {
                EXPECT_EQ(probe.Commit(false), 1);
                EXPECT_EQ(ReadFile(path), "old!");
                EXPECT_EQ(CountedPauses::Microseconds(), 199 * 100'000);
                std::error_code error;
                EXPECT_EQ(fieldstore::platform::NamesIn(directory.Path(), error).size(), 1u);
            }
        }
        probe.Change();
        const ClosedWhileWaiting closed(reader);
        EXPECT_EQ(probe.Commit(false), 0);
        EXPECT_EQ(ReadFile(path), kNumberBody);
        EXPECT_EQ(closed.Pauses(), 5);
    }
}

TEST(WindowsSharing, OneReaderOfTheLibraryStopsNoOther) {
    const TempDirectory directory;
    const std::string path = directory / "probe.dat";
    WriteFile(path, kNumberBody);
    const auto reader = fieldstore::platform::OpenForReading(path);
    EXPECT_TRUE(fieldstore::platform::OpenForReading(path).IsOpen());
    const CountedPauses pauses;
    Probe probe;
    probe.SetDirectory(directory.Path());
    ASSERT_EQ(probe.CreateStorageInterface(IPOBase::eWriteDefault, true), 0);
    probe.Change();
    EXPECT_EQ(probe.Commit(false), 0);
    EXPECT_EQ(ReadFile(path), kNumberBody + kNumberBody);
    EXPECT_EQ(probe.DeleteStorage(), 0) << "an open file, too";
    EXPECT_EQ(CountedPauses::Number(), 0);
}

TEST(WindowsSharing, WhatAnotherKeepsToItselfIsWaitedFor) {
    const TempDirectory directory;
    const std::string path = directory / "probe.dat";
    WriteFile(path, kNumberBody);
    Probe probe;
    probe.SetDirectory(directory.Path());
    ASSERT_EQ(probe.CreateStorageInterface(IPOBase::eWriteDefault, false), 0);
    {
        probe.Change();
        const ClosedWhileWaiting closed(OpenElsewhere(path, FILE_SHARE_READ));
        EXPECT_EQ(probe.Commit(false), 0);
        EXPECT_EQ(closed.Pauses(), 5);
        EXPECT_EQ(ReadFile(path), kNumberBody + kNumberBody);
    }
    const ClosedWhileWaiting closed(OpenElsewhere(path, FILE_SHARE_READ | FILE_SHARE_WRITE));
    EXPECT_EQ(probe.DeleteStorage(), 0);
    EXPECT_EQ(closed.Pauses(), 5);
    EXPECT_FALSE(fs::exists(path));
}

TEST(WindowsSharing, AMarkIsReadWhileItIsWritten) {
    const TempDirectory directory;
    const std::string place = directory / "f.undo";
    EXPECT_FALSE(fieldstore::platform::CreateExclusively(place, "12", true));
    EXPECT_EQ(fieldstore::platform::CreateExclusively(place), std::errc::file_exists);
    const Handle writer(CreateFileW(Wide(place).c_str(), GENERIC_WRITE, kSharedWithAll, nullptr,
                                    OPEN_EXISTING, 0, nullptr));
    EXPECT_EQ(fieldstore::AppendMark::At(place).record.length, 12u);
}

// ---- processes ----

/// A process of the writer_host beside this program, which is ended with the object.
class WriterHost {
public:
    explicit WriterHost(const std::string& words) {
        wchar_t self[MAX_PATH] = {};
        GetModuleFileNameW(nullptr, self, MAX_PATH);
        const auto program = fs::path(self).parent_path() / "writer_host.exe";
        std::wstring line = L"\"" + program.native() + L"\" " + Wide(words);
        SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
        HANDLE written = nullptr;
        CreatePipe(&output, &written, &inherited, 0);
        SetHandleInformation(output, HANDLE_FLAG_INHERIT, 0);
        STARTUPINFOW start{};
        start.cb = sizeof start;
        start.dwFlags = STARTF_USESTDHANDLES;
        start.hStdOutput = written;
        start.hStdError = GetStdHandle(STD_ERROR_HANDLE);
        EXPECT_NE(CreateProcessW(program.c_str(), line.data(), nullptr, nullptr, TRUE, 0, nullptr,
                                 nullptr, &start, &made),
                  0);
        CloseHandle(written);
    }
    ~WriterHost() {
        Kill();
        for (const HANDLE handle : {output, made.hThread, made.hProcess}) CloseHandle(handle);
    }
    WriterHost(const WriterHost&) = delete;
    WriterHost& operator=(const WriterHost&) = delete;

    /// Its output up to the first line end.
    std::string Line() const {
        std::string line;
        char next = '\0';
        DWORD count = 0;
        while (ReadFile(next, count) && next != '\n')
            if (next != '\r') line += next;
        return line;
    }
    DWORD Status() const {
        DWORD status = 1;
        WaitForSingleObject(made.hProcess, INFINITE);
        GetExitCodeProcess(made.hProcess, &status);
        return status;
    }
    void Kill() const {
        TerminateProcess(made.hProcess, 1);
        WaitForSingleObject(made.hProcess, INFINITE);
    }

private:
    bool ReadFile(char& next, DWORD& count) const {
        return ::ReadFile(output, &next, 1, &count, nullptr) != 0 && count == 1;
    }
    HANDLE output = nullptr;
    PROCESS_INFORMATION made{};
};

TEST(WindowsProcesses, AKilledWriterLosesOnlyWhatItHadBegun) {
    const TempDirectory directory;
    const std::string path = directory / "number.dat", lock = directory / "number.lck";
    WriteFile(path, kNumberBody);
    {
        const WriterHost host("halfway " + directory.Path());
        ASSERT_EQ(host.Line(), "halfway");
        const auto mark = fieldstore::AppendMark::At(path + ".undo");
        ASSERT_EQ(mark.kind, fieldstore::AppendMark::Kind::Mark);
        EXPECT_EQ(mark.record.length, kNumberBody.size());
        EXPECT_EQ(mark.record.writer->Now(), fieldstore::Writer::State::Runs);
        EXPECT_FALSE(mark.record.EndsData()) << "the same run of the machine";
        EXPECT_TRUE(fs::exists(lock));
        host.Kill();
        EXPECT_EQ(mark.record.writer->Now(), fieldstore::Writer::State::Gone);
    }
    EXPECT_EQ(ReadFile(path), kNumberBody + "ab");
    POWindowsFileLocker another(lock, [] { return std::string(); });
    another.SetRetry(0.001, 2);
    EXPECT_EQ(Raised([&] { another.Lock(); }), "Unable to acquire file lock.") << "as everywhere";
    fs::remove(lock);
    EXPECT_EQ(Number(directory).Store(), 0);
    EXPECT_EQ(ReadFile(path), kNumberBody + kNumberBody) << "the torn end was cut";
    EXPECT_FALSE(fs::exists(path + ".undo") || fs::exists(lock));
}

TEST(WindowsProcesses, AppendToOneFileWithoutLoss) {
    const TempDirectory directory;
    const std::string path = directory / "modeinfo.dat";
    constexpr int processes = 3, each = 25;
    {
        std::vector<std::unique_ptr<WriterHost>> hosts;
        for (int first = 0; first < processes; ++first)
            hosts.push_back(std::make_unique<WriterHost>(
                "write " + path + " " + std::to_string(first) + " " + std::to_string(each) + " " +
                std::to_string(processes)));
        for (const auto& host : hosts) EXPECT_EQ(host->Status(), 0u);
    }
    std::string expected = "0";
    for (int key = 0; key < processes * each; ++key) expected += " " + std::to_string(key);
    EXPECT_EQ(WriterHost("keys " + path).Line(), expected);
    EXPECT_FALSE(fs::exists(directory / "modeinfo.lck"));
}

}  // namespace
