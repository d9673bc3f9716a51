// SPDX-License-Identifier: Apache-2.0
// A host outside the project whose ranks store as one.
#include "fieldstore/mpi.h"

int main(int argumentCount, char** arguments) {
    MPI_Init(&argumentCount, &arguments);
    const auto modes = fieldstore::Create<IPOModeInfo>();
    const auto result = fieldstore::mpi::Commit(MPI_COMM_WORLD, fieldstore::Storage(modes));
    MPI_Finalize();
    return result.code;
}
