// SPDX-License-Identifier: Apache-2.0
// The encodings of primitives, and their checks.

#include <cmath>
#include <limits>

#include "streams/POStreamFileIO.h"
#include "tests/support.h"

namespace {

using namespace support;
using Complex = std::complex<double>;
using std::map;
using std::pair;
using std::set;
using std::vector;

constexpr double kInfinity = std::numeric_limits<double>::infinity();

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
        if (std::isnan(value)) continue;  // of which not every library prints the sign
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

}  // namespace
