// SPDX-License-Identifier: Apache-2.0
// The encodings of primitives and containers, and their checks.

#include <clocale>
#include <cmath>
#include <limits>
#include <locale>
#include <tuple>

#include "streams/POStreamFileIO.h"
#include "support.h"

namespace {

using support::Bytes;
using support::MemoryStream;
using support::Raised;
using Complex = std::complex<double>;
using std::map;
using std::pair;
using std::set;
using std::vector;

constexpr double kInfinity = std::numeric_limits<double>::infinity();

// ---- primitives ----

TEST(BinaryPrimitives, AreTheirBytesLaidEndToEnd) {
    MemoryStream stream(false);
    const auto bytes = stream.Written([](IStreamer& s) {
        s.Write('A', "ignored");
        s.Write(-2, "");
        s.Write(3000000000u, "");
        s.Write(std::int64_t{-3}, "");
        s.Write(std::uint64_t{1} << 63, "");
        s.Write(1.0, "");
        s.Write(Complex(2.0, -0.5), "");
        s.Write(std::string("abc"), "");
        s.Write(std::string(), "");
        s.Write("xyz", std::uint64_t{2});
        s.Write("", std::uint64_t{0});
    });
    const std::string expected = Bytes()
                                     .Text("A")
                                     .Text("\xfe\xff\xff\xff")
                                     .Text(std::string("\x00\x5e\xd0\xb2", 4))
                                     .Text("\xfd\xff\xff\xff\xff\xff\xff\xff")
                                     .Zeros(7)
                                     .Text("\x80")
                                     .Zeros(6)
                                     .Text("\xf0\x3f")
                                     .Zeros(7)
                                     .Text("\x40")
                                     .Zeros(6)
                                     .Text("\xe0\xbf")
                                     .I32(3)
                                     .Text("abc")
                                     .I32(0)
                                     .I64(2)
                                     .Text("xy")
                                     .I64(0);
    EXPECT_EQ(bytes, expected);
}

TEST(TextPrimitives, AreWhatTheInsertersGive) {
    const auto text = [](double value) {
        MemoryStream stream(true);
        return stream.Written([&](IStreamer& s) { s.Write(value, ";"); });
    };
    EXPECT_EQ(text(0.1), "0.1;");
    EXPECT_EQ(text(1.0 / 3.0), "0.3333333333333333;");
    // The last four lie on a half between two texts, or as close to one as doubles can.
    std::istringstream single(
        "0 -0 inf -inf nan -nan 123456789012345678 1.7976931348623157e308 "
        "1000000000000000.5 12345678901234565 6.8985865317742005e180 9.03725590277404e159");
    const auto number = [](const std::string& t) { return std::strtod(t.c_str(), nullptr); };
    vector<double> values;
    for (std::string each; single >> each;) values.push_back(number(each));
    for (int e = -1074; e < 1024; ++e) values.push_back(std::ldexp(1.0, e));
    for (int e = -310; e < 309; ++e) {
        const double power = number("1e" + std::to_string(e));
        values.insert(values.end(),
                      {power, std::nextafter(power, 0), -std::nextafter(power, kInfinity),
                       power * 1.5, power * 0.12345678});
    }
    for (const double value : values) {
        std::ostringstream expected;
        expected.precision(16);
        expected << value << ';';
        EXPECT_EQ(text(value), expected.str());
    }
    MemoryStream stream(true);
    EXPECT_EQ(stream.Written([](IStreamer& s) {
        s.Write(Complex(1.5, -2), "\n");
        s.Write('c', " ");
        s.Write(-7, " ");
        s.Write(std::numeric_limits<std::uint64_t>::max(), "--");
        s.Write(std::string("a b"), "|");
    }),
              "1.5 -2\nc -7 18446744073709551615--a b|");
}

template <typename T>
void ExpectLikeExtractor(const std::string& text) {
    SCOPED_TRACE(testing::Message() << '"' << text << "\" as " << typeid(T).name());
    std::istringstream reference(text);
    T expected = 77;
    reference >> expected;
    MemoryStream stream(true);
    stream.OpenContent(text);
    T value = 77;
    stream.Read(value);
    EXPECT_EQ(value, expected);
    EXPECT_EQ(std::signbit(static_cast<double>(value)),
              std::signbit(static_cast<double>(expected)));
    EXPECT_EQ(stream.State(), reference.rdstate());
    reference.clear();
    const std::string rest{std::istreambuf_iterator<char>(reference.rdbuf()), {}};
    EXPECT_EQ(stream.Unread(), rest);
}

TEST(TextPrimitives, AreReadAsTheExtractorsDo) {
    std::istringstream texts(
        "1 | \t\n\v\f\r42 x|+5 |-5 |--5|5|007 |0x1f |1e3 |1.5.2 |1e |1e+ |.5 |5. |. |"
        "-.5e-2x|1-2|abc|   |1e400 |-1e400 |1e-400 |-1e-400|12,5 |2147483647 |"
        "2147483648 |-2147483648 |-2147483649 |4294967295 |4294967296 |"
        "9223372036854775807 |9223372036854775808 |-9223372036854775808 |"
        "18446744073709551615 |18446744073709551616 |99999999999999999999|"
        "2.2250738585072011e-308 |4.9e-324 |1.7976931348623157e308 |1E5 |1e5e5 |1e5. |"
        "1e5000 |+ |- |+-1 |e5 |"
        "0.1000000000000000055511151231257827021181583404541015625 |"
        // With more behind them: on a half between two doubles, hardly beside one, with many
        // zeros, at the ends of the normal range, and no numbers as a whole.
        "9007199254740993 1 2 3 4|5629499534213149375e-4 |1125899906842627875e-3 "
        "|7120190517612959703e120 |1088416166048969916e200 |"
        "0.00000000000000000000012345678901234567 1 2|-0.000000000000000000000000 1 2 3|"
        "0.0000000000000000000000.5 1 2 3|1.2345678e+05x1 2 3 4|1.2345678e 1 2 3 4|"
        "12345678901234567890123.5 1 2 3|2.2250738585072014e-308 1 2|1.2345678e-308 1 2 3 4|"
        "1.7976931348623157e308 1 2 3 4|1.8e308 1 2 3 4|1.2345678e-00005 1 2 3 4");
    for (std::string text; std::getline(texts, text, '|');) {
        ExpectLikeExtractor<int>(text);
        ExpectLikeExtractor<unsigned int>(text);
        ExpectLikeExtractor<std::int64_t>(text);
        ExpectLikeExtractor<std::uint64_t>(text);
        ExpectLikeExtractor<double>(text);
    }
}

TEST(TextPrimitives, ReadBackEverythingTheWriterPrints) {
    const double largest = std::numeric_limits<double>::max();
    for (const double value : {kInfinity, -kInfinity, largest, -largest, 5e-324, -0.0, 1.0 / 3}) {
        MemoryStream stream(true);
        stream.OpenContent(stream.Written([&](IStreamer& s) {
            s.Write(value, " ");
            s.Write(Complex(value, std::nan("")), "\n");
        }));
        double read = 0;
        Complex both;
        stream.Read(read);
        stream.Read(both);
        EXPECT_TRUE(stream.IsGood()) << value;
        EXPECT_DOUBLE_EQ(read, value);
        EXPECT_DOUBLE_EQ(both.real(), value);
        EXPECT_TRUE(std::isnan(both.imag()));
    }
}

TEST(TextPrimitives, ThatOnlyBeginLikeAWordAreRefused) {
    for (const char* text : {"inx ", "-nab "}) {
        MemoryStream stream(true);
        stream.OpenContent(text);
        double value = 77;
        stream.Read(value);
        EXPECT_EQ(value, 0);
        EXPECT_FALSE(stream.IsGood());
    }
}

TEST(TextPrimitives, CrossTheEndOfABuffer) {
    // A file stream's buffer holds 256 KiB; numbers lie across its end whatever their length.
    const support::TempDirectory directory;
    const auto nothing = [](const std::string&) {};
    vector<double> values(70000, -1234.5678901234567);
    POStreamFileIO writer(true, directory / "t", &POStreamFileIO::CloseOutputFile);
    writer.OpenOutput(0);
    writer.Write(values, 3, " ", "\n");
    writer.Close();
    POStreamFileIO reader(true, directory / "t", nothing);
    reader.OpenInput();
    vector<double> read;
    reader.Read(read);
    ASSERT_EQ(read.size(), values.size());
    for (std::size_t i = 0; i < read.size(); ++i) ASSERT_EQ(read[i], -1234.567890123457) << i;
}

TEST(Strings, KeepTheirLimits) {
    struct Case {
        bool text;
        std::size_t length;
        int maxLength;
        bool fits;
    };
    const Case cases[] = {{false, 256, 256, true},   {false, 257, 256, false},
                          {false, 10000, -1, true},  {false, 10001, 20000, false},
                          {true, 255, 256, true},    {true, 256, 256, false},
                          {true, 9999, 20000, true}, {true, 10000, -5, false}};
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message()
                     << c.length << " of " << c.maxLength << ", text " << c.text);
        MemoryStream stream(c.text);
        const std::string value(c.length, 'v');
        stream.OpenContent(stream.Written([&](IStreamer& s) { s.Write(value, "\n"); }));
        std::string read = "before";
        const auto message = Raised([&] { stream.Read(read, "\n", c.maxLength); });
        EXPECT_EQ(message, c.fits ? "" : "Bad character count encountered in stream read.");
        EXPECT_EQ(read, c.fits ? value : "before");
    }
}

