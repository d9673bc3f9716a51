// SPDX-License-Identifier: Apache-2.0
#include "Modes.h"

#include <algorithm>
#include <cmath>

namespace waveguide {
namespace {

const double pi = std::acos(-1.0);

/// coth and 1/sinh of gamma L, written with decaying exponentials: far below cutoff, where the
/// growing ones overflow, they tend to 1 and 0 as they should.
SectionMatrix Hyperbolics(const Wave& wave, double length) {
    const Complex decay = std::exp(-wave.gamma * length);
    const Complex round = 1.0 - decay * decay;
    return {(1.0 + decay * decay) / round, 2.0 * decay / round};
}

}  // namespace

double Mode::CutoffFrequency() const {
    return cutoff * lightSpeed / (2 * pi);
}

std::string ShortName(const Mode& mode) {
    return Name(mode.family) + ("#" + std::to_string(mode.rank + 1));
}

std::vector<Mode> LowestModes(const FamilyCutoffs& cutoffs, std::size_t count) {
    std::vector<Mode> modes;
    for (const Family family : families) {
        const auto& values = cutoffs[static_cast<std::size_t>(family)];
        for (std::size_t rank = 0; rank < values.size(); ++rank)
            modes.push_back({family, rank, values[rank]});
    }
    std::stable_sort(modes.begin(), modes.end(),
                     [](const Mode& a, const Mode& b) { return a.cutoff < b.cutoff; });
    if (modes.size() > count) modes.resize(count);
    return modes;
}

Wave WaveAt(const Mode& mode, double frequency, double lossTangent) {
    const Complex permittivity(1, -lossTangent);  // relative
    const double k = 2 * pi * frequency / lightSpeed;
    // The root with positive real and imaginary part: waves decay and travel forward.
    const Complex gamma =
        std::sqrt(Complex(mode.cutoff * mode.cutoff - k * k, k * k * lossTangent));
    const Complex jk(0, k);
    if (mode.family == Family::TE) return {gamma, vacuumImpedance * jk / gamma};
    return {gamma, vacuumImpedance * gamma / (jk * permittivity)};
}

PortValues ValuesAtPort(const Wave& wave, int port, double length) {
    const Complex voltage = std::sqrt(2.0 * wave.impedance);
    const Complex current = voltage / wave.impedance;
    if (port == 0) return {voltage, current};
    const Complex decay = std::exp(-wave.gamma * length);
    return {voltage * decay, -current * decay};
}

SectionMatrix ImpedanceMatrix(const Wave& wave, double length) {
    const auto [coth, csch] = Hyperbolics(wave, length);
    return {wave.impedance * coth, wave.impedance * csch};
}

SectionMatrix AdmittanceMatrix(const Wave& wave, double length) {
    const auto [coth, csch] = Hyperbolics(wave, length);
    return {coth / wave.impedance, -csch / wave.impedance};
}

}  // namespace waveguide
