// SPDX-License-Identifier: Apache-2.0
#include "SpatialTree.h"

#include <algorithm>

namespace waveguide {
namespace {

struct Extent {
    double low;
    double high;

    double Middle() const { return 0.5 * (low + high); }
    void Include(const Extent& other) {
        low = std::min(low, other.low);
        high = std::max(high, other.high);
    }
};

Extent ExtentOf(const Space& space, int element, std::size_t axis) {
    const auto& nodes = space.elements[static_cast<std::size_t>(element)];
    const double first = space.positions[nodes[0]][axis];
    Extent extent = {first, first};
    for (const std::size_t node : nodes) {
        const double value = space.positions[node][axis];
        extent.Include({value, value});
    }
    return extent;
}

}  // namespace

SpatialTree::SpatialTree(const Space& space, int cutLevels)
    : cutLevels_(cutLevels), cuts_(static_cast<std::size_t>((1 << cutLevels) - 1)) {
    std::vector<int> all(space.elements.size());
    for (std::size_t e = 0; e < all.size(); ++e) all[e] = static_cast<int>(e);
    Divide(space, 0, all);
}

void SpatialTree::Divide(const Space& space, int node, const std::vector<int>& elements) {
    if (elements.empty()) return;
    if (node >= static_cast<int>(cuts_.size())) {
        items_[node].insert(elements.begin(), elements.end());
        return;
    }
    std::array<Extent, 2> whole = {ExtentOf(space, elements[0], 0),
                                   ExtentOf(space, elements[0], 1)};
    for (const int element : elements) {
        for (std::size_t axis = 0; axis < 2; ++axis)
            whole[axis].Include(ExtentOf(space, element, axis));
    }
    Cut& cut = cuts_[static_cast<std::size_t>(node)];
    cut.axis = whole[0].high - whole[0].low >= whole[1].high - whole[1].low ? 0 : 1;

    std::vector<double> middles;
    middles.reserve(elements.size());
    for (const int element : elements)
        middles.push_back(ExtentOf(space, element, cut.axis).Middle());
    const auto median = middles.begin() + static_cast<std::ptrdiff_t>(middles.size() / 2);
    std::nth_element(middles.begin(), median, middles.end());
    cut.position = *median;

    std::vector<int> below;
    std::vector<int> above;
    for (const int element : elements) {
        const Extent extent = ExtentOf(space, element, cut.axis);
        if (extent.high <= cut.position) {
            below.push_back(element);
        } else if (extent.low >= cut.position) {
            above.push_back(element);
        } else {
            items_[node].insert(element);
        }
    }
    Divide(space, 2 * node + 1, below);
    Divide(space, 2 * node + 2, above);
}

int SpatialTree::LeafOf(const Point& point) const {
    std::size_t node = 0;
    while (node < cuts_.size())
        node = 2 * node + (point[cuts_[node].axis] <= cuts_[node].position ? 1 : 2);
    return static_cast<int>(node - cuts_.size());
}

}  // namespace waveguide
