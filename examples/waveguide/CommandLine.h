// SPDX-License-Identifier: Apache-2.0
#ifndef WAVEGUIDE_COMMANDLINE_H
#define WAVEGUIDE_COMMANDLINE_H

#include "Failure.h"
#include "Settings.h"

namespace waveguide {

/// What the program was asked to do.
struct Command {
    enum class Kind { Nothing, Solve, Report, Work };

    Kind kind = Kind::Nothing;  ///< Nothing: help was asked for, or the command line was wrong
    Status status = Status::Success;  ///< for Nothing: the status to exit with
    SolveSettings solve;
    std::string directory;  ///< Report, Work
    int share = 0;          ///< Work: which of `shareCount` shares of the sweep
    int shareCount = 1;
};

/// Understands the command line; prints help and complaints itself.
Command ParseCommandLine(int argc, const char* const* argv);

}  // namespace waveguide

#endif