TEST(Strings, AreCutAtAZeroByteAndNeedATerminatorOfOneCharacter) {
    const std::string withZero("a\0b", 3);
    for (const bool text : {false, true}) {
        MemoryStream stream(text);
        stream.OpenContent(stream.Written([&](IStreamer& s) { s.Write(withZero, "\n"); }));
        std::string read;
        stream.Read(read, "\n", 10);
        EXPECT_EQ(read, "a");
    }
    MemoryStream stream(true);
    stream.OpenContent("ab");
    std::string read;
    EXPECT_EQ(Raised([&] { stream.Read(read, "\r\n", 10); }), "Bad string terminator.");
    EXPECT_EQ(Raised([&] { stream.Read(read, "", 10); }), "Bad string terminator.");
    EXPECT_EQ(stream.Unread(), "ab");
    stream.OpenContent("ab");
    EXPECT_EQ(Raised([&] { stream.Read(read, "\n", 10); }), "End of file reached;");
}

TEST(RawBlocks, AreBinaryInEitherModeAndKnowTheirSize) {
    for (const bool text : {false, true}) {
        MemoryStream stream(text);
        const auto bytes = stream.Written([](IStreamer& s) { s.Write("abcd", std::uint64_t{4}); });
        EXPECT_EQ(bytes, std::string(Bytes().I64(4).Text("abcd")));
        char buffer[5] = {};
        stream.OpenContent(bytes);
        stream.Read(buffer, 4);
        EXPECT_STREQ(buffer, "abcd");
        stream.OpenContent(bytes);
        EXPECT_EQ(Raised([&] { stream.Read(buffer, 5); }),
                  "Number of chars to read does not match number written.");
        EXPECT_EQ(stream.Unread(), "abcd");
    }
}

