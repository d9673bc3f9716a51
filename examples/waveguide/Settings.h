// SPDX-License-Identifier: Apache-2.0
#ifndef WAVEGUIDE_SETTINGS_H
#define WAVEGUIDE_SETTINGS_H

#include <string>
#include <vector>

namespace waveguide {

/// The numbers are stored with the results and must not change.
enum class Shape : int { Rectangle = 1, Circle = 2, Ridged = 3, LShape = 4, Other = 5 };

/// TE modes have no electric, TM modes no magnetic field along the guide.
enum class Family : int { TE = 0, TM = 1 };

constexpr Family families[] = {Family::TE, Family::TM};

inline const char* Name(Family family) {
    return family == Family::TE ? "TE" : "TM";
}

/// The cross-section; all lengths in metres.
struct Section {
    Shape shape = Shape::Rectangle;
    double width = 0;       ///< rectangle, ridged and L-shape
    double height = 0;      ///< rectangle, ridged and L-shape
    double radius = 0;      ///< circle
    double ridgeWidth = 0;  ///< ridged: width of the ridge that hangs from the top wall
    double ridgeGap = 0;    ///< ridged: distance from the ridge to the bottom wall
};

/// Frequencies in hertz, evenly spaced, both ends included.
struct Sweep {
    double first = 0;
    double last = 0;
    int points = 0;

    /// Rounded to whole hertz, because that is what the store keys its data by: computing with the
    /// stored frequency leaves nothing to lose.
    std::vector<double> Frequencies() const;
};

enum class Refinement { Adaptive, Uniform };

/// What the physics needs and what is stored with the results.
struct Model {
    Section section;
    Sweep sweep;
    double length = 0;       ///< metres of guide between the two ports
    double lossTangent = 0;  ///< of the filling; 0 for air
    int modeCount = 0;       ///< modes kept, lowest cutoff first
    int order = 2;           ///< of the elements: 1 or 2
    double tolerance = 0;    ///< relative change of the first cutoff that ends the passes
};

/// What `waveguide solve` was asked to do.
struct SolveSettings {
    Model model;
    std::string directory;
    std::string meshFile;  ///< empty: a structured mesh of the section
    double meshUnit = 0;   ///< metres per unit of the mesh file
    int divisions = 0;     ///< cells along the longer side of the first structured mesh
    int maximumPasses = 0;
    Refinement refinement = Refinement::Adaptive;
    int workers = 0;
    bool replace = false;  ///< replace results of an earlier run
};

}  // namespace waveguide

#endif
