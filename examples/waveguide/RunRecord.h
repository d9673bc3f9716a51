// SPDX-License-Identifier: Apache-2.0
#ifndef WAVEGUIDE_RUNRECORD_H
#define WAVEGUIDE_RUNRECORD_H

#include <cstdint>
#include <map>
#include <vector>

#include "Adaptive.h"
#include "Store.h"

namespace waveguide {

/// Appends a pass to the solution metrics: the model, sizes, cutoffs and error indicators, and
/// with the last pass also the nodes and edges of its mesh, and the fields of the modes there.
///
/// Every pass is a body of its own. A load merges the bodies, which is where the sums, maxima and
/// means over the passes come from; it needs the edges, so that a run that was broken off before
/// its last pass does not load.
void WritePass(const Store& store, const Model& model, const Pass& pass);

/// What the metrics tell about one pass.
struct PassRecord {
    std::uint32_t number = 0;
    double elementCount = 0;
    double nodeCount = 0;
    double freeCount = 0;
    double change = 0;
    double indicatorSum = 0;  ///< as merged while the indicators were added
    double indicatorMaximum = 0;
    std::vector<double> indicators;  ///< per element, summed over the modes
    FamilyCutoffs cutoffs;
};

struct RunRecord {
    Model model;
    bool converged = false;
    std::vector<PassRecord> passes;
    double nodeCountSum = 0;  ///< over the passes, as merged by the load
    double nodeCountMaximum = 0;
    double nodeCountMean = 0;
    std::vector<std::vector<double>> fields;   ///< per mode, then per node
    std::map<int, Point> positions;            ///< by node id, from 1
    std::vector<Edge> edges;                   ///< by ascending edge id, as node ids
    std::map<int, std::size_t> neighborCount;  ///< by node id

    const FamilyCutoffs& Cutoffs() const { return passes.back().cutoffs; }
};

/// For Store::Reading(), as the other Read functions of records: raises Failure when the metrics do
/// not load, other exceptions when they are not those of a solve.
RunRecord ReadRun(const Store& store);

}  // namespace waveguide

#endif
