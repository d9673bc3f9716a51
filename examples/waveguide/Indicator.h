// SPDX-License-Identifier: Apache-2.0
#ifndef WAVEGUIDE_INDICATOR_H
#define WAVEGUIDE_INDICATOR_H

#include <Eigen/Core>
#include <vector>

#include "Elements.h"

namespace waveguide {

/// Per element, the estimated relative error of the eigenvalue of one mode.
///
/// The gradient of the field jumps from element to element; its average at the nodes is a better
/// gradient, and the squared distance between the two an estimate of the energy that the mesh
/// misses. `field` has an entry per node and unit mass.
std::vector<double> ErrorIndicators(const Space& space, const Eigen::VectorXd& field,
                                    double eigenvalue);

/// The elements with the largest indicators that together hold `share` of their sum.
std::vector<bool> MarkLargest(const std::vector<double>& indicators, double share);

}  // namespace waveguide

#endif
