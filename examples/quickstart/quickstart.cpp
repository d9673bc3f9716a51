// SPDX-License-Identifier: Apache-2.0
//
// Quickstart: a host that stores the modes of a WR-90 waveguide and reads them back.
//
// Build:  cmake --preset release && cmake --build --preset release
// Run:    build/release/examples/quickstart/quickstart write /tmp/wr90/
//         build/release/examples/quickstart/quickstart report /tmp/wr90/
//
// `write` computes the first four modes over X band from the textbook formulas and commits, per
// frequency and port, their propagation constants and their voltages and currents for unit power.
// `report` is meant to run in another process: it loads the file and compares the impedance V/I
// with the formula. Status 0 when they agree, 1 when they do not, 2 for a wrong call or a file
// that does not load.
//
// Read first: Write(), then Report().

#include <cstdio>
#include <exception>
#include <filesystem>
#include <iostream>
#include <string>

#include "fieldstore/fieldstore.h"
#include "waveguide_formulas.h"

namespace {

using quickstart::Complex;
using quickstart::Mode;

constexpr int kPorts[] = {1, 2};  // both ends of the guide

/// Voltages and currents of one mode, as the store takes them: n voltages, then n currents. Modes
/// do not couple in a uniform guide, so only the mode's own entries differ from zero. For V I / 2
/// = 1 W, V is sqrt(2 Z) and I is sqrt(2 / Z).
std::vector<Complex> ModalData(const Mode& mode, std::size_t index, std::size_t count,
                               double frequency) {
    std::vector<Complex> data(2 * count);
    const Complex voltage = std::sqrt(2.0 * mode.WaveImpedance(frequency));
    data[index] = voltage;
    data[count + index] = voltage / mode.WaveImpedance(frequency);
    return data;
}

int Write(const std::string& directory) {
    std::filesystem::create_directories(directory);

    // 1. Create the object. A commit appends to the file, so remove what an earlier run left;
    //    that empties the object too, hence before filling it.
    const auto modeInfo = fieldstore::Create<IPOModeInfo>();
    IPOBase& storage = fieldstore::Storage(modeInfo);
    storage.SetDirectory(directory);
    storage.DeleteStorage();

    // 2. Fill it, one call per frequency and port.
    const auto modes = quickstart::FirstModes();
    for (const double frequency : quickstart::XBand()) {
        std::vector<Complex> values;
        std::vector<std::vector<int>> groups;  // each mode is a group of its own
        std::vector<std::vector<Complex>> data;
        for (std::size_t i = 0; i < modes.size(); ++i) {
            values.push_back(modes[i].PropagationConstant(frequency));
            groups.push_back({static_cast<int>(i)});
            data.push_back(ModalData(modes[i], i, modes.size(), frequency));
        }
        for (const int port : kPorts) modeInfo->AddModeData(frequency, port, values, groups, data);
    }

    // 3. Choose the storage, with a lock against other writers, and commit.
    fieldstore::CreateStorage(storage, fieldstore::StorageType::WriteDefault,
                              fieldstore::Locking::On);
    if (storage.Commit(false) == 0) return 0;
    std::cerr << "Cannot write " << directory << storage.GetFileName()
              << ". May you write there, and is the disk not full?\n";
    return 2;
}

void PrintMatrix(const char* name, const std::vector<Complex>& matrix, std::size_t rows) {
    for (std::size_t row = 0; row < rows; ++row) {
        std::printf("  %s", row == 0 ? name : " ");
        for (std::size_t column = 0; column < rows; ++column) {
            const Complex value = matrix[row * rows + column];
            std::printf("  %8.4f%+8.4fj", value.real(), value.imag());
        }
        std::printf("\n");
    }
}

/// Prints the impedance of each mode beside the formula's value; returns whether they agree.
bool CompareImpedances(const std::vector<Complex>& voltages, const std::vector<Complex>& currents,
                       double frequency) {
    constexpr double tolerance = 1e-12;  // text keeps 16 digits
    const auto modes = quickstart::FirstModes();
    bool agree = true;
    for (std::size_t i = 0; i < modes.size(); ++i) {
        const std::size_t diagonal = i * modes.size() + i;
        const Complex impedance = voltages[diagonal] / currents[diagonal];
        const Complex formula = modes[i].WaveImpedance(frequency);
        const bool same = std::abs(impedance - formula) <= tolerance * std::abs(formula);
        std::printf("  %s  V/I = %10.4f%+11.4fj ohm   formula %10.4f%+11.4fj ohm   %s\n",
                    modes[i].name.c_str(), impedance.real(), impedance.imag(), formula.real(),
                    formula.imag(), same ? "ok" : "DIFFERENT");
        agree = agree && same;
    }
    return agree;
}

int Report(const std::string& directory) {
    // 1. Load; a result of 2 means that there is no such file.
    const auto modeInfo = fieldstore::Create<IPOModeInfo>();
    IPOBase& storage = fieldstore::Storage(modeInfo);
    storage.SetDirectory(directory);
    if (const int result = storage.Load(); result != 0) {
        std::cerr << "Cannot load " << directory << storage.GetFileName()
                  << (result == 2 ? ": there is no such file. Run `quickstart write` first.\n"
                                  : ": it is damaged. Write it again.\n");
        return 2;
    }

    // 2. Everything that was written must be there.
    const auto frequencies = modeInfo->GetFrequencies();
    const std::size_t modeCount = quickstart::FirstModes().size();
    bool agree = frequencies == quickstart::XBand() && modeInfo->GetPortCount() == 2;
    for (int index = 0; index < modeInfo->GetFrequencyCount(); ++index) {
        const double frequency = frequencies[static_cast<std::size_t>(index)];
        for (const int port : kPorts) {
            const auto voltages = modeInfo->GetVoltageMatrix(index, port, true);
            const auto currents = modeInfo->GetCurrentMatrix(index, port, true);
            std::printf("%.3f GHz, port %d\n", frequency / 1e9, port);
            if (voltages.size() != modeCount * modeCount || currents.size() != voltages.size()) {
                std::printf("  incomplete\n");
                return 1;
            }
            PrintMatrix("V", voltages, modeCount);
            PrintMatrix("I", currents, modeCount);
            agree = CompareImpedances(voltages, currents, frequency) && agree;
        }
    }
    std::printf("%s\n", agree ? "What came back agrees with the formulas."
                              : "What came back DIFFERS from the formulas.");
    return agree ? 0 : 1;
}

}  // namespace

int main(int argumentCount, char** arguments) {
    try {
        const std::string command = argumentCount == 3 ? arguments[1] : "";
        if (command == "write") return Write(arguments[2]);
        if (command == "report") return Report(arguments[2]);
        std::cerr << "Usage: quickstart write|report DIRECTORY/\n";
        return 2;
    } catch (const std::exception& error) {
        std::cerr << "quickstart: " << error.what() << "\n";
        return 2;
    }
}
