// SPDX-License-Identifier: Apache-2.0
// Writes and reads doubles and compares with the standard conversions.
//
//   number_host COUNT [SEED]   COUNT random doubles of each distribution
//   number_host -              the numbers of the standard input, one on a line
//
// Every double is written, also in its shortest form; its text, and a text of it with up to 19
// digits, are read. Prints a line of a table for each distribution; status 1 when anything differs.
#include <unistd.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <iostream>
#include <random>
#include <string>

#include "reliability/fuzz/StandardNumbers.h"

namespace {

using namespace fieldstore::fuzz;
using Random = std::mt19937_64;

/// A number in 0, 1, ... `count` - 1; the modulus favours none noticeably.
int Below(Random& random, int count) {
    return static_cast<int>(random() % static_cast<std::uint64_t>(count));
}
/// As many random bits as another random number says, so that short ones are frequent.
std::uint64_t AnyLength(Random& random) {
    return random() >> Below(random, 64);
}
double WithSign(Random& random, double value) {
    return random() % 2 == 0 ? value : -value;
}
double FromBits(std::uint64_t bits) {
    double value = 0;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}
/// One of the neighbours up to three steps away, or the value itself.
double NearTo(Random& random, double value) {
    std::uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    return FromBits(bits + static_cast<std::uint64_t>(Below(random, 7)) - 3);
}
double FromText(std::uint64_t digits, int exponent) {
    const std::string text = std::to_string(digits) + "e" + std::to_string(exponent);
    double value = 0;
    std::from_chars(text.data(), text.data() + text.size(), value);
    return value;
}

double AnyBits(Random& random) {
    return FromBits(random());
}
double Fraction(Random& random) {
    return std::uniform_real_distribution<double>(0, 1)(random);
}
double AnyMagnitude(Random& random) {
    const double exponent = std::uniform_real_distribution<double>(-308, 308)(random);
    return WithSign(random, std::pow(10.0, exponent));
}
double ShortDecimal(Random& random) {
    return WithSign(random, FromText(AnyLength(random) % 100000000, Below(random, 24) - 16));
}
double Integer(Random& random) {
    return WithSign(random, static_cast<double>(AnyLength(random)));
}
double Subnormal(Random& random) {
    return FromBits(AnyLength(random) >> 12U);
}
double PowerOfTwo(Random& random) {
    return NearTo(random, std::ldexp(1.0, Below(random, 2046) - 1022));
}
double PowerOfTen(Random& random) {
    return NearTo(random, FromText(1, Below(random, 617) - 308));
}
/// On or next to the half between two numbers of 16 digits.
double HalfBetweenTexts(Random& random) {
    const std::uint64_t digits = 1000000000000000 + random() % 9000000000000000;
    // Where halves are doubles themselves, these are frequent.
    const bool exact = random() % 2 == 0;
    if (exact) return static_cast<double>(digits % (1ULL << 51U)) + 0.5;
    return NearTo(random, FromText(digits * 10 + 5, Below(random, 600) - 316));
}
class Comparison {
public:
    /// Writes a double and reads its text.
    void Write(double value) {
        ++written;
        const StandardText text(value);
        Count(WritesAsStandard(value, text), "written", text.View());
        Count(WritesShortestAsStandard(value), "written in its shortest form", text.View());
        Read(text.View());
    }
    /// Reads a number of at most 40 characters as it lies in a file, with more behind it.
    void Read(std::string_view number) {
        ++read;
        constexpr std::string_view behind = "\n1234567890123456";
        char text[64];
        std::memcpy(text, number.data(), number.size());
        std::memcpy(text + number.size(), behind.data(), behind.size());
        Count(ReadsAsStandard({text, number.size() + behind.size()}), "read", number);
    }
    void Print(const char* name) const {
        std::printf("| %s | %llu | %llu | %llu |\n", name, written, read, differences);
        std::fflush(stdout);
    }
    bool Failed() const { return differences != 0; }

private:
    static constexpr unsigned kShown = 5;

    void Count(bool same, const char* what, std::string_view text) {
        if (same || differences++ >= kShown) return;
        std::cerr << text << " is " << what << " differently.\n";
    }

    unsigned long long written = 0, read = 0, differences = 0;
};

/// A double of a distribution, and its digits beyond those that are written.
template <double (*kDraw)(Random&)>
void TryValue(Random& random, Comparison& comparison) {
    const double value = kDraw(random);
    comparison.Write(value);
    char text[32];
    const auto end = std::to_chars(text, text + sizeof text, value, std::chars_format::scientific,
                                   16 + Below(random, 3));
    comparison.Read({text, static_cast<std::size_t>(end.ptr - text)});
}

/// An integer on or next to the half between two doubles.
void TryHalfBetweenDoubles(Random& random, Comparison& comparison) {
    const int below = 1 + Below(random, 10);
    const std::uint64_t mantissa = (random() >> 12U) | 1ULL << 52U;
    const std::uint64_t half = (mantissa * 2 + 1) << static_cast<unsigned>(below - 1);
    const std::string text = std::to_string(half + random() % 3 - 1);
    comparison.Write(static_cast<double>(half));
    comparison.Read(text);
}

struct Distribution {
    const char* name;
    void (*attempt)(Random&, Comparison&);
};
constexpr Distribution kDistributions[] = {
    {"any bits", &TryValue<&AnyBits>},
    {"0 to 1", &TryValue<&Fraction>},
    {"any magnitude", &TryValue<&AnyMagnitude>},
    {"short decimals", &TryValue<&ShortDecimal>},
    {"integers", &TryValue<&Integer>},
    {"subnormal", &TryValue<&Subnormal>},
    {"powers of two and neighbours", &TryValue<&PowerOfTwo>},
    {"powers of ten and neighbours", &TryValue<&PowerOfTen>},
    {"near halves of 16 digits", &TryValue<&HalfBetweenTexts>},
    {"near halves of two doubles", &TryHalfBetweenDoubles},
};

bool TryRandom(const Distribution& distribution, std::uint64_t count, std::uint64_t seed) {
    constexpr std::uint64_t step = 1000000;
    Random random(seed);
    Comparison comparison;
    for (std::uint64_t i = 0; i < count; ++i) {
        if (i % step == 0 && isatty(STDERR_FILENO) != 0)
            std::cerr << "\r\033[K" << distribution.name << ": " << i * 100 / count << " %";
        distribution.attempt(random, comparison);
    }
    if (isatty(STDERR_FILENO) != 0) std::cerr << "\r\033[K";
    comparison.Print(distribution.name);
    return !comparison.Failed();
}

bool TryGiven() {
    Comparison comparison;
    for (std::string line; std::getline(std::cin, line);) {
        double value = 0;
        std::from_chars(line.data(), line.data() + line.size(), value);
        comparison.Write(value);
        comparison.Read(line);
    }
    comparison.Print("closest to halves");
    return !comparison.Failed();
}

}  // namespace

int main(int count, char** arguments) {
    if (count != 2 && count != 3) return 2;
    if (arguments[1] == std::string("-")) return TryGiven() ? 0 : 1;
    const std::uint64_t each = std::stoull(arguments[1]);
    const std::uint64_t seed = count == 3 ? std::stoull(arguments[2]) : 1;
    std::printf("| distribution | written | read | different |\n|---|---|---|---|\n");
    bool same = true;
    for (const auto& distribution : kDistributions)
        same = TryRandom(distribution, each, seed) && same;
    return same ? 0 : 1;
}
