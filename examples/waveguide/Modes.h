// SPDX-License-Identifier: Apache-2.0
#ifndef WAVEGUIDE_MODES_H
#define WAVEGUIDE_MODES_H

#include <array>
#include <complex>
#include <cstddef>
#include <string>
#include <vector>

#include "Settings.h"

namespace waveguide {

using Complex = std::complex<double>;

constexpr double lightSpeed = 299792458.0;         ///< m/s
constexpr double vacuumImpedance = 376.730313668;  ///< ohms

/// A mode of the guide: number `rank` (from 0) of its family, by ascending cutoff.
struct Mode {
    Family family = Family::TE;
    std::size_t rank = 0;
    double cutoff = 0;  ///< wave number in rad/m

    double CutoffFrequency() const;  ///< hertz, of the empty guide
};

/// Family and number, as TE#1.
std::string ShortName(const Mode& mode);

/// Cutoff wave numbers of the TE and of the TM modes, each ascending.
using FamilyCutoffs = std::array<std::vector<double>, 2>;

/// The `count` modes with the lowest cutoffs of both families.
std::vector<Mode> LowestModes(const FamilyCutoffs& cutoffs, std::size_t count);

/// A mode at one frequency: fields vary as exp(-gamma z), transverse electric over transverse
/// magnetic field is the wave impedance.
struct Wave {
    Complex gamma;      ///< 1/m; real below cutoff and imaginary above it when nothing is lost
    Complex impedance;  ///< ohms
};

Wave WaveAt(const Mode& mode, double frequency, double lossTangent);

/// Modal voltage and current (peak values) of a wave of unit power, |V I| / 2 = 1 W, that enters
/// the guide at port 0 and leaves it matched at port 1, `length` metres on. Currents count into the
/// guide.
struct PortValues {
    Complex voltage;
    Complex current;
};
PortValues ValuesAtPort(const Wave& wave, int port, double length);

/// Two-port matrix of the guide section for one mode: both ports look alike, so that two entries
/// say it all.
struct SectionMatrix {
    Complex self;    ///< 11 and 22
    Complex mutual;  ///< 12 and 21
};
SectionMatrix ImpedanceMatrix(const Wave& wave, double length);   ///< ohms
SectionMatrix AdmittanceMatrix(const Wave& wave, double length);  ///< siemens

}  // namespace waveguide

#endif
