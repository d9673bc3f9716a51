// SPDX-License-Identifier: Apache-2.0
#include "GuideRecord.h"

#include <map>

namespace waveguide {
namespace {

/// The store keeps real matrices; a complex one takes two types.
enum MatrixType : int {
    eImpedanceReal = 0,
    eImpedanceImaginary = 1,
    eAdmittanceReal = 2,
    eAdmittanceImaginary = 3
};

using SectionFunction = SectionMatrix (*)(const Wave&, double);

/// The matrix of all modes, row after row, real and imaginary part apart.
struct Parts {
    std::vector<double> real;
    std::vector<double> imaginary;
};

Parts MatrixAt(const Model& model, const std::vector<Mode>& modes, double frequency,
               SectionFunction sectionMatrix) {
    const std::size_t count = modes.size();
    const std::size_t size = portCount * count;
    Parts parts = {std::vector<double>(size * size), std::vector<double>(size * size)};
    const auto set = [&parts, size](std::size_t row, std::size_t column, Complex value) {
        parts.real[row * size + column] = value.real();
        parts.imaginary[row * size + column] = value.imag();
    };
    for (std::size_t m = 0; m < count; ++m) {
        const Wave wave = WaveAt(modes[m], frequency, model.lossTangent);
        const SectionMatrix entries = sectionMatrix(wave, model.length);
        set(m, m, entries.self);
        set(m + count, m + count, entries.self);
        set(m, m + count, entries.mutual);
        set(m + count, m, entries.mutual);
    }
    return parts;
}

void AddPort(IPOModeInfo& modeInfo, const Model& model, const std::vector<Mode>& modes,
             double frequency, int port) {
    std::vector<Complex> values;
    std::vector<std::vector<int>> groups(2);  // TE, TM
    std::vector<std::vector<Complex>> data;
    for (std::size_t m = 0; m < modes.size(); ++m) {
        const Wave wave = WaveAt(modes[m], frequency, model.lossTangent);
        const PortValues atPort = ValuesAtPort(wave, port, model.length);
        values.push_back(wave.gamma);
        groups[static_cast<std::size_t>(modes[m].family)].push_back(static_cast<int>(m));
        std::vector<Complex> voltagesThenCurrents(2 * modes.size());
        voltagesThenCurrents[m] = atPort.voltage;
        voltagesThenCurrents[modes.size() + m] = atPort.current;
        data.push_back(std::move(voltagesThenCurrents));
    }
    if (!modeInfo.AddModeData(frequency, port, values, groups, data))
        throw std::logic_error("The store refuses the modal data.");
}

template <typename Value>
Eigen::MatrixXcd Square(const std::vector<Value>& rows, std::size_t size) {
    if (rows.size() != size * size) return {};
    using RowMajor = Eigen::Matrix<Value, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;
    const auto n = static_cast<Eigen::Index>(size);
    return Eigen::Map<const RowMajor>(rows.data(), n, n).template cast<Complex>();
}

/// The complex matrix whose real part is stored as `type` and whose imaginary part as the next.
Eigen::MatrixXcd ReadMatrix(IPOCircuitMatrices& matrices, int index, int type, std::size_t size) {
    const auto real = Square(matrices.GetMatrix(index, type, true).values, size);
    const auto imaginary = Square(matrices.GetMatrix(index, type + 1, true).values, size);
    if (real.size() == 0 || imaginary.size() == 0) return {};
    return real + Complex(0, 1) * imaginary;
}

std::vector<int> Flatten(const IPOPortCircuitDOFs::DOFLists& lists) {
    std::vector<int> dofs;
    for (const auto& list : lists) {
        for (const auto& entry : list) dofs.push_back(entry.second);
    }
    return dofs;
}

void ReadMatrices(const Store& store, std::size_t size, GuideRecord& guide) {
    auto matrices = store.Loaded<IPOCircuitMatrices>();
    const std::vector<double> frequencies = matrices->GetFrequencies();
    guide.matrixFrequencyCount = frequencies.size();
    std::map<double, int> indices;
    for (const double frequency : frequencies)
        indices.emplace(frequency, static_cast<int>(indices.size()));
    for (FrequencyRecord& record : guide.sweep) {
        const auto found = indices.find(record.frequency);
        if (found == indices.end()) continue;
        record.impedance = ReadMatrix(*matrices, found->second, eImpedanceReal, size);
        record.admittance = ReadMatrix(*matrices, found->second, eAdmittanceReal, size);
    }
}

}  // namespace

std::shared_ptr<IPOModeInfo> FilledModes(const Store& store, const Model& model,
                                         const std::vector<Mode>& modes,
                                         const std::vector<double>& frequencies) {
    // A fresh object per commit: a second commit would append the first frequencies again.
    auto modeInfo = store.ForWriting<IPOModeInfo>(fieldstore::Locking::On);
    for (const double frequency : frequencies) {
        for (int port = 0; port < portCount; ++port)
            AddPort(*modeInfo, model, modes, frequency, port);
    }
    return modeInfo;
}

void AppendModes(const Store& store, const Model& model, const std::vector<Mode>& modes,
                 const std::vector<double>& frequencies) {
    store.Commit(FilledModes(store, model, modes, frequencies));
}

void WriteSection(const Store& store, const Model& model, const std::vector<Mode>& modes,
                  std::size_t nodeCount) {
    auto matrices = store.ForWriting<IPOCircuitMatrices>();
    for (const double frequency : model.sweep.Frequencies()) {
        const Parts z = MatrixAt(model, modes, frequency, ImpedanceMatrix);
        matrices->SetMatrix(frequency, eImpedanceReal, 0, 0, z.real);
        matrices->SetMatrix(frequency, eImpedanceImaginary, 0, 0, z.imaginary);
        const Parts y = MatrixAt(model, modes, frequency, AdmittanceMatrix);
        matrices->SetMatrix(frequency, eAdmittanceReal, 0, 0, y.real);
        matrices->SetMatrix(frequency, eAdmittanceImaginary, 0, 0, y.imaginary);
    }
    store.Commit(matrices);

    const int modeCount = static_cast<int>(modes.size());
    std::map<int, int> table;
    for (int position = 0; position < (portCount + 1) * modeCount; ++position)
        table[position] = static_cast<int>(nodeCount) + position;
    auto ports = store.ForWriting<IPOPortCircuitDOFs>();
    ports->SetData(portCount * modeCount, 0, modeCount, 0, table);
    store.Commit(ports);
}

GuideRecord ReadGuide(const Store& store, std::size_t modeCount) {
    GuideRecord guide;
    auto modeInfo = store.Loaded<IPOModeInfo>();
    const std::vector<double> frequencies = modeInfo->GetFrequencies();
    for (std::size_t i = 0; i < frequencies.size(); ++i) {
        FrequencyRecord record;
        record.frequency = frequencies[i];
        const int index = static_cast<int>(i);
        for (int port = 0; port < portCount; ++port) {
            record.ports.push_back(
                {modeInfo->GetModeValues(index, port),
                 Square(modeInfo->GetVoltageMatrix(index, port, true), modeCount),
                 Square(modeInfo->GetCurrentMatrix(index, port, true), modeCount)});
        }
        guide.sweep.push_back(std::move(record));
    }
    ReadMatrices(store, portCount * modeCount, guide);
    auto ports = store.Loaded<IPOPortCircuitDOFs>();
    guide.portDofs = Flatten(ports->GetPortDOFs());
    guide.circuitDofs = Flatten(ports->GetCircuitDOFs());
    return guide;
}

}  // namespace waveguide
