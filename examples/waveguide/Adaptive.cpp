// SPDX-License-Identifier: Apache-2.0
#include "Adaptive.h"

#include <algorithm>
#include <cmath>

#include "Assembly.h"
#include "EigenSolver.h"
#include "Indicator.h"
#include "Refine.h"

namespace waveguide {
namespace {

/// Share of the estimated error that the elements refined in a pass hold.
constexpr double refinedShare = 0.75;

/// A mesh with more nodes than this is not refined further; an eigenvalue solve takes seconds then.
constexpr std::size_t largestNodeCount = 40000;

Mesh FineEnough(Mesh mesh, const Model& model) {
    while (!IsFineEnough(mesh, model)) mesh = RefineUniformly(mesh);
    return mesh;
}

/// The sign that an eigenvector comes with says nothing: the first of the values that are nearly
/// the largest becomes positive.
std::vector<double> Normalised(const Eigen::VectorXd& vector) {
    constexpr double nearly = 0.999;
    const double largest = vector.cwiseAbs().maxCoeff();
    const auto* first =
        std::find_if(vector.data(), vector.data() + vector.size(),
                     [&](double value) { return std::abs(value) >= nearly * largest; });
    const Eigen::VectorXd scaled = vector / std::copysign(largest, *first);
    return {scaled.data(), scaled.data() + scaled.size()};
}

Pass SolvePass(const Model& model, const Mesh& mesh) {
    const auto count = static_cast<std::size_t>(model.modeCount);
    Pass pass;
    pass.space = BuildSpace(mesh, model.order);
    const Pencil pencil = Assemble(pass.space);
    const MapRows freeNodes = FreeNodes(pass.space);
    pass.freeCount = CountFree(freeNodes);

    std::array<EigenPairs, 2> pairs;
    for (const Family family : families) {
        const auto f = static_cast<std::size_t>(family);
        pairs[f] = SolveFamily(pencil, family, freeNodes, count, TotalArea(mesh));
        for (const double value : pairs[f].values) pass.cutoffs[f].push_back(std::sqrt(value));
    }
    pass.modes = LowestModes(pass.cutoffs, count);
    for (const Mode& mode : pass.modes) {
        const auto& vectors = pairs[static_cast<std::size_t>(mode.family)].vectors;
        const Eigen::VectorXd field = vectors.col(static_cast<Eigen::Index>(mode.rank));
        pass.indicators.push_back(ErrorIndicators(pass.space, field, mode.cutoff * mode.cutoff));
        pass.fields.push_back(Normalised(field));
    }
    return pass;
}

Mesh NextMesh(const SolveSettings& settings, const Mesh& mesh, const Pass& pass) {
    if (settings.refinement == Refinement::Uniform) return RefineUniformly(mesh);
    std::vector<double> sum(mesh.triangles.size(), 0.0);
    for (const auto& indicators : pass.indicators) {
        for (std::size_t e = 0; e < sum.size(); ++e) sum[e] += indicators[e];
    }
    return RefineMarked(mesh, MarkLargest(sum, refinedShare));
}

}  // namespace

bool IsFineEnough(const Mesh& mesh, const Model& model) {
    return CountFree(FreeNodes(BuildSpace(mesh, model.order))) >=
           UnknownsFor(static_cast<std::size_t>(model.modeCount));
}

void RunPasses(const SolveSettings& settings, Mesh mesh,
               const std::function<void(const Pass&)>& onPass) {
    mesh = FineEnough(std::move(mesh), settings.model);
    double previous = 0;
    for (int number = 1;; ++number) {
        Pass pass = SolvePass(settings.model, mesh);
        const double first = pass.modes.front().cutoff;
        pass.number = number;
        pass.change = std::abs(first - previous) / first;
        pass.converged = pass.change < settings.model.tolerance;
        pass.isLast = pass.converged || number == settings.maximumPasses ||
                      pass.space.positions.size() > largestNodeCount;
        onPass(pass);
        if (pass.isLast) return;
        previous = first;
        mesh = NextMesh(settings, mesh, pass);
    }
}

}  // namespace waveguide
