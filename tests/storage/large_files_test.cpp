// SPDX-License-Identifier: Apache-2.0
// Files of more than 4 GiB, which take no room on the disk, and counts that need more than 32 bits.

#include "tests/objects/Object.h"
#include "tests/samples/Samples.h"

namespace {

using namespace support;
namespace fs = std::filesystem;

constexpr std::int64_t kGiB = std::int64_t{1} << 30;
constexpr bool kAddressesHave32Bits = sizeof(std::size_t) == 4;

void WriteAt(const std::string& path, std::int64_t position, const std::string& bytes) {
    std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(static_cast<std::streamoff>(position));
    file << bytes;
}

/// The bytes from a position to the end.
std::string ReadFrom(const std::string& path, std::int64_t position) {
    std::ifstream file(path, std::ios::binary);
    file.seekg(static_cast<std::streamoff>(position));
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

TEST(LargeFile, IsAppendedToAndRestored) {
    Object<IPOAssemblyInfo> store;
    samples::Fill(store.base);
    const std::string path = store.directory / "assemblyinfo.dat";
    ASSERT_EQ(store.Store(), 0);
    const std::string body = ReadFile(path);
    fs::resize_file(path, 5 * kGiB);
    ASSERT_EQ(store.base.Commit(true), 0);
    EXPECT_EQ(ReadFrom(path, 5 * kGiB), body);
    const auto fails = [](std::uint64_t, const IPOStorageControl::ByteSink& append) {
        append("lost", 4);
        return std::string("No more.");
    };
    EXPECT_EQ(fieldstore::Control(store.base).AppendBytes(fails), 1);
    EXPECT_EQ(ReadFrom(path, 5 * kGiB), body);
}

TEST(LargeFile, HasBlocksAnywhere) {
    Object<IPODOFList> list;
    samples::Fill(list.base);
    list->SetSelectedBlock(-1);
    ASSERT_EQ(list.Store(), 0);
    list->SetSelectedBlock(1);
    ASSERT_EQ(list.base.Load(), 0);
    const std::string held = samples::Describe(list.base);
    const std::string path = list.directory / "file2.dat";
    constexpr std::int64_t positionOfBlock1 = 80, block1 = 200, elsewhere = 6 * kGiB + 1;
    const std::string block = ReadFrom(path, block1);
    WriteAt(path, elsewhere, block);
    WriteAt(path, block1, std::string(block.size(), '\1'));
    WriteAt(path, positionOfBlock1, Count(elsewhere));
    ASSERT_EQ(list.base.Load(), 0) << fieldstore::Control(list.base).GetLastError();
    EXPECT_EQ(samples::Describe(list.base), held);
}

TEST(LargeFile, WhoseDataNoMemoryHoldsIsRefused) {
    if (!kAddressesHave32Bits) GTEST_SKIP() << "Memory may hold them.";
    constexpr std::int64_t wraps = 4 * kGiB;  // as a number of 32 bits it is 0
    const std::string ofMatrix = Count(1) + Count(1) + Integers({0});
    const std::string ofList = Integers({-1, 0, 0, 0, 0, 0, 3});
    struct Case {
        const char* name;
        std::string begin;
        std::int64_t size;  // of the file, in GiB; zero bytes follow
    };
    const Case cases[] = {
        {"POCircuitMatrices", ofMatrix + Count(wraps / 8), 5},
        {"POCircuitMatrices", ofMatrix + Count(wraps), 33},
        {"POCircuitMatrices", ofMatrix + Count(wraps + 1), 33},
        {"PODOFList", ofList + Count(wraps / 4), 5},
        {"PODOFList", ofList + Count(wraps), 17},
        {"PODOFMap", Count(wraps + 1), 33},
        {"POMeshTree", Count(wraps / 8), 5},
        {"POMeshTree", Count(wraps + 1), 33},
        {"POAssemblyInfo", Count(wraps + 1), 17},
        {"POAssemblyInfo", Count(0) + Count(wraps + 1), 49},
        {"POSolutionMetrics", Integers({0, 0, 0, 0, 0}) + Count(0) + Count(wraps), 81}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        TempDirectory directory;
        const auto object = samples::New(c.name);
        const std::string path = directory / "large.dat";
        WriteFile(path, c.begin);
        fs::resize_file(path, static_cast<std::uintmax_t>(c.size * kGiB));
        object->SetDirectory(directory.Path());
        object->SetFileName("large.dat");
        object->CreateStorageInterface(IPOBase::eReadBinary, false);
        EXPECT_EQ(object->Load(), 1);
        EXPECT_EQ(fieldstore::Control(*object).GetLastError(),
                  "Cannot load " + path + ": Out of memory.");
    }
    // 2^16 records of 2^16 numbers each, and none in the file.
    Object<IPODOFList> list;
    const std::string path = list.directory / "file2.dat";
    WriteFile(path, Integers({-1, 0, 1 << 16, 3, 3, 3, 0, 0, 0, 0, 0}) +
                        std::string(Bytes().I64(22).I32(1).I32(6).Text("0").Zeros(5).I64(74)) +
                        Count(1 << 16) + std::string(Bytes().Zeros(3 * 8 + 5 * 8)));
    fs::resize_file(path, static_cast<std::uintmax_t>(17 * kGiB));
    list->SetSelectedBlock(0);
    EXPECT_EQ(list.base.Load(), 1);
    EXPECT_EQ(fieldstore::Control(list.base).GetLastError(),
              "Cannot load " + path + ": Out of memory.");
}

TEST(SquareMatrix, ThatNoMemoryHoldsIsRefused) {
    if (!kAddressesHave32Bits) GTEST_SKIP() << "Memory may hold it.";
    Object<IPOModeInfo> modes;
    std::vector<int> group(std::size_t{1} << 16);
    for (std::size_t i = 0; i < group.size(); ++i) group[i] = static_cast<int>(i);
    const std::vector<Complex> two(2);
    modes->AddModeData(1e9, 1, std::vector<Complex>(group.size()), {group},
                       std::vector<std::vector<Complex>>(group.size(), two));
    ASSERT_EQ(modes.Store(), 0);
    ASSERT_EQ(modes.base.Load(), 0);
    EXPECT_EQ(modes->GetVoltageMatrix(0, 1, true).size(), group.size());
    EXPECT_THROW(modes->GetVoltageMatrix(0, 1, false), std::bad_alloc);
}

}  // namespace