// ---- checks ----

TEST(Checks, RefuseAReadAtTheEndAndEveryReadAfterIt) {
    MemoryStream stream(false);
    stream.OpenContent(Bytes().I32(1));
    int value = 0;
    EXPECT_TRUE(stream.IsValid());
    stream.Read(value);
    EXPECT_EQ(Raised([&] { stream.Read(value); }), "End of file reached;");
    EXPECT_EQ(Raised([&] { stream.Read(value); }), "Bad stream;");
    EXPECT_EQ(Raised([&] { stream.GetPosition(); }), "Bad stream;");
    EXPECT_TRUE(stream.IsGood()) << "the end is not a failure";
    EXPECT_FALSE(stream.IsValid());

    stream.OpenContent("ab");
    stream.Read(value);  // cut short: no error, but the stream has failed
    EXPECT_FALSE(stream.IsGood());
    stream.SkipWhiteSpace();
    EXPECT_EQ(Raised([&] { stream.Read(value); }), "Bad stream;");
}

TEST(Checks, TellClosedPlaceholderAndOpenApart) {
    const auto nothing = [](const std::string&) {};
    POStreamFileIO reader(false, "nowhere", nothing);
    POStreamFileIO writer(false, "nowhere", &POStreamFileIO::CloseOutputFile);
    EXPECT_TRUE(reader.IsReading() && !reader.IsWriting() && !reader.IsGood());
    EXPECT_TRUE(writer.IsWriting() && !writer.IsReading() && !writer.IsGood());
    int value = 0;
    for (POStreamFileIO* stream : {&reader, &writer}) {
        stream->SetTextMode(stream == &reader);
        EXPECT_FALSE(stream->IsValid());
        EXPECT_EQ(Raised([&] { stream->Read(value); }), "Bad stream;");
        EXPECT_EQ(Raised([&] { stream->Write(value, ""); }), "Bad stream;");
        EXPECT_EQ(Raised([&] { stream->Write("", std::uint64_t{0}); }), "Bad stream;");
        EXPECT_EQ(Raised([&] { stream->Write(vector<vector<int>>(), 1, "", ""); }), "Bad stream;");
        EXPECT_EQ(stream->InputLeft(), 0u);
        stream->SkipWhiteSpace();
        EXPECT_EQ(Raised([&] { stream->Tell(); }), "No stream open.");
        EXPECT_EQ(Raised([&] { stream->Seek(std::uint64_t{0}); }), "No stream open.");
        stream->Close();
        EXPECT_FALSE(stream->IsReading() || stream->IsWriting() || stream->IsGood());
        EXPECT_FALSE(stream->HasReadError());
    }
    MemoryStream both(false);
    both.OpenInput();
    both.OpenOutput(0);
    both.Close();
    EXPECT_TRUE(!both.IsReading() && both.IsWriting()) << "the input side goes first";
}

