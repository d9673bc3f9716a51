// SPDX-License-Identifier: Apache-2.0
// LIMIT: the library's encoding written by hand for speed alone. Everything of fixed size is
// stored and fetched without a check per value, and keys arrive in order, so they are inserted at
// the end.
#include <charconv>
#include <complex>
#include <cstring>
#include <map>
#include <set>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "Limit.h"

namespace bench {
namespace {

/// The encoded size of a type that always takes the same; 0 for containers.
template <typename T>
struct FixedSize {
    static constexpr std::size_t value = std::is_arithmetic_v<T> ? sizeof(T) : 0;
};
template <>
struct FixedSize<Complex> {
    static constexpr std::size_t value = sizeof(Complex);
};
template <typename A, typename B>
struct FixedSize<std::pair<A, B>> {
    static constexpr bool both = FixedSize<A>::value != 0 && FixedSize<B>::value != 0;
    static constexpr std::size_t value = both ? FixedSize<A>::value + FixedSize<B>::value : 0;
};
template <typename T>
constexpr std::size_t kFixedSize = FixedSize<T>::value;

/// Whether a value lies in memory as it lies in the file.
template <typename T>
constexpr bool kRaw = std::is_arithmetic_v<T> || std::is_same_v<T, Complex>;

template <typename T>
char* Store(char* to, const T& value) {
    if constexpr (kRaw<T>) {
        std::memcpy(to, &value, sizeof value);
        return to + sizeof value;
    } else {
        return Store(Store(to, value.first), value.second);
    }
}

template <typename T>
const char* Fetch(const char* from, T& value) {
    if constexpr (kRaw<T>) {
        std::memcpy(&value, from, sizeof value);
        return from + sizeof value;
    } else {
        return Fetch(Fetch(from, value.first), value.second);
    }
}

/// Stores `count` values of fixed size from `from`, as many at a time as the buffer takes.
template <typename Iterator>
void EncodeFixed(BufferedWriter& out, Iterator from, std::size_t count) {
    constexpr std::size_t size = kFixedSize<typename std::iterator_traits<Iterator>::value_type>;
    while (count != 0) {
        char* to = out.Reserve(size);
        const std::size_t chunk = count < out.Room() / size ? count : out.Room() / size;
        for (std::size_t i = 0; i < chunk; ++i, ++from) to = Store(to, *from);
        out.Commit(to);
        count -= chunk;
    }
}

/// Fetches `count` values of fixed size and gives each to `take`.
template <typename T, typename Take>
void DecodeFixed(BufferedReader& in, std::size_t count, Take take) {
    constexpr std::size_t size = kFixedSize<T>;
    while (count != 0) {
        const char* from = in.Need(size);
        const std::size_t chunk = count < in.Available() / size ? count : in.Available() / size;
        for (std::size_t i = 0; i < chunk; ++i) {
            T value;
            from = Fetch(from, value);
            take(value);
        }
        in.Commit(from);
        count -= chunk;
    }
}

template <typename T>
void Encode(BufferedWriter& out, const T& value) {
    out.Commit(Store(out.Reserve(kFixedSize<T>), value));
}

template <typename T>
void Decode(BufferedReader& in, T& value) {
    in.Commit(Fetch(in.Need(kFixedSize<T>), value));
}

std::size_t DecodeCount(BufferedReader& in) {
    std::uint64_t count = 0;
    Decode(in, count);
    return count;
}

// The overloads call each other, so they are declared before the first is defined.
template <typename A, typename B>
void Encode(BufferedWriter& out, const std::pair<A, B>& pair);
template <typename T>
void Encode(BufferedWriter& out, const std::vector<T>& values);
template <typename T>
void Encode(BufferedWriter& out, const std::set<T>& values);
template <typename K, typename V>
void Encode(BufferedWriter& out, const std::map<K, V>& map);
template <typename A, typename B>
void Decode(BufferedReader& in, std::pair<A, B>& pair);
template <typename T>
void Decode(BufferedReader& in, std::vector<T>& values);
template <typename T>
void Decode(BufferedReader& in, std::set<T>& values);
template <typename K, typename V>
void Decode(BufferedReader& in, std::map<K, V>& map);

template <typename A, typename B>
void Encode(BufferedWriter& out, const std::pair<A, B>& pair) {
    if constexpr (kFixedSize<std::pair<A, B>> != 0) {
        out.Commit(Store(out.Reserve(kFixedSize<std::pair<A, B>>), pair));
    } else {
        Encode(out, pair.first);
        Encode(out, pair.second);
    }
}

template <typename T>
void Encode(BufferedWriter& out, const std::vector<T>& values) {
    Encode(out, std::uint64_t{values.size()});
    if constexpr (kRaw<T>) {
        out.PutBlock(values.data(), values.size() * sizeof(T));
    } else if constexpr (kFixedSize<T> != 0) {
        EncodeFixed(out, values.begin(), values.size());
    } else {
        for (const T& value : values) Encode(out, value);
    }
}

template <typename T>
void Encode(BufferedWriter& out, const std::set<T>& values) {
    Encode(out, std::uint64_t{values.size()});
    EncodeFixed(out, values.begin(), values.size());
}

template <typename K, typename V>
void Encode(BufferedWriter& out, const std::map<K, V>& map) {
    Encode(out, std::uint64_t{map.size()});
    for (const auto& entry : map) {
        Encode(out, entry.first);
        Encode(out, entry.second);
    }
}

template <typename A, typename B>
void Decode(BufferedReader& in, std::pair<A, B>& pair) {
    if constexpr (kFixedSize<std::pair<A, B>> != 0) {
        in.Commit(Fetch(in.Need(kFixedSize<std::pair<A, B>>), pair));
    } else {
        Decode(in, pair.first);
        Decode(in, pair.second);
    }
}

template <typename T>
void Decode(BufferedReader& in, std::vector<T>& values) {
    values.resize(DecodeCount(in));
    if constexpr (kRaw<T>) {
        in.GetBlock(values.data(), values.size() * sizeof(T));
    } else if constexpr (kFixedSize<T> != 0) {
        auto to = values.begin();
        DecodeFixed<T>(in, values.size(), [&](const T& value) { *to++ = value; });
    } else {
        for (T& value : values) Decode(in, value);
    }
}

template <typename T>
void Decode(BufferedReader& in, std::set<T>& values) {
    DecodeFixed<T>(in, DecodeCount(in),
                   [&](const T& value) { values.emplace_hint(values.end(), value); });
}

template <typename K, typename V>
void Decode(BufferedReader& in, std::map<K, V>& map) {
    for (std::size_t count = DecodeCount(in); count != 0; --count) {
        K key;
        Decode(in, key);
        const auto entry = map.emplace_hint(map.end(), std::piecewise_construct,
                                            std::forward_as_tuple(key), std::forward_as_tuple());
        Decode(in, entry->second);
    }
}

struct Limit {
    static constexpr const char* kName = "limit";
    static constexpr bool kSameBytes = true;

