// SPDX-License-Identifier: Apache-2.0
// All container types there and back.

#include "streams/POStreamFileIO.h"
#include "tests/support.h"

namespace {

using namespace support;
using Complex = std::complex<double>;
using std::map;
using std::pair;
using std::set;
using std::vector;

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
        EXPECT_EQ(support::ReadFile(directory / "f"), text ? support::InTextFile(bytes) : bytes)
            << "both paths give the same bytes";
        POStreamFileIO reader(text, directory / "f", [](const std::string&) {});
        reader.OpenInput();
        TypeParam fromFile{};
        reader.Read(fromFile);
        EXPECT_EQ(fromFile, value);
    }
}

}  // namespace
