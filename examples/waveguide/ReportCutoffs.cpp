// SPDX-License-Identifier: Apache-2.0
#include "ReportCutoffs.h"

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <numeric>

#include "EigenSolver.h"
#include "Failure.h"

namespace waveguide {
namespace {

/// The area of the section in closed form; 0 for one from a mesh file.
double AreaOf(const Section& section) {
    const double box = section.width * section.height;
    switch (section.shape) {
        case Shape::Rectangle:
            return box;
        case Shape::Circle:
            return std::acos(-1.0) * section.radius * section.radius;
        case Shape::Ridged:
            return box - section.ridgeWidth * (section.height - section.ridgeGap);
        case Shape::LShape:
            return 0.75 * box;
        case Shape::Other:
            break;
    }
    return 0;
}

FamilyCutoffs SolveAgain(const Pencil& pencil, double area, const MapRows& dofMap,
                         const Model& model) {
    if (static_cast<Eigen::Index>(dofMap.size()) != pencil.mass.rows())
        throw Failure(Status::Mismatch, "DOF map", "it has not a row for every node",
                      "solve again");
    FamilyCutoffs cutoffs;
    for (const Family family : families) {
        const auto pairs =
            SolveFamily(pencil, family, dofMap, static_cast<std::size_t>(model.modeCount), area);
        for (const double value : pairs.values)
            cutoffs[static_cast<std::size_t>(family)].push_back(std::sqrt(value));
    }
    return cutoffs;
}

/// The largest relative difference between two sets of cutoffs.
double Deviation(const FamilyCutoffs& a, const FamilyCutoffs& b) {
    Largest largest;
    for (std::size_t family = 0; family < 2; ++family) {
        if (a[family].size() != b[family].size()) return 1;
        for (std::size_t rank = 0; rank < a[family].size(); ++rank)
            largest.AddRelative(a[family][rank], b[family][rank]);
    }
    return largest.Value();
}

/// The largest relative difference between k_c^2 of the modes and the Rayleigh quotients of their
/// fields.
double FieldDeviation(const RunRecord& run, const Pencil& pencil) {
    Largest largest;
    for (std::size_t m = 0; m < run.fields.size(); ++m) {
        const auto size = static_cast<Eigen::Index>(run.fields[m].size());
        if (size != pencil.mass.rows()) return 1;
        const Eigen::Map<const Eigen::VectorXd> field(run.fields[m].data(), size);
        const double quotient =
            field.dot(pencil.stiffness * field) / field.dot(pencil.mass * field);
        const double cutoff = LowestModes(run.Cutoffs(), run.fields.size())[m].cutoff;
        largest.AddRelative(quotient, cutoff * cutoff);
    }
    return largest.Value();
}

void CheckArea(const Model& model, double area, Checks& checks) {
    const double expected = AreaOf(model.section);
    if (expected == 0) return;
    // Straight walls are met exactly. A circle is met by its polygon or by quadratic arcs; one
    // percent tells whether it is the right circle, its cutoffs tell how well it is met.
    const double limit = model.section.shape == Shape::Circle ? 1e-2 : 1e-9;
    checks.Within(std::abs(area / expected - 1), limit,
                  "the elements cover the area of the section");
}

}  // namespace

double KnownMode::Error() const {
    return reference > 0 ? std::abs(mode.cutoff / reference - 1) : 0;
}

std::vector<KnownMode> KnownModes(const Model& model, const FamilyCutoffs& cutoffs) {
    std::array<std::vector<Reference>, 2> references;
    for (const Family family : families)
        references[static_cast<std::size_t>(family)] =
            ReferenceCutoffs(model.section, family, static_cast<std::size_t>(model.modeCount));

    const auto modes = LowestModes(cutoffs, static_cast<std::size_t>(model.modeCount));
    std::vector<KnownMode> known;
    for (const Mode& mode : modes) {
        const auto& list = references[static_cast<std::size_t>(mode.family)];
        KnownMode entry = {mode, ShortName(mode), 0, 0};
        if (mode.rank < list.size()) {
            const Reference& reference = list[mode.rank];
            entry.reference = reference.cutoff;
            if (!reference.indices.empty()) entry.label = Name(mode.family) + reference.indices;
        }
        // The tolerance bounds the last change of the first cutoff; what is left after it may be
        // some times larger. The error of the others grows as (k_c h)^(2 order).
        entry.limit =
            10 * model.tolerance * std::pow(mode.cutoff / modes.front().cutoff, 2 * model.order);
        known.push_back(entry);
    }
    return known;
}

void ReportPasses(const RunRecord& run, Checks& checks, std::ostream& out) {
    out << "\nPasses (first cutoff in rad/m, errors relative to the reference values):\n"
           "  pass  elements     nodes   indicator  first cutoff     change      error  worst "
           "mode\n";
    Largest sumError;
    Largest maximumError;
    double nodeSum = 0;
    double nodeMaximum = 0;
    for (const PassRecord& pass : run.passes) {
        const auto modes = KnownModes(run.model, pass.cutoffs);
        Largest worst;
        for (const KnownMode& known : modes) worst.Add(known.Error());
        out << "  " << std::setw(4) << pass.number << Column(pass.elementCount, 10)
            << Column(pass.nodeCount, 10) << Column(pass.indicatorSum, 12, 3)
            << Fixed(modes.front().mode.cutoff, 14, 5) << Column(pass.change, 11, 2);
        if (modes.front().reference > 0)
            out << Column(modes.front().Error(), 11, 2) << Column(worst.Value(), 12, 2);
        out << "\n";
        const auto& indicators = pass.indicators;
        sumError.AddRelative(std::accumulate(indicators.begin(), indicators.end(), 0.0),
                             pass.indicatorSum);
        maximumError.AddRelative(*std::max_element(indicators.begin(), indicators.end()),
                                 pass.indicatorMaximum);
        nodeSum += pass.nodeCount;
        nodeMaximum = std::max(nodeMaximum, pass.nodeCount);
    }
    const double mean = nodeSum / static_cast<double>(run.passes.size());
    out << "  nodes over all passes: sum " << run.nodeCountSum << ", maximum "
        << run.nodeCountMaximum << ", mean " << run.nodeCountMean << "\n";
    checks.Expect(
        run.converged && run.passes.back().change < run.model.tolerance,
        "the passes converged: the last change is below " + Column(run.model.tolerance, 0, 2));
    checks.Within(sumError.Value(), 1e-9, "the indicators of each pass add up to the stored sum");
    checks.Within(maximumError.Value(), 1e-9, "the largest indicator of each pass is as stored");
    checks.Expect(run.nodeCountSum == nodeSum && run.nodeCountMaximum == nodeMaximum &&
                      std::abs(run.nodeCountMean / mean - 1) < 1e-12,
                  "sum, maximum and mean of the nodes are those of the passes");
}

void ReportCutoffs(const RunRecord& run, const Space& space, const MapRows& dofMap, Checks& checks,
                   std::ostream& out) {
    const Pencil pencil = Assemble(space);
    const double area = pencil.mass.sum();  // the shape functions add up to 1 everywhere
    out << "\nCutoffs:\n";
    CheckArea(run.model, area, checks);
    FamilyCutoffs again;
    try {
        again = SolveAgain(pencil, area, dofMap, run.model);
    } catch (const Failure& failure) {
        // Damaged data may leave matrices that no solver can treat.
        checks.Expect(false, std::string("the loaded data can be solved again: ") + failure.what());
        return;
    }
    out << "  mode       k_c (rad/m)     f_c (GHz)  solved again (rad/m)  reference (rad/m)"
           "      error\n";
    Largest excess;
    bool isAnyKnown = false;
    for (const KnownMode& known : KnownModes(run.model, run.Cutoffs())) {
        const Mode& mode = known.mode;
        out << "  " << std::left << std::setw(8) << known.label << std::right
            << Fixed(mode.cutoff, 14, 5) << Fixed(mode.CutoffFrequency() * 1e-9, 14, 5)
            << Fixed(again[static_cast<std::size_t>(mode.family)][mode.rank], 22, 5);
        if (known.reference > 0) {
            out << Fixed(known.reference, 19, 5) << Column(known.Error(), 11, 2);
            excess.Add(known.Error() / known.limit);
            isAnyKnown = true;
        }
        out << "\n";
    }
    checks.Within(Deviation(again, run.Cutoffs()), 1e-8,
                  "solving again from the loaded data gives the stored cutoffs");
    checks.Within(FieldDeviation(run, pencil), 1e-8,
                  "the stored field of every mode has the stored cutoff");
    if (isAnyKnown)
        checks.Within(excess.Value(), 1,
                      "the cutoffs are the reference ones, in units of their limits");
}

}  // namespace waveguide
