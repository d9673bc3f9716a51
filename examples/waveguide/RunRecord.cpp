// SPDX-License-Identifier: Apache-2.0
#include "RunRecord.h"

#include <algorithm>
#include <set>
#include <stdexcept>

namespace waveguide {
namespace {

/// A kind of value in the metrics. Value types stay below 10, or they would run into the next
/// entity type.
struct Quantity {
    int entityType;
    int valueType;
    std::uint32_t count;
    int resolve;
};

// Entities: 1 the run, 2 a pass, 3 an element, 4 a mode, 5 a node. The index is the pass, 0 for the
// run.
constexpr Quantity kGeometry = {1, 1, 6, IPOSolutionMetrics::eReplace};
constexpr Quantity kSweep = {1, 2, 3, IPOSolutionMetrics::eReplace};
constexpr Quantity kSettings = {1, 3, 6, IPOSolutionMetrics::eReplace};
constexpr Quantity kNodeCountSum = {1, 4, 1, IPOSolutionMetrics::eSum};
constexpr Quantity kNodeCountMaximum = {1, 5, 1, IPOSolutionMetrics::eMax};
constexpr Quantity kNodeCountMean = {1, 6, 1, IPOSolutionMetrics::eMean};
constexpr Quantity kPassSizes = {2, 1, 4, IPOSolutionMetrics::eReplace};
constexpr Quantity kIndicatorSum = {2, 2, 1, IPOSolutionMetrics::eSum};
constexpr Quantity kIndicatorMaximum = {2, 3, 1, IPOSolutionMetrics::eMax};
constexpr Quantity kIndicator = {3, 1, 1, IPOSolutionMetrics::eSum};
constexpr Quantity kCutoff = {4, 1, 1, IPOSolutionMetrics::eReplace};

constexpr Quantity quantities[] = {kGeometry,         kSweep,         kSettings,  kNodeCountSum,
                                   kNodeCountMaximum, kNodeCountMean, kPassSizes, kIndicatorSum,
                                   kIndicatorMaximum, kIndicator,     kCutoff};

/// The longitudinal field of every mode at a node.
Quantity Field(const Model& model) {
    return {5, 1, static_cast<std::uint32_t>(model.modeCount), IPOSolutionMetrics::eReplace};
}

/// The id of an entity of which there is one.
constexpr std::uint32_t single = 1;

std::uint32_t ModeId(Family family, std::size_t rank) {
    return 1000 * static_cast<std::uint32_t>(family) + static_cast<std::uint32_t>(rank) + 1;
}

/// Writes values of one pass.
class PassWriter {
public:
    PassWriter(IPOSolutionMetrics& metrics, std::uint32_t pass) : metrics_(metrics), pass_(pass) {}

