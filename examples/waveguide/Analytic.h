// SPDX-License-Identifier: Apache-2.0
#ifndef WAVEGUIDE_ANALYTIC_H
#define WAVEGUIDE_ANALYTIC_H

#include <cstddef>
#include <string>
#include <vector>

#include "Settings.h"

namespace waveguide {

/// A cutoff that is known without finite elements.
struct Reference {
    std::string indices;  ///< as in TE"10"; empty for tabulated values
    double cutoff = 0;    ///< wave number in rad/m
};

/// The lowest `count` cutoffs of a family in ascending order, each as often as it has modes; fewer
/// or none where no more are known. Rectangle and circle: closed form and zeros of Bessel
/// functions. L-shape with equal sides: published values of the eigenvalue problem.
std::vector<Reference> ReferenceCutoffs(const Section& section, Family family, std::size_t count);

/// Zero number `rank` (from 1) of the Bessel function J_order, or of its derivative, leaving out
/// the one that the derivative of J_0 has at 0.
double BesselZero(int order, int rank, bool derivative);

}  // namespace waveguide

#endif
