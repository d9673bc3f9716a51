// SPDX-License-Identifier: Apache-2.0
#include "ReportGuide.h"

#include <algorithm>
#include <cmath>
#include <iomanip>

#include "ReportCutoffs.h"

namespace waveguide {
namespace {

/// Results are stored with 16 digits; a resonance of the section magnifies their rounding.
constexpr double roundingLimit = 1e-9;

/// Textbook form of the wave: n = sqrt(eps_r - (f_c / f)^2) is the ratio of its phase constant to
/// that of free space. Written apart from what the solver uses, to be an independent witness.
Wave TextbookWave(Family family, double cutoff, double frequency, double lossTangent) {
    const double k = 2 * std::acos(-1.0) * frequency / lightSpeed;
    const Complex permittivity(1, -lossTangent);
    const double ratio = cutoff / k;
    const Complex n = std::sqrt(Complex(1 - ratio * ratio, -lossTangent));
    const Complex gamma = Complex(0, k) * n;
    if (family == Family::TE) return {gamma, vacuumImpedance / n};
    return {gamma, vacuumImpedance * n / permittivity};
}

/// Largest deviations over all frequencies, ports and modes.
struct Deviations {
    Largest gamma;
    Largest ratio;      ///< V / I against the wave impedance
    Largest power;      ///< |V I| / 2 at port 0 against 1 W
    Largest impedance;  ///< matrix against its closed form
    Largest inverse;    ///< Y Z against the unit matrix
    Largest terminal;   ///< V - Z I
    Largest reference;  ///< first mode against the reference cutoff, in units of its limit
};

bool IsComplete(const RunRecord& run, const GuideRecord& guide, std::size_t modeCount) {
    const std::vector<double> expected = run.model.sweep.Frequencies();
    if (guide.sweep.size() != expected.size() || guide.matrixFrequencyCount != expected.size())
        return false;
    const auto n = static_cast<Eigen::Index>(modeCount);
    for (std::size_t i = 0; i < expected.size(); ++i) {
        const FrequencyRecord& record = guide.sweep[i];
        if (record.frequency != expected[i]) return false;
        if (record.impedance.rows() != portCount * n || record.admittance.rows() != portCount * n)
            return false;
        for (const PortRecord& port : record.ports) {
            if (port.gamma.size() != modeCount || port.voltage.rows() != n ||
                port.current.rows() != n)
                return false;
        }
    }
    return true;
}

void ComparePorts(const FrequencyRecord& record, const Model& model,
                  const std::vector<KnownMode>& modes, Deviations& deviations) {
    for (std::size_t m = 0; m < modes.size(); ++m) {
        const Mode& mode = modes[m].mode;
        const auto i = static_cast<Eigen::Index>(m);
        const PortRecord& entry = record.ports[0];
        const Wave wave =
            TextbookWave(mode.family, mode.cutoff, record.frequency, model.lossTangent);
        for (std::size_t port = 0; port < portCount; ++port) {
            const PortRecord& values = record.ports[port];
            deviations.gamma.AddRelative(values.gamma[m], wave.gamma);
            // Currents count into the guide: at port 1 they run against the wave. Relative to the
            // voltage at port 0, because what decays on the way may reach port 1 as nothing.
            const Complex expected =
                (port == 0 ? 1.0 : -1.0) * wave.impedance * values.current(i, i);
            deviations.ratio.Add(std::abs(values.voltage(i, i) - expected) /
                                 std::abs(entry.voltage(i, i)));
        }
        deviations.power.Add(std::abs(std::abs(entry.voltage(i, i) * entry.current(i, i)) / 2 - 1));
    }
}

void CompareMatrices(const FrequencyRecord& record, const Model& model, Deviations& deviations) {
    const auto n = static_cast<Eigen::Index>(record.ports[0].gamma.size());
    Eigen::MatrixXcd expected = Eigen::MatrixXcd::Zero(2 * n, 2 * n);
    for (Eigen::Index m = 0; m < n; ++m) {
        // Built from the loaded modal data alone: gamma, and V / I for the wave impedance.
        const PortRecord& port = record.ports[0];
        const Complex gammaL = port.gamma[static_cast<std::size_t>(m)] * model.length;
        const Complex impedance = port.voltage(m, m) / port.current(m, m);
        expected(m, m) = expected(n + m, n + m) = impedance / std::tanh(gammaL);
        expected(m, n + m) = expected(n + m, m) = impedance / std::sinh(gammaL);
    }
    deviations.impedance.Add((record.impedance - expected).norm() / expected.norm());
    const auto unit = Eigen::MatrixXcd::Identity(2 * n, 2 * n);
    deviations.inverse.Add((record.admittance * record.impedance - unit).norm() /
                           (record.admittance.norm() * record.impedance.norm()));

    Eigen::MatrixXcd voltages(2 * n, n);
    Eigen::MatrixXcd currents(2 * n, n);
    for (Eigen::Index port = 0; port < portCount; ++port) {
        const PortRecord& values = record.ports[static_cast<std::size_t>(port)];
        voltages.middleRows(port * n, n) = values.voltage.transpose();
        currents.middleRows(port * n, n) = values.current.transpose();
    }
    deviations.terminal.Add((voltages - record.impedance * currents).norm() /
                            (record.impedance.norm() * currents.norm()));
}

void CompareReference(const FrequencyRecord& record, const Model& model, const KnownMode& first,
                      Deviations& deviations) {
    if (first.reference == 0) return;
    const Wave wave =
        TextbookWave(first.mode.family, first.reference, record.frequency, model.lossTangent);
    const Complex ratio = record.ports[0].voltage(0, 0) / record.ports[0].current(0, 0);
    // d ln Z / d ln f_c: an error of the cutoff counts for more near the cutoff.
    const double relative = std::pow(first.mode.CutoffFrequency() / record.frequency, 2);
    const double magnified = relative / std::abs(1 - relative);
    deviations.reference.Add(std::abs(ratio / wave.impedance - 1.0) /
                             (2 * first.limit * std::max(1.0, magnified)));
}

std::string Ohms(Complex value) {
    const bool isNegative = value.imag() <= -0.0005;  // as it is shown
    return Fixed(value.real(), 12, 3) + (isNegative ? " -j" : " +j") +
           Fixed(std::abs(value.imag()), 9, 3);
}

void PrintImpedance(const RunRecord& run, const GuideRecord& guide, const KnownMode& first,
                    std::ostream& out) {
    const bool isKnown = first.reference > 0;
    out << "\nImpedance of " << first.label << " over frequency (" << guide.sweep.size()
        << " frequencies):\n"
        << "   f (GHz)   alpha (1/m)  beta (rad/m)               V/I (ohm)"
        << (isKnown ? "         reference (ohm)\n" : "   from the cutoff (ohm)\n");
    constexpr std::size_t rows = 10;
    const std::size_t step = std::max<std::size_t>(1, (guide.sweep.size() + rows - 2) / rows);
    for (std::size_t i = 0; i < guide.sweep.size(); i += step) {
        const FrequencyRecord& record = guide.sweep[i];
        const PortRecord& port = record.ports[0];
        const Complex ratio = port.voltage(0, 0) / port.current(0, 0);
        const Complex expected =
            TextbookWave(first.mode.family, isKnown ? first.reference : first.mode.cutoff,
                         record.frequency, run.model.lossTangent)
                .impedance;
        out << Fixed(record.frequency * 1e-9, 10, 4) << Fixed(port.gamma[0].real(), 14, 4)
            << Fixed(port.gamma[0].imag(), 14, 4) << Ohms(ratio) << Ohms(expected) << "\n";
    }
}

bool PortDofsAgree(const GuideRecord& guide, std::size_t nodeCount, std::size_t modeCount) {
    std::vector<int> all = guide.portDofs;
    all.insert(all.end(), guide.circuitDofs.begin(), guide.circuitDofs.end());
    for (std::size_t i = 0; i < all.size(); ++i) {
        if (all[i] != static_cast<int>(nodeCount + i)) return false;
    }
    return guide.portDofs.size() == portCount * modeCount && guide.circuitDofs.size() == modeCount;
}

}  // namespace

void ReportGuide(const RunRecord& run, const Space& space, const GuideRecord& guide, Checks& checks,
                 std::ostream& out) {
    const auto modes = KnownModes(run.model, run.Cutoffs());
    const bool isComplete = IsComplete(run, guide, modes.size());
    if (isComplete) PrintImpedance(run, guide, modes.front(), out);
    checks.Expect(isComplete, "every frequency has the modes of both ports and its matrices");
    checks.Expect(PortDofsAgree(guide, space.positions.size(), modes.size()),
                  "port and circuit degrees of freedom follow the nodes");
    if (!isComplete) return;

    Deviations deviations;
    for (const FrequencyRecord& record : guide.sweep) {
        ComparePorts(record, run.model, modes, deviations);
        CompareMatrices(record, run.model, deviations);
        CompareReference(record, run.model, modes.front(), deviations);
    }
    checks.Within(deviations.gamma.Value(), roundingLimit,
                  "propagation constants follow from the cutoffs");
    checks.Within(deviations.ratio.Value(), roundingLimit,
                  "V/I is the wave impedance of every mode at both ports");
    checks.Within(deviations.power.Value(), roundingLimit,
                  "every mode enters with |V I| / 2 = 1 W");
    checks.Within(deviations.impedance.Value(), roundingLimit,
                  "impedance matrices follow from the modal data");
    checks.Within(deviations.inverse.Value(), roundingLimit,
                  "admittance matrices are inverse to them");
    checks.Within(deviations.terminal.Value(), roundingLimit,
                  "V = Z I joins modal data and matrices");
    if (modes.front().reference > 0)
        checks.Within(deviations.reference.Value(), 1,
                      "the first impedance is that of the reference cutoff, in units of its limit");
}

}  // namespace waveguide