// ---- containers ----

void Fill(int& value, int& seed) {
    value = ++seed;
}
void Fill(std::int64_t& value, int& seed) {
    value = ++seed;
}
void Fill(std::uint64_t& value, int& seed) {
    value = static_cast<std::uint64_t>(++seed);
}
void Fill(double& value, int& seed) {
    value = ++seed + 0.5;
}
void Fill(char& value, int& seed) {
    value = static_cast<char>('a' + ++seed % 26);
}
void Fill(Complex& value, int& seed) {
    const double real = ++seed;
    value = Complex(real, -real / 4);
}
template <typename T>
void Fill(vector<T>& value, int& seed);
template <typename A, typename B>
void Fill(pair<A, B>& value, int& seed) {
    Fill(value.first, seed);
    Fill(value.second, seed);
}
template <typename T>
void Fill(vector<T>& value, int& seed) {
    value.resize(3);
    for (T& element : value) Fill(element, seed);
}
template <typename T>
void Fill(set<T>& value, int& seed) {
    for (int i = 0; i < 3; ++i) {
        T element{};
        Fill(element, seed);
        value.insert(element);
    }
}
template <typename K, typename V>
void Fill(map<K, V>& value, int& seed) {
    for (int i = 0; i < 3; ++i) {
        K key{};
        Fill(key, seed);
        Fill(value[key], seed);
    }
}

template <typename T>
class ContainerRoundTrip : public testing::Test {};

// Written out apart from the library's own list, so that neither vouches for the other.
using int64 = std::int64_t;
using ContainerTypes = testing::Types<
    map<pair<int, pair<int, int>>, vector<double>>, map<pair<int64, int>, vector<double>>,
    map<pair<int, int>, vector<double>>,
    map<pair<int64, int>, vector<pair<pair<int, Complex>, vector<Complex>>>>,
    map<pair<int64, int>, vector<pair<int, vector<Complex>>>>, map<int, set<int>>,
    map<int, vector<vector<Complex>>>, map<int, vector<vector<int>>>,
    map<int64, map<int, vector<vector<Complex>>>>, map<int64, map<int, vector<vector<int>>>>,
    map<int, vector<double>>, map<int, vector<int>>, map<int, pair<int, int>>, map<int, int>,
    set<pair<int, int>>, set<int>, vector<pair<pair<int, Complex>, vector<Complex>>>,
    vector<pair<int, vector<Complex>>>, vector<vector<pair<int, double>>>, vector<vector<Complex>>,
    vector<pair<int, double>>, vector<Complex>, vector<vector<int>>, vector<double>,
    vector<std::uint64_t>, vector<int>, vector<char>, pair<pair<int, Complex>, vector<Complex>>,
    pair<int, vector<Complex>>, pair<int, Complex>, pair<int, pair<int, int>>, pair<int, double>,
    pair<int64, int>, pair<int, int>>;
TYPED_TEST_SUITE(ContainerRoundTrip, ContainerTypes, );

template <typename... T>
constexpr std::size_t Count(testing::Types<T...>) {
    return sizeof...(T);
}
static_assert(Count(ContainerTypes()) == 34);

template <typename A, typename B>
void WriteAny(IStreamer& stream, const pair<A, B>& value) {
    stream.Write(value, " ", "\n");
}
template <typename T>
void WriteAny(IStreamer& stream, const T& value) {
    stream.Write(value, 2, " ", "\n");
}

TYPED_TEST(ContainerRoundTrip, ReadsBackWhatWasWrittenInMemoryAndOnFile) {
    const support::TempDirectory directory;
    for (const bool text : {false, true}) {
        SCOPED_TRACE(text ? "text" : "binary");
        int seed = 0;
        TypeParam value{};
        Fill(value, seed);
        MemoryStream memory(text);
        const auto bytes = memory.Written([&](IStreamer& s) { WriteAny(s, value); });
        memory.OpenContent(bytes);
        TypeParam read{};
        memory.Read(read);
        EXPECT_EQ(read, value);

        POStreamFileIO writer(text, directory / "f", &POStreamFileIO::CloseOutputFile);
        writer.OpenOutput(0);
        WriteAny(writer, value);
        writer.Close();
        EXPECT_EQ(support::ReadFile(directory / "f"), bytes) << "both paths give the same bytes";
        POStreamFileIO reader(text, directory / "f", [](const std::string&) {});
        reader.OpenInput();
        TypeParam fromFile{};
        reader.Read(fromFile);
        EXPECT_EQ(fromFile, value);
    }
}

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
    EXPECT_EQ(support::ReadFile(directory / "t"), "1\n1234567.5\n");
    EXPECT_EQ(read, vector<double>{1234567.5});
}

}  // namespace