    template <typename T>
    static void Write(const std::string& path, const T& value) {
        BufferedWriter out(path);
        Encode(out, value);
        out.Close();
    }

    template <typename T>
    static void Read(const std::string& path, T& value) {
        BufferedReader in(path);
        Decode(in, value);
    }
};

// Text: the same with digits for bytes, laid out with one element on a line. A pair in front of a
// list has spaces only; every other value is the last of its line.

/// More than any number takes, with what follows it.
constexpr std::size_t kNumberSize = 64;

char* Print(char* to, double value, char after) {
    to = std::to_chars(to, to + kNumberSize, value, std::chars_format::general, 16).ptr;
    *to++ = after;
    return to;
}

template <typename T, typename = std::enable_if_t<std::is_integral_v<T>>>
char* Print(char* to, T value, char after) {
    to = std::to_chars(to, to + kNumberSize, value).ptr;
    *to++ = after;
    return to;
}

char* Print(char* to, const Complex& value, char after) {
    return Print(Print(to, value.real(), ' '), value.imag(), after);
}

template <typename T>
void PrintTo(BufferedWriter& out, const T& value, char after) {
    out.Commit(Print(out.Reserve(2 * kNumberSize), value, after));
}

void PrintMode(BufferedWriter& out, const Mode& mode) {
    PrintTo(out, mode.first.first, ' ');
    PrintTo(out, mode.first.second, ' ');
    PrintTo(out, mode.second.size(), '\n');
    for (const Complex& value : mode.second) PrintTo(out, value, '\n');
}

void PrintMap(BufferedWriter& out, const ModeMap& map) {
    PrintTo(out, map.size(), '\n');
    for (const auto& [key, modes] : map) {
        PrintTo(out, key.first, ' ');
        PrintTo(out, key.second, '\n');
        PrintTo(out, modes.size(), '\n');
        for (const Mode& mode : modes) PrintMode(out, mode);
    }
}

void PrintList(BufferedWriter& out, const std::vector<double>& values) {
    PrintTo(out, values.size(), '\n');
    for (const double value : values) PrintTo(out, value, '\n');
}

template <typename T>
const char* Parse(const char* from, const char* end, T& value) {
    while (from != end && (*from == ' ' || *from == '\n')) ++from;
    const auto result = std::from_chars(from, end, value);
    if (result.ec != std::errc()) throw std::runtime_error("Not a number.");
    return result.ptr;
}

const char* Parse(const char* from, const char* end, Complex& value) {
    double real = 0;
    double imag = 0;
    from = Parse(Parse(from, end, real), end, imag);
    value = {real, imag};
    return from;
}

template <typename T>
void ParseFrom(BufferedReader& in, T& value) {
    const char* from = in.Want(2 * kNumberSize);
    in.Commit(Parse(from, from + in.Available(), value));
}

void ParseMode(BufferedReader& in, Mode& mode) {
    ParseFrom(in, mode.first.first);
    ParseFrom(in, mode.first.second);
    std::size_t count = 0;
    ParseFrom(in, count);
    mode.second.resize(count);
    for (Complex& value : mode.second) ParseFrom(in, value);
}

void ParseMap(BufferedReader& in, ModeMap& map) {
    std::size_t count = 0;
    for (ParseFrom(in, count); count != 0; --count) {
        std::pair<std::int64_t, int> key;
        ParseFrom(in, key.first);
        ParseFrom(in, key.second);
        std::size_t modes = 0;
        ParseFrom(in, modes);
        const auto entry = map.emplace_hint(map.end(), key, modes);
        for (Mode& mode : entry->second) ParseMode(in, mode);
    }
}

void ParseList(BufferedReader& in, std::vector<double>& values) {
    std::size_t count = 0;
    ParseFrom(in, count);
    values.resize(count);
    for (double& value : values) ParseFrom(in, value);
}

struct TextLimit {
    static constexpr const char* kName = "limit";
    static constexpr bool kSameBytes = true;

    static void Write(const std::string& path, const ModeMap& value) {
        BufferedWriter out(path);
        PrintMap(out, value);
        out.Close();
    }
    static void Write(const std::string& path, const std::vector<double>& value) {
        BufferedWriter out(path);
        PrintList(out, value);
        out.Close();
    }

    static void Read(const std::string& path, ModeMap& value) {
        BufferedReader in(path);
        ParseMap(in, value);
    }
    static void Read(const std::string& path, std::vector<double>& value) {
        BufferedReader in(path);
        ParseList(in, value);
    }
};

}  // namespace

void AddLimit(std::vector<Case>& cases) {
    AddCases<Limit>(BinaryWorkloads(), cases);
    AddCases<TextLimit>(TextWorkloads(), cases);
}

}  // namespace bench