    void ForRun(const Quantity& quantity, const std::vector<double>& values) {
        metrics_.AddValues(quantity.entityType, 0, single, quantity.valueType, values);
    }
    void ForPass(const Quantity& quantity, std::uint32_t entity,
                 const std::vector<double>& values) {
        metrics_.AddValues(quantity.entityType, pass_, entity, quantity.valueType, values);
    }

private:
    IPOSolutionMetrics& metrics_;
    std::uint32_t pass_;
};

void AddModel(PassWriter& writer, const Model& model, bool converged) {
    const Section& section = model.section;
    writer.ForRun(kGeometry, {static_cast<double>(section.shape), section.width, section.height,
                              section.radius, section.ridgeWidth, section.ridgeGap});
    writer.ForRun(kSweep,
                  {model.sweep.first, model.sweep.last, static_cast<double>(model.sweep.points)});
    writer.ForRun(kSettings,
                  {model.length, model.lossTangent, static_cast<double>(model.modeCount),
                   static_cast<double>(model.order), model.tolerance, converged ? 1.0 : 0.0});
}

void AddIndicators(PassWriter& writer, const Pass& pass) {
    // Adding to an entity that has values combines the two, so the library does the sums over
    // modes and elements and finds the maximum.
    std::vector<double> perElement(pass.space.elements.size(), 0.0);
    for (const auto& indicators : pass.indicators) {
        for (std::size_t e = 0; e < indicators.size(); ++e) {
            writer.ForPass(kIndicator, static_cast<std::uint32_t>(e) + 1, {indicators[e]});
            perElement[e] += indicators[e];
        }
    }
    for (const double indicator : perElement) {
        writer.ForPass(kIndicatorSum, single, {indicator});
        writer.ForPass(kIndicatorMaximum, single, {indicator});
    }
}

void AddFields(PassWriter& writer, const Model& model, const Pass& pass) {
    for (std::size_t node = 0; node < pass.space.positions.size(); ++node) {
        std::vector<double> values;
        for (const auto& field : pass.fields) values.push_back(field[node]);
        writer.ForPass(Field(model), static_cast<std::uint32_t>(node) + 1, values);
    }
}

/// Node ids count from 1, as GetNodeNeighbors() expects. Edge nodes are in the middle of an edge
/// and have no neighbours of their own.
void AddGraph(IPOSolutionMetrics& metrics, const Space& space) {
    std::uint32_t nodeId = 0;
    for (const Point& position : space.positions)
        metrics.AddNode(++nodeId, {position[0], position[1], 0.0}, {});
    std::set<Edge> edges;
    for (const auto& nodes : space.elements) {
        for (std::size_t k = 0; k < 3; ++k) {
            const auto [low, high] = std::minmax(nodes[k], nodes[(k + 1) % 3]);
            edges.insert({low, high});
        }
    }
    std::uint32_t edgeId = 0;
    for (const Edge& edge : edges)
        metrics.AddEdge(++edgeId, {static_cast<int>(edge[0]) + 1, static_cast<int>(edge[1]) + 1});
}

/// The values of one entity by index. Raises std::runtime_error when there are none.
std::map<std::uint32_t, std::vector<double>> Series(IPOSolutionMetrics& metrics,
                                                    const Quantity& quantity,
                                                    std::uint32_t entity) {
    std::vector<double> values;
    std::vector<std::uint32_t> indices;
    metrics.GetValues(quantity.entityType, entity, quantity.valueType, values, indices);
    if (indices.empty() || values.size() != indices.size() * quantity.count)
        throw std::runtime_error("values are missing");
    std::map<std::uint32_t, std::vector<double>> series;
    auto next = values.begin();
    for (const std::uint32_t index : indices) {
        series[index].assign(next, next + quantity.count);
        next += quantity.count;
    }
    return series;
}

std::vector<double> RunValues(IPOSolutionMetrics& metrics, const Quantity& quantity) {
    return Series(metrics, quantity, single).at(0);
}

Model ReadModel(IPOSolutionMetrics& metrics) {
    const auto geometry = RunValues(metrics, kGeometry);
    const auto sweep = RunValues(metrics, kSweep);
    const auto settings = RunValues(metrics, kSettings);
    // Bounds that keep the conversions defined and the work finite whatever the file says.
    const auto within = [](double value, double low, double high) {
        if (!(value >= low && value <= high)) throw std::runtime_error("a setting is impossible");
        return static_cast<int>(value);
    };
    Model model;
    model.section = {static_cast<Shape>(within(geometry[0], 1, 5)),
                     geometry[1],
                     geometry[2],
                     geometry[3],
                     geometry[4],
                     geometry[5]};
    model.sweep = {sweep[0], sweep[1], within(sweep[2], 1, 1e6)};
    model.length = settings[0];
    model.lossTangent = settings[1];
    model.modeCount = within(settings[2], 1, 1000);
    model.order = within(settings[3], 1, 2);
    model.tolerance = settings[4];
    return model;
}

void ReadPasses(IPOSolutionMetrics& metrics, RunRecord& run) {
    std::map<std::uint32_t, PassRecord> passes;
    for (const auto& [number, sizes] : Series(metrics, kPassSizes, single)) {
        PassRecord& pass = passes[number];
        pass.number = number;
        pass.elementCount = sizes[0];
        pass.nodeCount = sizes[1];
        pass.freeCount = sizes[2];
        pass.change = sizes[3];
    }
    for (const auto& [number, value] : Series(metrics, kIndicatorSum, single))
        passes.at(number).indicatorSum = value[0];
    for (const auto& [number, value] : Series(metrics, kIndicatorMaximum, single))
        passes.at(number).indicatorMaximum = value[0];

    std::vector<std::uint32_t> elements;
    metrics.GetEntityIds(kIndicator.entityType, kIndicator.valueType, elements);
    for (const std::uint32_t element : elements) {
        for (const auto& [number, value] : Series(metrics, kIndicator, element))
            passes.at(number).indicators.push_back(value[0]);
    }
    for (const Family family : families) {
        for (std::size_t rank = 0; rank < static_cast<std::size_t>(run.model.modeCount); ++rank) {
            for (const auto& [number, value] : Series(metrics, kCutoff, ModeId(family, rank)))
                passes.at(number).cutoffs[static_cast<std::size_t>(family)].push_back(value[0]);
        }
    }
    const auto modeCount = static_cast<std::size_t>(run.model.modeCount);
    for (auto& [number, pass] : passes) {
        if (pass.indicators.empty() || pass.cutoffs[0].size() != modeCount ||
            pass.cutoffs[1].size() != modeCount)
            throw std::runtime_error("pass " + std::to_string(number) + " is incomplete");
        run.passes.push_back(std::move(pass));
    }
}

void ReadGraph(IPOSolutionMetrics& metrics, RunRecord& run) {
    std::vector<double> xyz;
    std::vector<std::uint32_t> ids;
    metrics.GetNodes(xyz, ids);
    for (std::size_t i = 0; i < ids.size(); ++i)
        run.positions[static_cast<int>(ids[i])] = {xyz[3 * i], xyz[3 * i + 1]};

    run.fields.resize(static_cast<std::size_t>(run.model.modeCount));
    for (const std::uint32_t id : ids) {
        const auto series = Series(metrics, Field(run.model), id);
        for (std::size_t m = 0; m < run.fields.size(); ++m)
            run.fields[m].push_back(series.rbegin()->second[m]);
    }

    std::vector<int> flat;
    metrics.GetEdges(flat);
    for (std::size_t i = 0; i + 2 < flat.size(); i += 3) {
        // Checked before the neighbours are asked for: their offsets take memory by the largest id.
        for (const int node : {flat[i + 1], flat[i + 2]}) {
            if (run.positions.count(node) == 0) throw std::runtime_error("an edge has no node");
        }
        run.edges.push_back(
            {static_cast<std::size_t>(flat[i + 1]), static_cast<std::size_t>(flat[i + 2])});
    }

    std::vector<int> offsets;
    std::vector<std::uint32_t> list;
    metrics.GetNodeNeighbors(offsets, list);
    for (std::size_t v = 1; v < offsets.size(); ++v) {
        const int count = offsets[v] - offsets[v - 1];
        if (count > 0) run.neighborCount[static_cast<int>(v)] = static_cast<std::size_t>(count);
    }
}

}  // namespace

void WritePass(const Store& store, const Model& model, const Pass& pass) {
    // A fresh object per pass: an append class writes all that it holds with every commit.
    auto metrics = store.ForWriting<IPOSolutionMetrics>();
    // All bodies of a file must define the same quantities.
    const auto define = [&metrics](const Quantity& quantity) {
        metrics->DefineValues(quantity.entityType, quantity.valueType, quantity.count,
                              quantity.resolve);
    };
    for (const Quantity& quantity : quantities) define(quantity);
    define(Field(model));

    PassWriter writer(*metrics, static_cast<std::uint32_t>(pass.number));
    AddModel(writer, model, pass.converged);
    const auto nodeCount = static_cast<double>(pass.space.positions.size());
    for (const Quantity& quantity : {kNodeCountSum, kNodeCountMaximum, kNodeCountMean})
        writer.ForRun(quantity, {nodeCount});
    writer.ForPass(kPassSizes, single,
                   {static_cast<double>(pass.space.elements.size()), nodeCount,
                    static_cast<double>(pass.freeCount), pass.change});
    AddIndicators(writer, pass);
    for (const Family family : families) {
        const auto& cutoffs = pass.cutoffs[static_cast<std::size_t>(family)];
        for (std::size_t rank = 0; rank < cutoffs.size(); ++rank)
            writer.ForPass(kCutoff, ModeId(family, rank), {cutoffs[rank]});
    }
    if (pass.isLast) {
        AddFields(writer, model, pass);
        AddGraph(*metrics, pass.space);
    }
    store.Commit(metrics);
}

RunRecord ReadRun(const Store& store) {
    auto metrics = store.Loaded<IPOSolutionMetrics>();
    RunRecord run;
    run.model = ReadModel(*metrics);
    run.converged = RunValues(*metrics, kSettings)[5] != 0;
    run.nodeCountSum = RunValues(*metrics, kNodeCountSum)[0];
    run.nodeCountMaximum = RunValues(*metrics, kNodeCountMaximum)[0];
    run.nodeCountMean = RunValues(*metrics, kNodeCountMean)[0];
    ReadPasses(*metrics, run);
    ReadGraph(*metrics, run);
    return run;
}

}  // namespace waveguide
