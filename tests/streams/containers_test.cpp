// SPDX-License-Identifier: Apache-2.0
// The encodings of containers, and their checks.

#include <locale>

#include "streams/POStreamFileIO.h"
#include "tests/support.h"

namespace {

using namespace support;
using Complex = std::complex<double>;
using std::map;
using std::pair;
using std::set;
using std::vector;
using int64 = std::int64_t;

TEST(BinaryContainers, HaveCountsAndNoPadding) {
    MemoryStream stream(false);
    const auto bytes = stream.Written([](IStreamer& s) {
        s.Write(vector<double>{1.0, 2.0}, 1, "", "");
        s.Write(vector<pair<int, double>>{{1, 1.0}, {2, 2.0}}, 1, "", "");
        s.Write(map<int, set<int>>{{5, {7, 6}}}, 1, "", "");
        s.Write(pair<pair<int, Complex>, vector<Complex>>{{3, {1, 2}}, {{3, 4}}}, "", "");
        s.Write(pair<std::int64_t, int>{8, 9}, "", "");
        s.Write(vector<char>{'h', 'i'}, 1, "", "");
        s.Write(vector<int>(), 1, "", "");
    });
    EXPECT_EQ(bytes, std::string(Bytes()
                                     .I64(2)
                                     .F64(1.0)
                                     .F64(2.0)
                                     .I64(2)
                                     .I32(1)
                                     .F64(1.0)
                                     .I32(2)
                                     .F64(2.0)
                                     .I64(1)
                                     .I32(5)
                                     .I64(2)
                                     .I32(6)
                                     .I32(7)
                                     .I32(3)
                                     .F64(1)
                                     .F64(2)
                                     .I64(1)
                                     .F64(3)
                                     .F64(4)
                                     .I64(8)
                                     .I32(9)
                                     .I64(2)
                                     .Text("hi")
                                     .I64(0)));
}

TEST(TextContainers, AreLaidOutByLines) {
    const auto text = [](auto write) { return MemoryStream(true).Written(write); };
    EXPECT_EQ(text([](IStreamer& s) {
                  s.Write(vector<int>{1, 2, 3, 4, 5}, 2, " ", "\n");
              }),
              "5\n1 2\n3 4\n5 ");
    EXPECT_EQ(text([](IStreamer& s) { s.Write(set<int>{2, 1}, -4, " ", "\n"); }), "2\n1\n2\n");
    const map<int, int> numbers{{1, 10}, {2, 20}, {3, 30}};
    EXPECT_EQ(text([&](IStreamer& s) { s.Write(numbers, 1, " ", "\n"); }), "3\n1 10\n2 20\n3 30\n");
    EXPECT_EQ(text([&](IStreamer& s) { s.Write(numbers, 2, " ", "\n"); }), "3\n1 10\n2 20 3 30\n");
    const map<int, vector<int>> lists{{1, {7, 8}}, {2, {}}};
    EXPECT_EQ(text([&](IStreamer& s) { s.Write(lists, 2, " ", "\n"); }), "2\n1 2\n7 8\n2\n0\n");
    EXPECT_EQ(text([](IStreamer& s) {
                  s.Write(map<pair<int, int>, vector<double>>{{{1, 2}, {0.5}}}, 1, ",", "\n");
              }),
              "1\n1,2\n1\n0.5\n");
    EXPECT_EQ(
        text([](IStreamer& s) {
            s.Write(pair<pair<int, Complex>, vector<Complex>>{{1, {2, 3}}, {{4, 5}}}, ",", ";");
        }),
        "1,2 3,1;4 5;");
}

TEST(ContainerReads, KeepOrReplaceExistingContent) {
    MemoryStream stream(false);
    const auto written = stream.Written([](IStreamer& s) {
        s.Write(map<int, int>{{5, 2}}, 1, "", "");
        s.Write(map<int, vector<int>>{{5, {2}}}, 1, "", "");
        s.Write(set<int>{2}, 1, "", "");
        s.Write(vector<int>{2}, 1, "", "");
    });
    stream.OpenContent(written);
    map<int, int> replaced{{5, 1}, {6, 1}};
    map<int, vector<int>> kept{{5, {1}}};
    set<int> united{1};
    vector<int> overwritten{1, 1, 1};
    stream.Read(replaced);
    stream.Read(kept);
    stream.Read(united);
    stream.Read(overwritten);
    EXPECT_EQ(replaced, (map<int, int>{{5, 2}, {6, 1}}));
    EXPECT_EQ(kept, (map<int, vector<int>>{{5, {1}}}));
    EXPECT_EQ(united, (set<int>{1, 2}));
    EXPECT_EQ(overwritten, vector<int>{2});
}

TEST(ContainerReads, RefuseCountsAndEnds) {
    MemoryStream stream(false);
    vector<int> numbers{1};
    set<int> unique;
    stream.OpenContent(Bytes().I64(10000000001));
    EXPECT_EQ(Raised([&] { stream.Read(numbers); }), "Bad value count encountered in stream read.");
    EXPECT_EQ(numbers, vector<int>{1});
    stream.OpenContent(Bytes().I64(10000000001));
    EXPECT_EQ(Raised([&] { stream.Read(unique); }), "Bad value count encountered in stream read.");
    stream.OpenContent(Bytes().I64(0));
    EXPECT_EQ(Raised([&] { stream.Read(numbers); }), "End of file reached;");
    // The largest count that is believed, with few bytes behind it: fails, and in little memory.
    vector<vector<int>> rows;
    vector<double> reals;
    for (const std::string& rest : {std::string(Bytes().I64(0).I64(1)), std::string(16, 'x')}) {
        stream.OpenContent(std::string(Bytes().I64(10000000000)) + rest);
        EXPECT_NE(Raised([&] { stream.Read(rows); }), "");
        stream.OpenContent(std::string(Bytes().I64(10000000000)) + rest);
        EXPECT_EQ(Raised([&] { stream.Read(reals); }), "Bad stream;");
        EXPECT_LE(reals.capacity() * sizeof(double), std::size_t{64} << 20);
    }
    map<int, int> pairs;
    stream.OpenContent(Bytes().I64(-1).I32(1).I32(2));
    EXPECT_EQ(Raised([&] { stream.Read(pairs); }), "End of file reached;");
    EXPECT_EQ(pairs, (map<int, int>{{1, 2}}));
}

TEST(ContainerReads, GoThroughOverriddenPrimitives) {
    class Shifting : public MemoryStream {
    public:
        using MemoryStream::MemoryStream;
        using MemoryStream::Read;
        using MemoryStream::Write;
        void Write(int value, const std::string& separator) override {
            MemoryStream::Write(value + 100, separator);
        }
        void Read(int& value) override {
            MemoryStream::Read(value);
            value -= 100;
        }
    };
    const map<pair<int64, int>, vector<pair<pair<int, Complex>, vector<Complex>>>> value{
        {{1, 2}, {{{3, {4, 5}}, {{6, 7}}}}}};
    Shifting stream(false);
    const auto bytes = stream.Written([&](IStreamer& s) { s.Write(value, 1, "", ""); });
    EXPECT_EQ(
        bytes,
        std::string(
            Bytes().I64(1).I64(1).I32(102).I64(1).I32(103).F64(4).F64(5).I64(1).F64(6).F64(7)));
    stream.OpenContent(bytes);
    auto read = value;
    read.clear();
    stream.Read(read);
    EXPECT_EQ(read, value);
}

TEST(Locale, OfTheHostChangesNothing) {
    class Grouping : public std::numpunct<char> {
        char do_decimal_point() const override { return ','; }
        char do_thousands_sep() const override { return '.'; }
        std::string do_grouping() const override { return "\3"; }
    };
    const support::TempDirectory directory;
    const std::locale previous =
        std::locale::global(std::locale(std::locale::classic(), new Grouping));
    POStreamFileIO writer(true, directory / "t", &POStreamFileIO::CloseOutputFile);
    writer.OpenOutput(0);
    writer.Write(vector<double>{1234567.5}, 1, " ", "\n");
    writer.Close();
    POStreamFileIO reader(true, directory / "t", [](const std::string&) {});
    reader.OpenInput();
    vector<double> read;
    reader.Read(read);
    std::locale::global(previous);
    EXPECT_EQ(support::ReadFile(directory / "t"), support::InTextFile("1\n1234567.5\n"));
    EXPECT_EQ(read, vector<double>{1234567.5});
}

}  // namespace
