// SPDX-License-Identifier: Apache-2.0
#include "SolveOptions.h"

#include <charconv>
#include <cmath>
#include <map>
#include <string_view>

namespace waveguide {
namespace {

const std::map<std::string, Shape> shapes = {{"rectangle", Shape::Rectangle},
                                             {"circle", Shape::Circle},
                                             {"ridged", Shape::Ridged},
                                             {"lshape", Shape::LShape}};
const std::map<std::string, Refinement> refinements = {{"adaptive", Refinement::Adaptive},
                                                       {"uniform", Refinement::Uniform}};

/// A number between two bounds; other than CLI::Range it refuses not-a-number.
CLI::Validator Within(double low, double high) {
    const auto check = [low, high](const std::string& text) {
        double value = 0;
        const bool isNumber = CLI::detail::lexical_cast(text, value);
        if (isNumber && value >= low && value <= high) return std::string();
        return text + " is not a number from " + CLI::detail::to_string(low) + " to " +
               CLI::detail::to_string(high);
    };
    return CLI::Validator(check, "");
}

double ParseNumber(std::string_view text) {
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || !std::isfinite(value))
        throw CLI::ValidationError("--frequencies", "\"" + std::string(text) + "\" is no number");
    return value;
}

Sweep ParseSweep(const std::string& text) {
    const std::size_t first = text.find(':');
    const std::size_t second = first == text.npos ? text.npos : text.find(':', first + 1);
    if (second == text.npos)
        throw CLI::ValidationError("--frequencies", "write first:last:points, as in 8e9:12e9:41");
    const std::string_view view = text;
    const double points = ParseNumber(view.substr(second + 1));
    Sweep sweep;
    sweep.first = ParseNumber(view.substr(0, first));
    sweep.last = ParseNumber(view.substr(first + 1, second - first - 1));
    if (!(points >= 1 && points <= 100000) || points != std::floor(points))
        throw CLI::ValidationError("--frequencies", "points must be whole, from 1 to 100000");
    sweep.points = static_cast<int>(points);
    // Results are kept by whole hertz, so that frequencies closer than that would be one.
    const double span = sweep.last - sweep.first;
    if (!(sweep.first >= 1 && sweep.last <= 1e15 && (points == 1 ? span >= 0 : span >= points)))
        throw CLI::ValidationError("--frequencies",
                                   "must rise from at least 1 Hz in steps of more than 1 Hz");
    return sweep;
}

}  // namespace

void Finish(const Typed& typed, bool shapeGiven, SolveSettings& solve) {
    Model& model = solve.model;
    model.sweep = ParseSweep(typed.frequencies);
    model.length = typed.length * typed.unit;
    solve.meshUnit = typed.unit;
    solve.refinement = refinements.at(typed.refinement);

    Section& section = model.section;
    section.shape = solve.meshFile.empty() || shapeGiven ? shapes.at(typed.shape) : Shape::Other;
    const bool isL = section.shape == Shape::LShape;
    section.width = typed.unit * (typed.width > 0 ? typed.width : (isL ? 20 : 22.86));
    section.height = typed.unit * (typed.height > 0 ? typed.height : (isL ? 20 : 10.16));
    section.radius = typed.unit * typed.radius;
    section.ridgeWidth = typed.unit * typed.ridgeWidth;
    section.ridgeGap = typed.unit * typed.ridgeGap;
    if (section.shape == Shape::Ridged &&
        (section.ridgeWidth >= section.width || section.ridgeGap >= section.height))
        throw CLI::ValidationError("--ridge-width, --ridge-gap", "must fit into the section");
}

void AddSectionOptions(CLI::App& solve, Typed& typed, SolveSettings& settings) {
    solve.add_option("--shape", typed.shape, "rectangle, circle, ridged or lshape")
        ->check(CLI::IsMember(shapes).description(""))
        ->capture_default_str();
    solve.add_option("--mesh", settings.meshFile,
                     "Gmsh file (ASCII 2.2 or 4.1) instead of a structured mesh; --shape then "
                     "tells what to compare with");
    solve.add_option("--unit", typed.unit, "metres per unit of all lengths and of the mesh file")
        ->check(Within(1e-9, 1e3))
        ->capture_default_str();
    const auto length = [&solve](const char* name, double& value, const char* help) {
        return solve.add_option(name, value, help)->check(Within(1e-6, 1e6));
    };
    length("--width", typed.width, "width of the section [22.86, lshape 20]");
    length("--height", typed.height, "height of the section [10.16, lshape 20]");
    length("--radius", typed.radius, "radius of the circle")->capture_default_str();
    length("--ridge-width", typed.ridgeWidth, "width of the ridge")->capture_default_str();
    length("--ridge-gap", typed.ridgeGap, "height below the ridge")->capture_default_str();
    length("--length", typed.length, "length of guide between the ports")->capture_default_str();
    solve.add_option("--loss-tangent", settings.model.lossTangent, "of the filling")
        ->check(Within(0, 1))
        ->capture_default_str();
}

void AddSolverOptions(CLI::App& solve, Typed& typed, SolveSettings& settings) {
    settings.model.modeCount = 6;
    settings.model.tolerance = 1e-6;
    settings.divisions = 4;
    settings.maximumPasses = 25;
    settings.workers = 1;
    solve.add_option("--frequencies", typed.frequencies, "first:last:points in Hz")
        ->capture_default_str();
    solve.add_option("--workers", settings.workers, "processes that share the sweep")
        ->check(CLI::Range(1, 64))
        ->capture_default_str();
    solve.add_option("--modes", settings.model.modeCount, "modes kept, lowest cutoff first")
        ->check(CLI::Range(1, 40))
        ->capture_default_str();
    solve.add_option("--order", settings.model.order, "of the elements, 1 or 2")
        ->check(CLI::Range(1, 2))
        ->capture_default_str();
    solve.add_option("--refine", typed.refinement, "adaptive (where the error is) or uniform")
        ->check(CLI::IsMember(refinements).description(""))
        ->capture_default_str();
    solve
        .add_option("--tolerance", settings.model.tolerance,
                    "relative change of the first cutoff that ends the passes")
        ->check(Within(1e-12, 0.1))
        ->capture_default_str();
    solve.add_option("--passes", settings.maximumPasses, "at most so many passes")
        ->check(CLI::Range(1, 50))
        ->capture_default_str();
    solve.add_option("--divisions", settings.divisions, "cells along the section at first")
        ->check(CLI::Range(1, 100))
        ->capture_default_str();
    solve.add_flag("--force", settings.replace, "replace results that are in the directory");
}

}  // namespace waveguide
