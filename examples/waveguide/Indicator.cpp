// SPDX-License-Identifier: Apache-2.0
#include "Indicator.h"

#include <algorithm>
#include <numeric>

namespace waveguide {
namespace {

using GradientField = Eigen::Matrix<double, Eigen::Dynamic, 2>;

/// The values of a nodal quantity at the nodes of one element, one row each.
template <typename Field>
auto Gather(const Field& field, const std::vector<std::size_t>& nodes) {
    Eigen::Matrix<double, Eigen::Dynamic, Field::ColsAtCompileTime> local(
        static_cast<Eigen::Index>(nodes.size()), field.cols());
    Eigen::Index row = 0;
    for (const std::size_t node : nodes)
        local.row(row++) = field.row(static_cast<Eigen::Index>(node));
    return local;
}

/// The gradient at every node, averaged over the elements around it by their size.
GradientField AveragedGradient(const Space& space, const Eigen::VectorXd& field) {
    std::vector<ShapeValues> shapes;
    for (std::size_t k = 0; k < NodesPerElement(space.order); ++k)
        shapes.push_back(ShapeAt(space.order, ReferenceNodes()[k][0], ReferenceNodes()[k][1]));

    GradientField gradient = GradientField::Zero(field.size(), 2);
    Eigen::VectorXd weight = Eigen::VectorXd::Zero(field.size());
    for (std::size_t e = 0; e < space.elements.size(); ++e) {
        const auto& numbers = space.elements[e];
        const NodeMatrix nodes = NodesOf(space, e);
        const Eigen::VectorXd local = Gather(field, numbers);
        for (std::size_t k = 0; k < numbers.size(); ++k) {
            const MappedShape shape = MapShape(shapes[k], nodes);
            const auto node = static_cast<Eigen::Index>(numbers[k]);
            gradient.row(node) += shape.scale * local.transpose() * shape.gradients;
            weight[node] += shape.scale;
        }
    }
    return weight.cwiseInverse().asDiagonal() * gradient;
}

}  // namespace

std::vector<double> ErrorIndicators(const Space& space, const Eigen::VectorXd& field,
                                    double eigenvalue) {
    std::vector<ShapeValues> shapes;
    for (const auto& point : Quadrature())
        shapes.push_back(ShapeAt(space.order, point.xi, point.eta));

    const GradientField averaged = AveragedGradient(space, field);
    std::vector<double> indicators;
    for (std::size_t e = 0; e < space.elements.size(); ++e) {
        const NodeMatrix nodes = NodesOf(space, e);
        const Eigen::VectorXd local = Gather(field, space.elements[e]);
        const GradientField localAverage = Gather(averaged, space.elements[e]);
        double energy = 0;
        for (std::size_t q = 0; q < shapes.size(); ++q) {
            const MappedShape shape = MapShape(shapes[q], nodes);
            const Eigen::RowVector2d jump =
                local.transpose() * shape.gradients - shape.values.transpose() * localAverage;
            energy += Quadrature()[q].weight * shape.scale * jump.squaredNorm();
        }
        indicators.push_back(energy / eigenvalue);
    }
    return indicators;
}

std::vector<bool> MarkLargest(const std::vector<double>& indicators, double share) {
    std::vector<std::size_t> order(indicators.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::stable_sort(order.begin(), order.end(), [&indicators](std::size_t a, std::size_t b) {
        return indicators[a] > indicators[b];
    });
    double missing = share * std::accumulate(indicators.begin(), indicators.end(), 0.0);
    std::vector<bool> marked(indicators.size(), false);
    for (const std::size_t element : order) {
        marked[element] = true;
        missing -= indicators[element];
        if (missing <= 0) break;
    }
    return marked;
}

}  // namespace waveguide
