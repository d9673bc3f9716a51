// SPDX-License-Identifier: Apache-2.0
#ifndef WAVEGUIDE_GUIDERECORD_H
#define WAVEGUIDE_GUIDERECORD_H

#include <Eigen/Core>
#include <memory>
#include <utility>
#include <vector>

#include "Modes.h"
#include "Store.h"

namespace waveguide {

constexpr int portCount = 2;

/// The modal data of some frequencies, both ports, ready to be appended under the lock.
///
/// Voltages and currents of a mode are vectors with an entry per mode of the port; waves of
/// different modes do not mix, so that only the mode's own entry differs from 0.
std::shared_ptr<IPOModeInfo> FilledModes(const Store& store, const Model& model,
                                         const std::vector<Mode>& modes,
                                         const std::vector<double>& frequencies);

/// Appends them in one commit.
void AppendModes(const Store& store, const Model& model, const std::vector<Mode>& modes,
                 const std::vector<double>& frequencies);

/// Writes impedance and admittance matrices per frequency, and which degrees of freedom are those
/// of the ports.
///
/// Rows and columns of the matrices are the modes of port 0, then those of port 1. Degrees of
/// freedom behind the `nodeCount` nodes: the modes of port 0, of port 1, then the inner node of the
/// T circuit that stands for the section in each mode.
void WriteSection(const Store& store, const Model& model, const std::vector<Mode>& modes,
                  std::size_t nodeCount);

/// Modal data of one port at one frequency.
struct PortRecord {
    std::vector<Complex> gamma;
    Eigen::MatrixXcd voltage;  ///< row i: mode i
    Eigen::MatrixXcd current;
};

struct FrequencyRecord {
    double frequency = 0;
    std::vector<PortRecord> ports;
    Eigen::MatrixXcd impedance;
    Eigen::MatrixXcd admittance;
};

struct GuideRecord {
    std::vector<FrequencyRecord> sweep;
    std::size_t matrixFrequencyCount = 0;
    std::vector<int> portDofs;
    std::vector<int> circuitDofs;
};

/// Matrices that are missing or of another size than `modeCount` asks for come back empty.
GuideRecord ReadGuide(const Store& store, std::size_t modeCount);

}  // namespace waveguide

#endif
