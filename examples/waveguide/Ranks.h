// SPDX-License-Identifier: Apache-2.0
#ifndef WAVEGUIDE_RANKS_H
#define WAVEGUIDE_RANKS_H

#include <string>

#include "Failure.h"

namespace waveguide {

/// The ranks of the MPI job that mpirun started this process in. One rank when it was started
/// alone, or built without MPI.
class Ranks {
public:
    Ranks(int& argumentCount, char**& arguments);
    ~Ranks();
    Ranks(const Ranks&) = delete;
    Ranks& operator=(const Ranks&) = delete;

    bool AreMany() const { return count_ > 1; }
    bool IsFirst() const { return rank_ == 0; }

    /// What all ranks do together: share the frequencies of the sweep, and store their modal data
    /// with one commit. Returns when the first rank has come here too, which must have stored the
    /// cutoffs before. Raises Failure on all ranks when the data cannot be stored.
    void Sweep(const std::string& directory) const;

    /// The status of the program after a failure; of many ranks, the others end as well.
    int End(Status status) const;

private:
    int rank_ = 0;
    int count_ = 1;
};

}  // namespace waveguide

#endif
