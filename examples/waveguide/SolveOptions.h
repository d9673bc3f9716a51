// SPDX-License-Identifier: Apache-2.0
#ifndef WAVEGUIDE_SOLVEOPTIONS_H
#define WAVEGUIDE_SOLVEOPTIONS_H

#include <CLI/CLI.hpp>
#include <string>

#include "Settings.h"

namespace waveguide {

/// The options as typed: lengths in units of --unit, 0 for those to be chosen by shape.
struct Typed {
    std::string shape = "rectangle";
    std::string refinement = "adaptive";
    double unit = 1e-3;
    double width = 0;
    double height = 0;
    double radius = 11.5;
    double ridgeWidth = 6;
    double ridgeGap = 4;
    double length = 50;
    std::string frequencies = "8.2e9:12.4e9:43";
};

/// Adds the options of the section and of the solver.
void AddSectionOptions(CLI::App& solve, Typed& typed, SolveSettings& settings);
void AddSolverOptions(CLI::App& solve, Typed& typed, SolveSettings& settings);

/// Applies the unit and the sizes that depend on the shape; checks what belongs together.
void Finish(const Typed& typed, bool shapeGiven, SolveSettings& solve);

}  // namespace waveguide

#endif
