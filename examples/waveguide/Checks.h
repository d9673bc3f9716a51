// SPDX-License-Identifier: Apache-2.0
#ifndef WAVEGUIDE_CHECKS_H
#define WAVEGUIDE_CHECKS_H

#include <complex>
#include <ostream>
#include <string>

namespace waveguide {

/// A number with `precision` significant digits, right-aligned in `width` columns.
std::string Column(double value, int width, int precision = 6);

/// A number with `decimals` digits behind the point, right-aligned in `width` columns.
std::string Fixed(double value, int width, int decimals);

/// Prints a line per comparison and remembers how many failed.
class Checks {
public:
    explicit Checks(std::ostream& out) : out_(out) {}

    void Expect(bool holds, const std::string& what);

    /// Passes when the largest deviation seen is at most `limit`; not-a-number never is.
    void Within(double deviation, double limit, const std::string& what);

    int Count() const { return count_; }
    int Failed() const { return failed_; }

private:
    std::ostream& out_;
    int count_ = 0;
    int failed_ = 0;
};

/// The largest of many deviations; once one is not a number, so is the result.
class Largest {
public:
    void Add(double value) {
        if (!(value <= value_)) value_ = value;
    }
    /// Adds the deviation of a value relative to what it should be.
    void AddRelative(std::complex<double> value, std::complex<double> expected) {
        Add(std::abs(value - expected) / std::abs(expected));
    }
    double Value() const { return value_; }

private:
    double value_ = 0;
};

}  // namespace waveguide

#endif
