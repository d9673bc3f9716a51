// SPDX-License-Identifier: Apache-2.0
// The bytes that each class stores, worked out by hand.

#include "tests/objects/Object.h"
#include "tests/samples/Samples.h"

namespace {

using namespace support;

Bytes& ComplexValues(Bytes& bytes, std::initializer_list<Complex> values) {
    bytes.I64(static_cast<std::int64_t>(values.size()));
    for (const Complex& value : values) bytes.F64(value.real()).F64(value.imag());
    return bytes;
}

std::string ModeInfoBytes() {
    Bytes bytes;
    bytes.I64(1).I64(1'000'000'000).I32(1).I64(2).I32(0).F64(1).F64(2);
    ComplexValues(bytes, {{1, 0}, {2, 0}, {3, 0}, {4, 0}}).I32(1).F64(3).F64(4);
    return ComplexValues(bytes, {{5, 0}, {6, 0}, {7, 0}, {8, 0.1}});
}

std::string BinaryTreeBytes() {
    Bytes bytes;
    bytes.I32(7).I32(3).I32(2).I32(2);
    for (const int first : {1, 3, 5, 7, 9}) bytes.I64(2).I64(first).I64(first + 1);
    return bytes.I64(2)
        .I32(0)
        .Text(Vector({2, 4}))
        .I32(1)
        .Text(Vector({5}))
        .I64(1)
        .I32(6)
        .Text(Vector({9, 8}))
        .Text(Vector({11, 12}));
}

TEST(Bytes, OfEveryClass) {
    const std::map<std::string, std::string> expected{
        {"POModeInfo", ModeInfoBytes()},
        {"PODOFMap",
         Bytes().I64(3).I64(2).I32(1).F64(0.5).I32(0).F64(0).I64(1).I32(0).F64(2).I64(0).Text(
             Vector({0, 1, 7}))},
        {"POCircuitMatrices",
         Bytes().I64(1).I64(2'000'000'000).I32(3).I64(4).F64(1).F64(2).F64(3).F64(0.25)},
        {"POMeshTree", std::string(Bytes().I64(2)) + Integers({3, 5, 4, 9}) + Vector({-5, 3, 8})},
        {"PODOFList", Integers({5, 77, 1, 2, 3, 4, 3}) + Vector({0, 1, 2, 3, 5, 9}) +
                          Integers({3}) + Vector({0, 30, 31}) + Integers({3}) + Vector({3, -1, 7}) +
                          Integers({4}) + Vector({0, 20, -1, 5, 2, 10, 12, 4})},
        {"POBinaryTree", BinaryTreeBytes()},
        {"POPortCircuitDOFs", Integers({2, 1, 1, 1}) + std::string(Bytes().I64(5)) +
                                  Integers({0, 10, 1, 11, 2, 12, 3, 13, 4, 14})},
        {"POSolutionMetrics", MetricsBytes()},
        {"POAssemblyInfo", Vector({-5, 7}) + Count(2) + Integers({5}) + Vector({1, 1, 2}) +
                               Integers({7}) + Vector({1, 1, 2}) + Count(2) + Integers({5}) +
                               Vector({5}) + Integers({7}) + Vector({7}) + Count(2) +
                               Integers({5}) + Vector({4}) + Integers({7}) + Vector({4})}};
    const TempDirectory directory;
    for (const std::string& name : samples::ClassNames()) {
        ASSERT_EQ(expected.count(name), 1U) << name;
        const auto object = samples::New(name);
        samples::Fill(*object);
        object->SetDirectory(directory.Path());
        object->CreateStorageInterface(IPOBase::eWriteBinary, true);
        ASSERT_EQ(object->Commit(false), 0);
        EXPECT_EQ(ReadFile(directory / object->GetFileName()), expected.at(name)) << name;
    }
}

TEST(Bytes, OfEveryDoubleStay) {
    // Signalling NaNs: registers of some processors make quiet ones of them.
    const std::string unusual = Count(0x7ff0'0000'0000'0001);
    const std::map<std::string, double> held{{"POModeInfo", 2},
                                             {"PODOFMap", 0.5},
                                             {"POCircuitMatrices", 0.25},
                                             {"POSolutionMetrics", 2.5}};
    for (const auto& [name, value] : held) {
        const TempDirectory directory;
        const auto object = samples::New(name);
        samples::Fill(*object);
        object->SetDirectory(directory.Path());
        object->CreateStorageInterface(IPOBase::eWriteBinary, false);
        ASSERT_EQ(object->Commit(false), 0);
        const std::string path = directory / object->GetFileName();
        std::string bytes = ReadFile(path);
        const std::size_t at = bytes.find(Bytes().F64(value));
        ASSERT_NE(at, std::string::npos) << name;
        WriteFile(path, bytes.replace(at, sizeof value, unusual));
        object->CreateStorageInterface(IPOBase::eReadBinary, false);
        ASSERT_EQ(object->Load(), 0);
        object->SetFileName("again.dat");
        object->CreateStorageInterface(IPOBase::eWriteBinary, false);
        ASSERT_EQ(object->Commit(true), 0);
        EXPECT_EQ(ReadFile(directory / "again.dat"), bytes) << name;
    }
}

TEST(Bytes, InTextMode) {
    const std::map<std::string, std::string> expected{
        {"POModeInfo",
         "1\n1000000000 1\n2\n0 1 2 4\n1 0\n2 0\n3 0\n4 0\n"
         "1 3 4 4\n5 0\n6 0\n7 0\n8 0.1\n"},
        {"POPortCircuitDOFs", "2\n1\n1\n1\n5\n0 10\n1 11\n2 12\n3 13\n4 14\n"},
        {"POBinaryTree",
         "7\n3\n2\n2\n2\n1\n2\n2\n3\n4\n2\n5\n6\n2\n7\n8\n2\n9\n10\n"
         "2\n0 2\n2 4 1 1\n5 1\n6 2\n9 8 2\n11 12 "}};
    const TempDirectory directory;
    for (const auto& [name, text] : expected) {
        const auto object = samples::New(name);
        samples::Fill(*object);
        object->SetDirectory(directory.Path());
        object->CreateStorageInterface(IPOBase::eWriteText, true);
        ASSERT_EQ(object->Commit(false), 0);
        EXPECT_EQ(ReadFile(directory / object->GetFileName()), support::InTextFile(text)) << name;
    }
}

}  // namespace
