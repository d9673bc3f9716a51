// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_BENCH_WORKLOADS_H
#define FIELDSTORE_BENCH_WORKLOADS_H

#include <charconv>
#include <cmath>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <map>
#include <random>
#include <set>
#include <stdexcept>
#include <utility>
#include <vector>

namespace bench {

using Complex = std::complex<double>;
using Mode = std::pair<std::pair<int, Complex>, std::vector<Complex>>;
using ModeMap = std::map<std::pair<std::int64_t, int>, std::vector<Mode>>;

/// Numbers without a pattern that any encoding could profit from, the same in every run.
class Numbers {
public:
    double Real() { return std::uniform_real_distribution<double>(-1e3, 1e3)(engine_); }

    Complex ComplexValue() {
        const double real = Real();
        return {real, Real()};
    }

    int Below(int bound) { return std::uniform_int_distribution<int>(0, bound - 1)(engine_); }

    std::vector<double> Reals(std::size_t count) {
        std::vector<double> values(count);
        for (double& value : values) value = Real();
        return values;
    }

private:
    std::mt19937_64 engine_{20240117};
};

/// How much of the full size to use: 1 for measuring, less for a quick look.
inline double scale = 1.0;

inline int Scaled(int count) {
    const int scaled = static_cast<int>(count * scale);
    return scaled < 1 ? 1 : scaled;
}

/// What a measured time may be at most, as a ratio to that of LIMIT.
struct Targets {
    double write;
    double read;
    /// Bulk rows are bound by the memory, so level with the best peer is all one can ask.
    bool bulk;
};

inline ModeMap MakeModeMap(int frequencies) {
    Numbers numbers;
    ModeMap map;
    for (int frequency = 0; frequency < frequencies; ++frequency) {
        for (int port = 1; port <= 8; ++port) {
            std::vector<Mode> modes(10);
            for (Mode& mode : modes) {
                mode.first = {numbers.Below(4), numbers.ComplexValue()};
                mode.second.resize(20);
                for (Complex& value : mode.second) value = numbers.ComplexValue();
            }
            map.emplace_hint(map.end(), std::pair(8000000000 + 1000000 * frequency, port),
                             std::move(modes));
        }
    }
    return map;
}

/// The nearest double to the 16 digits that text mode keeps, so that text must return it exactly.
inline double RoundToText(double value) {
    char digits[32];
    const auto end =
        std::to_chars(digits, digits + sizeof digits, value, std::chars_format::general, 16);
    double rounded = 0;
    if (std::from_chars(digits, end.ptr, rounded).ec != std::errc())
        throw std::logic_error("Cannot round a number to text.");
    return rounded;
}

inline Complex RoundToText(const Complex& value) {
    return {RoundToText(value.real()), RoundToText(value.imag())};
}

struct Doubles {
    using Value = std::vector<double>;
    static constexpr const char* kName = "doubles";
    static constexpr const char* kTitle = "32 Mi doubles in one vector";
    static constexpr Targets kTargets{1.1, 1.1, true};
    static Value Make() { return Numbers().Reals(static_cast<std::size_t>(Scaled(32 << 20))); }
};

struct Matrices {
    using Value = std::map<std::pair<std::int64_t, int>, std::vector<double>>;
    static constexpr const char* kName = "matrices";
    static constexpr const char* kTitle = "1,000 matrices of 64 x 64";
    static constexpr Targets kTargets{1.1, 1.1, true};
    static Value Make() {
        Numbers numbers;
        Value map;
        for (int frequency = 0; frequency < Scaled(1000); ++frequency)
            map.emplace_hint(map.end(), std::pair(1000000000 + 500000LL * frequency, 2),
                             numbers.Reals(64 * 64));
        return map;
    }
};

struct BinaryModeMap {
    using Value = ModeMap;
    static constexpr const char* kName = "mode_map";
    static constexpr const char* kTitle = "mode map, 2,000 frequencies x 8 x 10 x 20 complex";
    static constexpr Targets kTargets{1.3, 1.2, false};
    static Value Make() { return MakeModeMap(Scaled(2000)); }
};

struct DOFRows {
    using Value = std::vector<std::vector<std::pair<int, double>>>;
    static constexpr const char* kName = "dof_rows";
    static constexpr const char* kTitle = "500,000 DOF rows x 9 weights";
    static constexpr Targets kTargets{1.3, 1.2, false};
    static Value Make() {
        Numbers numbers;
        Value rows(static_cast<std::size_t>(Scaled(500000)));
        for (auto& row : rows) {
            row.resize(9);
            for (auto& weight : row) weight = {numbers.Below(1500000), numbers.Real()};
        }
        return rows;
    }
};

struct Metrics {
    using Value = std::map<std::pair<int, std::pair<int, int>>, std::vector<double>>;
    static constexpr const char* kName = "metrics";
    static constexpr const char* kTitle = "1,000,000 metric entries of 3 doubles";
    static constexpr Targets kTargets{1.3, 1.2, false};
    static Value Make() {
        Numbers numbers;
        Value map;
        const int entities = Scaled(25000);
        for (int type = 0; type < 4; ++type)
            for (int pass = 0; pass < 10; ++pass)
                for (int entity = 1; entity <= entities; ++entity)
                    map.emplace_hint(map.end(), std::pair(10 + type, std::pair(pass, entity)),
                                     numbers.Reals(3));
        return map;
    }
};

struct IdPairs {
    using Value = std::set<std::pair<int, int>>;
    static constexpr const char* kName = "id_pairs";
    static constexpr const char* kTitle = "set of 2,000,000 id pairs";
    static constexpr Targets kTargets{1.3, 1.2, false};
    static Value Make() {
        Numbers numbers;
        Value pairs;
        for (int id = 1; id <= Scaled(400000); ++id)
            for (int other = id, i = 0; i < 5; ++i)
                pairs.emplace_hint(pairs.end(), id, other += 1 + numbers.Below(1000));
        return pairs;
    }
};

struct Ids {
    using Value = std::set<int>;
    static constexpr const char* kName = "ids";
    static constexpr const char* kTitle = "set of 2,000,000 ids";
    static constexpr Targets kTargets{1.3, 1.2, false};
    static Value Make() {
        Numbers numbers;
        Value ids;
        for (int id = 0, i = 0; i < Scaled(2000000); ++i)
            ids.emplace_hint(ids.end(), id += 1 + numbers.Below(10));
        return ids;
    }
};

struct TextModeMap {
    using Value = ModeMap;
    static constexpr const char* kName = "text_mode_map";
    static constexpr const char* kTitle = "text: mode map, 200 frequencies x 8 x 10 x 20 complex";
    static constexpr Targets kTargets{0.5, 1.0, false};
    static Value Make() {
        Value map = MakeModeMap(Scaled(200));
        for (auto& entry : map)
            for (Mode& mode : entry.second) {
                mode.first.second = RoundToText(mode.first.second);
                for (Complex& value : mode.second) value = RoundToText(value);
            }
        return map;
    }
};

struct TextMagnitudes {
    using Value = std::vector<double>;
    static constexpr const char* kName = "text_magnitudes";
    static constexpr const char* kTitle = "text: 500,000 doubles of all magnitudes";
    static constexpr Targets kTargets{0.5, 1.0, false};
    static Value Make() {
        Numbers numbers;
        Value values(static_cast<std::size_t>(Scaled(500000)));
        for (double& value : values)
            value = RoundToText(numbers.Real() * std::pow(10.0, numbers.Below(600) - 300));
        return values;
    }
};

template <typename... W>
struct WorkloadList {};

/// All workloads, in the order in which they are run and reported.
using BinaryWorkloads =
    WorkloadList<Doubles, Matrices, BinaryModeMap, DOFRows, Metrics, IdPairs, Ids>;
using TextWorkloads = WorkloadList<TextModeMap, TextMagnitudes>;

}  // namespace bench

#endif
