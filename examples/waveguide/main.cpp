// SPDX-License-Identifier: Apache-2.0
//
// Modes of a hollow metallic waveguide by finite elements, kept in a result store.
//
// Build (Debian packages g++, cmake, make, libeigen3-dev, libspectra-dev, libcli11-dev):
//   cmake -S . -B build -DFIELDSTORE_BUILD_WAVEGUIDE=ON -DFIELDSTORE_BUILD_TESTS=OFF
//   cmake --build build --target waveguide
//
// Sample runs:
//   waveguide solve out                                      # WR-90 over X band
//   waveguide solve out --force --shape circle --radius 11.5 --workers 4
//   waveguide solve out --force --shape ridged --ridge-width 6 --ridge-gap 4
//   waveguide solve out --force --shape lshape --order 1 --tolerance 1e-4
//   waveguide solve out --force --mesh section.msh --frequencies 8e9:12e9:401
//   mpirun -n 4 waveguide solve out --force                  # the ranks share the sweep
//   waveguide report out                                     # a process of its own; status 1 on
//                                                            # any mismatch
//
// What is computed: the longitudinal field u of a mode with cutoff wave number k_c satisfies
//   div grad u + k_c^2 u = 0
// in the cross-section, with vanishing normal derivative on the wall for TE modes (u = H_z) and
// vanishing u for TM modes (u = E_z). Linear or quadratic triangles turn it into the sparse
// eigenvalue problem K x = k_c^2 M x. The mesh is refined where the estimated error is largest
// until the first cutoff settles. From the cutoffs follow propagation constant, wave impedance,
// modal voltages and currents and the two-port matrices of a guide section at every frequency.
//
// Everything goes through one store directory: the passes, the mesh, the degrees of freedom, the
// matrices, and the modal data that several worker processes append to one file.
//
// Read the quickstart first: it stores one class of object. Here, start with Solve() below, then
// Store.h, RunRecord.cpp, MeshRecord.cpp, DofRecord.cpp and GuideRecord.cpp, which have all that
// touches the library, and SweepWorkers.cpp for the processes. docs/waveguide.md explains the
// output.

#include <chrono>
#include <exception>
#include <iomanip>
#include <iostream>

#include "Adaptive.h"
#include "Checks.h"
#include "CommandLine.h"
#include "DofRecord.h"
#include "GmshReader.h"
#include "GuideRecord.h"
#include "LabelsFile.h"
#include "MeshRecord.h"
#include "Progress.h"
#include "Ranks.h"
#include "Report.h"
#include "ReportCutoffs.h"
#include "RunRecord.h"
#include "Shapes.h"
#include "SweepWorkers.h"

namespace waveguide {
namespace {

/// Levels of cuts in the bisection tree; its 8 leaves are the partitions of the DOF list, two to a
/// block.
constexpr int cutLevels = 3;

/// A line with the size of a pass and its first cutoffs, each with its relative error where a
/// reference value is known.
void PrintPass(const Model& model, const Pass& pass) {
    std::cout << "  pass " << std::setw(2) << pass.number << ": " << std::setw(6)
              << pass.space.elements.size() << " elements, change" << Column(pass.change, 8, 2)
              << ", k_c";
    const auto known = KnownModes(model, pass.cutoffs);
    for (std::size_t m = 0; m < known.size() && m < 3; ++m) {
        std::cout << Fixed(known[m].mode.cutoff, 10, 3);
        if (known[m].reference > 0) std::cout << " (" << Column(known[m].Error(), 0, 2) << ")";
    }
    std::cout << std::endl;
}

/// Runs the adaptive passes, stores each, and hands back the last.
Pass SolveAndStorePasses(const SolveSettings& settings, const Store& store, Mesh mesh) {
    Pass last;
    Progress progress("passes", static_cast<std::size_t>(settings.maximumPasses));
    RunPasses(settings, std::move(mesh), [&](const Pass& pass) {
        WritePass(store, settings.model, pass);
        progress.Hide();
        PrintPass(settings.model, pass);
        progress.Show(static_cast<std::size_t>(pass.number), "refining");
        if (pass.isLast) last = pass;
    });
    return last;
}

/// The mesh of the first pass. A structured one has as many divisions as asked for, or as it takes
/// for the modes.
Mesh FirstMesh(const SolveSettings& settings) {
    if (!settings.meshFile.empty()) return ReadGmsh(settings.meshFile, settings.meshUnit);
    for (int divisions = settings.divisions;; ++divisions) {
        Mesh mesh = StructuredMesh(settings.model.section, divisions);
        if (IsFineEnough(mesh, settings.model)) return mesh;
    }
}

void Solve(const SolveSettings& settings, const Ranks& ranks) {
    const auto start = std::chrono::steady_clock::now();
    const Model& model = settings.model;

    // 1. The first mesh. It comes before the store, so that a wrong mesh file destroys nothing.
    Mesh mesh = FirstMesh(settings);
    const Store store = Store::Create(settings.directory, settings.replace);
    std::cout << "Section: " << Describe(model.section)
              << "\nPasses (k_c in rad/m, relative error):" << std::endl;

    // 2. Cutoffs on finer and finer meshes, every pass stored as it is done.
    const Pass last = SolveAndStorePasses(settings, store, std::move(mesh));
    if (!last.converged)
        std::cerr << "waveguide: the first cutoff has not settled to the tolerance; the report "
                     "will say so (see --passes and --tolerance).\n";

    // 3. The last mesh and its degrees of freedom.
    const SpatialTree tree(last.space, cutLevels);
    WriteMesh(store, last.space, tree);
    WriteDofMap(store, last.space);
    WriteDofList(store, last.space, tree);
    WriteLabels(store, last.modes);

    // 4. The guide section over frequency: matrices here, modal data by worker processes or ranks.
    WriteSection(store, model, last.modes, last.space.positions.size());
    if (ranks.AreMany())
        ranks.Sweep(settings.directory);
    else
        RunSweep(settings.directory, model.sweep, settings.workers);

    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
    std::cout << "Stored " << model.modeCount << " modes at " << model.sweep.points
              << " frequencies in " << store.Directory() << " (" << Column(seconds.count(), 0, 3)
              << " s). Next: waveguide report " << store.Directory() << std::endl;
}

Status Run(const Command& command, const Ranks& ranks) {
    if (!ranks.IsFirst()) {
        if (command.kind == Command::Kind::Solve) ranks.Sweep(command.solve.directory);
        return Status::Success;
    }
    switch (command.kind) {
        case Command::Kind::Solve:
            Solve(command.solve, ranks);
            return Status::Success;
        case Command::Kind::Report:
            return Report(command.directory, std::cout);
        case Command::Kind::Work:
            WorkOnSweep(command.directory, command.share, command.shareCount);
            return Status::Success;
        case Command::Kind::Nothing:
            break;
    }
    return command.status;
}

}  // namespace
}  // namespace waveguide

int main(int argc, char** argv) {
    using waveguide::Status;
    const waveguide::Ranks ranks(argc, argv);
    try {
        return static_cast<int>(waveguide::Run(waveguide::ParseCommandLine(argc, argv), ranks));
    } catch (const waveguide::Failure& failure) {
        std::cerr << "waveguide: " << failure.what() << "\n";
        return ranks.End(failure.status());
    } catch (const std::exception& error) {
        std::cerr << "waveguide: unexpected failure: " << error.what() << "\n";
        return ranks.End(Status::Solver);
    }
}
