// SPDX-License-Identifier: Apache-2.0
#include "Ranks.h"

#ifdef WAVEGUIDE_MPI
#include <fieldstore/mpi.h>

#include <algorithm>
#include <cstdlib>
#include <iterator>

#include "GuideRecord.h"
#include "RunRecord.h"
#endif

namespace waveguide {

#ifdef WAVEGUIDE_MPI

Ranks::Ranks(int& argumentCount, char**& arguments) {
    // Alone, the program is spared what MPI starts.
    const char* const signs[] = {"OMPI_COMM_WORLD_SIZE", "PMI_SIZE", "PMIX_RANK"};
    if (std::none_of(std::begin(signs), std::end(signs), std::getenv)) return;
    MPI_Init(&argumentCount, &arguments);
    MPI_Comm_rank(MPI_COMM_WORLD, &rank_);
    MPI_Comm_size(MPI_COMM_WORLD, &count_);
}

Ranks::~Ranks() {
    int started = 0;
    MPI_Initialized(&started);
    if (started != 0) MPI_Finalize();
}

void Ranks::Sweep(const std::string& directory) const {
    MPI_Barrier(MPI_COMM_WORLD);  // the cutoffs are stored
    const Store store = Store::Open(directory);
    const RunRecord run = store.Reading(ReadRun);
    const auto modes = LowestModes(run.Cutoffs(), static_cast<std::size_t>(run.model.modeCount));
    const std::vector<double> all = run.model.sweep.Frequencies();
    std::vector<double> own;
    for (auto i = static_cast<std::size_t>(rank_); i < all.size();
         i += static_cast<std::size_t>(count_))
        own.push_back(all[i]);
    const auto modeInfo = FilledModes(store, run.model, modes, own);
    const auto result = fieldstore::mpi::Commit(MPI_COMM_WORLD, fieldstore::Storage(modeInfo));
    if (result.code != 0)
        throw Failure(Status::Store, directory, result.reason,
                      "remove the cause and run `waveguide solve` again");
}

int Ranks::End(Status status) const {
    if (count_ > 1) MPI_Abort(MPI_COMM_WORLD, static_cast<int>(status));
    return static_cast<int>(status);
}

#else

Ranks::Ranks(int&, char**&) {}
Ranks::~Ranks() {}
void Ranks::Sweep(const std::string&) const {}

int Ranks::End(Status status) const {
    return static_cast<int>(status);
}

#endif

}  // namespace waveguide
