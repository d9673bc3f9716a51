// SPDX-License-Identifier: Apache-2.0
#ifndef WAVEGUIDE_FAILURE_H
#define WAVEGUIDE_FAILURE_H

#include <stdexcept>
#include <string>

namespace waveguide {

/// Exit statuses of the program; docs/waveguide.md lists them.
enum class Status : int {
    Success = 0,
    Mismatch = 1,  ///< the report found values that do not agree
    Usage = 2,     ///< the command line cannot be understood
    Store = 3,     ///< the store directory is missing, not writable, damaged or in use
    Mesh = 4,      ///< the mesh file cannot be read or makes no section
    Solver = 5     ///< the eigenvalue solver or a worker process failed
};

/// An error for the user: where it happened, what the cause is and what to do about it.
class Failure : public std::runtime_error {
public:
    Failure(Status failureStatus, const std::string& where, const std::string& cause,
            const std::string& remedy)
        : std::runtime_error(where + ": " + cause + ".\n  Remedy: " + remedy + "."),
          status_(failureStatus) {}

    Status status() const { return status_; }

private:
    Status status_;
};

}  // namespace waveguide

#endif
