// SPDX-License-Identifier: Apache-2.0
#ifndef WAVEGUIDE_SWEEPWORKERS_H
#define WAVEGUIDE_SWEEPWORKERS_H

#include <string>

#include "Settings.h"

namespace waveguide {

/// Runs `workers` copies of this program, which share the frequencies of the sweep and append the
/// modal data to one file; returns when the last has ended. Raises Failure (Status::Solver) when
/// one of them fails.
void RunSweep(const std::string& directory, const Sweep& sweep, int workers);

/// What such a copy does: takes every frequency whose number is `share` modulo `shareCount`, and
/// writes a character to standard output for each one that is stored.
void WorkOnSweep(const std::string& directory, int share, int shareCount);

}  // namespace waveguide

#endif
