// SPDX-License-Identifier: Apache-2.0
// Bytes of objects for other transports than files, and appends of such bytes.

#include <stdexcept>

#include "tests/storage/EveryClass.h"

namespace {

using namespace support;
using Control = IPOStorageControl;

class ReadyBytes : public EveryClass {};

INSTANTIATE_TEST_SUITE_P(, ReadyBytes,
                         testing::Combine(testing::ValuesIn(samples::ClassNames()),
                                          testing::Bool()),
                         [](const auto& instance) { return NameOf(instance.param); });

std::string BytesOf(IPOBase& object, int which, bool text) {
    std::string bytes;
    const auto take = [&](const char* piece, std::size_t count) {
        bytes.append(piece, count);
        return true;
    };
    EXPECT_EQ(fieldstore::Control(object).WriteBytes(Control::EBytes(which), text, take), 0);
    return bytes;
}

TEST_P(ReadyBytes, AreThoseOfTheFile) {
    const auto object = In(directory, Name());
    samples::Fill(*object);
    object->SetVersion("7");
    object->CreateStorageInterface(WriteType(), false);
    ASSERT_EQ(object->Commit(true), 0);
    const std::string whole = BytesOf(*object, Control::eWhole, Text());
    EXPECT_EQ(InTextFile(whole), Text() ? ReadFile(File()) : InTextFile(ReadFile(File())));
    EXPECT_EQ(BytesOf(*object, Control::eStart, Text()) + BytesOf(*object, Control::eBody, Text()),
              whole);

    const auto taken = samples::New(Name());
    auto& control = fieldstore::Control(*taken);
    ASSERT_EQ(control.ReadBytes(Text(), whole.data(), whole.size()), 0);
    std::string loaded;
    ASSERT_EQ(LoadIn(directory, Name(), ReadType(), loaded), 0);
    EXPECT_EQ(samples::Describe(*taken), loaded);
    EXPECT_EQ(control.ReadBytes(Text(), whole.data(), whole.size() - 3), 1);
    EXPECT_NE(control.GetLastError(), "");
}

TEST(RefusedBytes, SayWhy) {
    const auto object = samples::New("POCircuitMatrices");
    samples::Fill(*object);
    auto& control = fieldstore::Control(*object);
    const auto refuse = [](const char*, std::size_t) { return false; };
    const auto raise = [](const char*, std::size_t) -> bool { throw std::runtime_error("gone"); };
    const auto take = [](const char*, std::size_t) { return true; };
    EXPECT_EQ(control.WriteBytes(Control::eWhole, false, refuse), 1);
    EXPECT_EQ(control.WriteBytes(Control::eWhole, true, raise), 1);
    EXPECT_NE(control.GetLastError(), "");
    EXPECT_EQ(control.WriteBytes(Control::EBytes(4), false, take), 1);
    const auto list = samples::New("PODOFList");
    samples::Fill(*list);
    dynamic_cast<IPODOFList&>(*list).SetSelectedBlock(-1);
    EXPECT_EQ(fieldstore::Control(*list).WriteBytes(Control::eWhole, false, take), 1);
    const auto ports = samples::New("POPortCircuitDOFs");
    dynamic_cast<IPOPortCircuitDOFs&>(*ports).SetData(1, 0, 0, 0, {});  // as no commit takes them
    EXPECT_EQ(fieldstore::Control(*ports).WriteBytes(Control::eBody, false, take), 1);
    fieldstore::Control(*ports).NoteStored();
}

TEST(AppendedBytes, AreThereAsAWholeOrNotAtAll) {
    const TempDirectory directory;
    ASSERT_EQ(CommitSample(directory, "POCircuitMatrices", IPOBase::eWriteBinary), 0);
    const std::string path = directory / "circuitmatrices.dat";
    const std::string before = ReadFile(path);
    const auto object = In(directory, "POCircuitMatrices");
    auto& control = fieldstore::Control(*object);
    samples::Fill(*object, 1);
    const std::string body = BytesOf(*object, Control::eBody, false);
    const auto append = [&](std::uint64_t length, const Control::ByteSink& to) {
        EXPECT_EQ(length, before.size());
        EXPECT_TRUE(std::filesystem::exists(path + ".undo"));
        return to(body.data(), body.size()) ? std::string() : std::string("it was refused");
    };
    EXPECT_EQ(control.AppendBytes(append), 1) << "without storage";
    object->CreateStorageInterface(IPOBase::eWriteBinary, false);
    EXPECT_EQ(control.AppendBytes(append), 1) << "without a lock";
    object->CreateStorageInterface(IPOBase::eWriteBinary, true);
    EXPECT_EQ(control.AppendBytes([&](std::uint64_t length, const Control::ByteSink& to) {
        return append(length, to) + "one rank had no space";
    }),
              1);
    EXPECT_NE(control.GetLastError().find("one rank had no space"), std::string::npos);
    EXPECT_EQ(
        control.AppendBytes([&](std::uint64_t length, const Control::ByteSink& to) -> std::string {
            throw std::runtime_error(append(length, to) + "gone");
        }),
        1);
    EXPECT_EQ(ReadFile(path), before);
    EXPECT_EQ(control.AppendBytes(append), 0) << control.GetLastError();
    EXPECT_EQ(ReadFile(path), before + body);
    EXPECT_TRUE(control.GetStorageState().changed);  // nothing of the object itself was stored
    control.NoteStored();
    EXPECT_FALSE(control.GetStorageState().changed);
    EXPECT_FALSE(std::filesystem::exists(path + ".undo"));
    EXPECT_FALSE(std::filesystem::exists(directory / "circuitmatrices.lck"));

    const auto map = In(directory, "PODOFMap");
    samples::Fill(*map);
    map->CreateStorageInterface(IPOBase::eWriteBinary, true);
    EXPECT_EQ(fieldstore::Control(*map).AppendBytes(append), 1) << "a class that replaces its file";
    fieldstore::Control(*map).NoteStored();
}

TEST(AppendedBytes, NeedAMark) {
    const TempDirectory directory;
    ASSERT_EQ(CommitSample(directory, "POCircuitMatrices", IPOBase::eWriteBinary), 0);
    const std::string path = directory / "circuitmatrices.dat";
    const std::string before = ReadFile(path);
    for (const char* mark : {"circuitmatrices.dat.undo", "circuitmatrices.lck.undo"})
        WriteFile(directory / mark, "someone's data");
    const auto object = In(directory, "POCircuitMatrices");
    object->CreateStorageInterface(IPOBase::eWriteBinary, true);
    const auto never = [](std::uint64_t, const Control::ByteSink&) -> std::string {
        ADD_FAILURE();
        return "";
    };
    EXPECT_EQ(fieldstore::Control(*object).AppendBytes(never), 1);
    EXPECT_EQ(ReadFile(path), before);
}

}  // namespace
