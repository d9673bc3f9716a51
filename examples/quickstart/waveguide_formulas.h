// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_EXAMPLES_WAVEGUIDE_FORMULAS_H
#define FIELDSTORE_EXAMPLES_WAVEGUIDE_FORMULAS_H

#include <cmath>
#include <complex>
#include <string>
#include <vector>

// Modes of a hollow rectangular waveguide, as in any microwave textbook: fields vary as
// exp(-gamma z), with gamma^2 = kc^2 - k^2 and kc^2 = (m pi / a)^2 + (n pi / b)^2.
namespace quickstart {

using Complex = std::complex<double>;

inline constexpr double kPi = 3.14159265358979323846;
inline constexpr double kSpeedOfLight = 299792458.0;          // m/s
inline constexpr double kFreeSpaceImpedance = 376.730313668;  // ohm

// WR-90, the standard guide for X band.
inline constexpr double kWidth = 22.86e-3;   // m
inline constexpr double kHeight = 10.16e-3;  // m

struct Mode {
    std::string name;
    bool electric;  // transverse electric (TE), else transverse magnetic (TM)
    int m;
    int n;

    double CutoffWavenumber() const { return std::hypot(m * kPi / kWidth, n * kPi / kHeight); }
    double CutoffFrequency() const { return CutoffWavenumber() * kSpeedOfLight / (2 * kPi); }

    /// In 1/m; real below the cutoff, imaginary above it.
    Complex PropagationConstant(double frequency) const {
        const double k = 2 * kPi * frequency / kSpeedOfLight;
        const double kc = CutoffWavenumber();
        return std::sqrt(Complex(kc * kc - k * k, 0.0));
    }

    /// In ohm: j k eta / gamma for TE, gamma eta / (j k) for TM.
    Complex WaveImpedance(double frequency) const {
        const Complex jk(0.0, 2 * kPi * frequency / kSpeedOfLight);
        const Complex gamma = PropagationConstant(frequency);
        return electric ? kFreeSpaceImpedance * jk / gamma : kFreeSpaceImpedance * gamma / jk;
    }
};

/// The modes with the lowest cutoffs.
inline std::vector<Mode> FirstModes() {
    return {
        {"TE10", true, 1, 0}, {"TE20", true, 2, 0}, {"TE01", true, 0, 1}, {"TM11", false, 1, 1}};
}

/// X band, in Hz.
inline std::vector<double> XBand() {
    std::vector<double> frequencies;
    for (double frequency = 8.2e9; frequency < 12.5e9; frequency += 0.6e9)
        frequencies.push_back(std::round(frequency));
    return frequencies;
}

}  // namespace quickstart

#endif
