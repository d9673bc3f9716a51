# Ranks that store as one: the header fieldstore/mpi.h and the MPI that it needs. The installed
# package has the same target in its component `mpi`.
find_package(MPI REQUIRED COMPONENTS CXX)
add_library(fieldstore_mpi INTERFACE)
add_library(fieldstore::mpi ALIAS fieldstore_mpi)
target_link_libraries(fieldstore_mpi INTERFACE fieldstore MPI::MPI_CXX)
