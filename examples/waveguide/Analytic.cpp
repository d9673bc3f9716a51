// SPDX-License-Identifier: Apache-2.0
#include "Analytic.h"

#include <algorithm>
#include <cmath>

namespace waveguide {
namespace {

const double pi = std::acos(-1.0);

double BesselJ(int order, double x, bool derivative) {
    if (!derivative) return std::cyl_bessel_j(static_cast<double>(order), x);
    if (order == 0) return -BesselJ(1, x, false);
    return 0.5 * (BesselJ(order - 1, x, false) - BesselJ(order + 1, x, false));
}

std::string Indices(int m, int n) {
    const bool separate = m > 9 || n > 9;
    return std::to_string(m) + (separate ? "," : "") + std::to_string(n);
}

std::vector<Reference> Rectangle(const Section& section, Family family, int count) {
    std::vector<Reference> all;
    const int lowest = family == Family::TM ? 1 : 0;
    for (int m = lowest; m <= count; ++m) {
        for (int n = lowest; n <= count; ++n) {
            if (m + n == 0) continue;
            const double cutoff = std::hypot(m * pi / section.width, n * pi / section.height);
            all.push_back({Indices(m, n), cutoff});
        }
    }
    return all;
}

std::vector<Reference> Circle(const Section& section, Family family, int count) {
    std::vector<Reference> all;
    for (int m = 0; m <= count; ++m) {
        for (int n = 1; n <= count; ++n) {
            const double zero = BesselZero(m, n, family == Family::TE);
            const Reference reference = {Indices(m, n), zero / section.radius};
            all.push_back(reference);
            // Two orientations, a quarter of a period apart, share the cutoff.
            if (m > 0) all.push_back(reference);
        }
    }
    return all;
}

/// Eigenvalues of the Laplace operator on a square of side 2 without one quarter, as published for
/// this benchmark domain. The multiples of pi squared belong to the unit squares that it is made
/// of and are exact.
std::vector<Reference> LShape(const Section& section, Family family) {
    std::vector<double> values = {1.475621824, 3.534031360, pi * pi, pi * pi, 11.38947939};
    if (family == Family::TM) values = {9.639723844, 15.19725193, 2 * pi * pi, 29.52148111};
    std::vector<Reference> all;
    all.reserve(values.size());
    for (const double value : values) all.push_back({"", std::sqrt(value) / (0.5 * section.width)});
    return all;
}

}  // namespace

double BesselZero(int order, int rank, bool derivative) {
    // The first zero of J_m and of its derivative lies above m; the zeros are more than 2 apart,
    // so that steps of 0.5 miss none.
    const double step = 0.5;
    double low = std::max(static_cast<double>(order), step);
    for (int found = 0;; low += step) {
        const bool positive = BesselJ(order, low, derivative) > 0;
        if (positive == (BesselJ(order, low + step, derivative) > 0)) continue;
        if (++found < rank) continue;
        double high = low + step;
        for (int i = 0; i < 60; ++i) {
            const double middle = 0.5 * (low + high);
            ((BesselJ(order, middle, derivative) > 0) == positive ? low : high) = middle;
        }
        return 0.5 * (low + high);
    }
}

std::vector<Reference> ReferenceCutoffs(const Section& section, Family family, std::size_t count) {
    std::vector<Reference> all;
    const int enough = static_cast<int>(count);
    if (section.shape == Shape::Rectangle) all = Rectangle(section, family, enough);
    if (section.shape == Shape::Circle) all = Circle(section, family, enough);
    if (section.shape == Shape::LShape && section.width == section.height)
        all = LShape(section, family);
    std::stable_sort(all.begin(), all.end(),
                     [](const Reference& a, const Reference& b) { return a.cutoff < b.cutoff; });
    if (all.size() > count) all.resize(count);
    return all;
}

}  // namespace waveguide
