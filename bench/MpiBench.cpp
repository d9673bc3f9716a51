// SPDX-License-Identifier: Apache-2.0
// Measures four ways in which the ranks of an MPI job store a body each: files of their own (and
// those put together with cat), one locked file, the collective commit, parallel HDF5. All ways
// take turns in every round. Prints one line: ranks, values, steps, the median seconds of each way,
// and the longest single step of each, again the median of the rounds. bench/run-mpi starts it.
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "fieldstore/mpi.h"
#ifdef FIELDSTORE_BENCH_HDF5_MPI
#include <hdf5.h>
#endif

namespace {

namespace fs = std::filesystem;

struct Ranks {
    int rank = 0;
    int size = 1;
};

/// What is stored: `steps` bodies of `values` doubles per rank.
struct Workload {
    fs::path directory;
    std::size_t values = 0;
    int steps = 1;
};

void Require(bool done) {
    if (!done) throw std::runtime_error("A way to store failed.");
}

std::shared_ptr<IPOCircuitMatrices> Body(const Workload& load, const std::string& name, int key,
                                         fieldstore::Locking locking) {
    const auto matrices = fieldstore::Create<IPOCircuitMatrices>();
    matrices->SetMatrix(key, 1, 0, 0, std::vector<double>(load.values, 0.5 + key));
    IPOBase& storage = fieldstore::Storage(matrices);
    fieldstore::SetDirectory(storage, load.directory);
    storage.SetFileName(name);
    fieldstore::CreateStorage(storage, fieldstore::StorageType::WriteDefault, locking);
    return matrices;
}

struct Times {
    double all = 0;      // until all ranks were done
    double longest = 0;  // the longest step of any rank
};

/// Runs `store` for every step, on objects that are ready.
template <typename Prepare, typename Store>
Times Timed(const Workload& load, Prepare prepare, Store store) {
    std::vector<decltype(prepare(0))> bodies;
    for (int step = 0; step < load.steps; ++step) bodies.push_back(prepare(step));
    MPI_Barrier(MPI_COMM_WORLD);
    const double begin = MPI_Wtime();
    Times times;
    for (const auto& body : bodies) {
        const double beginOfStep = MPI_Wtime();
        store(body);
        times.longest = std::max(times.longest, MPI_Wtime() - beginOfStep);
    }
    MPI_Barrier(MPI_COMM_WORLD);
    times.all = MPI_Wtime() - begin;
    MPI_Allreduce(MPI_IN_PLACE, &times.longest, 1, MPI_DOUBLE, MPI_MAX, MPI_COMM_WORLD);
    return times;
}

Times OwnFiles(const Workload& load, const Ranks& ranks) {
    const std::string name = "own" + std::to_string(ranks.rank) + ".dat";
    return Timed(
        load, [&](int step) { return Body(load, name, step, fieldstore::Locking::Off); },
        [](const auto& body) { fieldstore::CommitOrThrow(fieldstore::Storage(body)); });
}

Times Cat(const Workload& load, const Ranks& ranks) {
    MPI_Barrier(MPI_COMM_WORLD);
    const double begin = MPI_Wtime();
    if (ranks.rank == 0) {
        const std::string all = (load.directory / "all.dat").string();
        const std::string command =
            "cat " + (load.directory / "own").string() + "*.dat > " + all + " && sync " + all;
        Require(std::system(command.c_str()) == 0);
    }
    MPI_Barrier(MPI_COMM_WORLD);
    return {MPI_Wtime() - begin, 0};
}

Times LockedFile(const Workload& load, const Ranks& ranks) {
    return Timed(
        load,
        [&](int step) {
            return Body(load, "locked.dat", step * ranks.size + ranks.rank,
                        fieldstore::Locking::On);
        },
        [](const auto& body) { fieldstore::CommitOrThrow(fieldstore::Storage(body)); });
}

Times Collective(const Workload& load, const Ranks& ranks) {
    return Timed(
        load,
        [&](int step) {
            return Body(load, "collective.dat", step * ranks.size + ranks.rank,
                        fieldstore::Locking::On);
        },
        [](const auto& body) {
            const auto result = fieldstore::mpi::Commit(MPI_COMM_WORLD, fieldstore::Storage(body));
            if (result.code != 0) throw std::runtime_error(result.reason);
        });
}

#ifdef FIELDSTORE_BENCH_HDF5_MPI
/// One data set per step, of which every rank writes its row; the file is brought to the disk and
/// closed after each, as a commit does.
Times ParallelHdf5(const Workload& load, const Ranks& ranks) {
    const std::string path = (load.directory / "peer.h5").string();
    const hid_t access = H5Pcreate(H5P_FILE_ACCESS);
    Require(H5Pset_fapl_mpio(access, MPI_COMM_WORLD, MPI_INFO_NULL) >= 0);
    const hid_t transfer = H5Pcreate(H5P_DATASET_XFER);
    Require(H5Pset_dxpl_mpio(transfer, H5FD_MPIO_COLLECTIVE) >= 0);
    int step = 0;
    const Times times = Timed(
        load, [&](int key) { return std::vector<double>(load.values, 0.5 + key); },
        [&](const auto& values) {
            const hid_t file = step == 0
                                   ? H5Fcreate(path.c_str(), H5F_ACC_TRUNC, H5P_DEFAULT, access)
                                   : H5Fopen(path.c_str(), H5F_ACC_RDWR, access);
            Require(file >= 0);
            const std::array<hsize_t, 2> whole{static_cast<hsize_t>(ranks.size), load.values};
            const std::array<hsize_t, 2> row{1, load.values};
            const std::array<hsize_t, 2> place{static_cast<hsize_t>(ranks.rank), 0};
            const hid_t space = H5Screate_simple(2, whole.data(), nullptr);
            const hid_t memory = H5Screate_simple(2, row.data(), nullptr);
            const hid_t data =
                H5Dcreate2(file, ("step" + std::to_string(step++)).c_str(), H5T_NATIVE_DOUBLE,
                           space, H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT);
            Require(H5Sselect_hyperslab(space, H5S_SELECT_SET, place.data(), nullptr, row.data(),
                                        nullptr) >= 0);
            Require(H5Dwrite(data, H5T_NATIVE_DOUBLE, memory, space, transfer, values.data()) >= 0);
            H5Dclose(data);
            H5Sclose(memory);
            H5Sclose(space);
            Require(H5Fflush(file, H5F_SCOPE_GLOBAL) >= 0 && H5Fclose(file) >= 0);
        });
    H5Pclose(transfer);
    H5Pclose(access);
    return times;
}
#else
Times ParallelHdf5(const Workload&, const Ranks&) {
    return {};
}
#endif

void Empty(const Workload& load, const Ranks& ranks) {
    MPI_Barrier(MPI_COMM_WORLD);
    if (ranks.rank == 0)
        for (const auto& entry : fs::directory_iterator(load.directory)) fs::remove(entry);
    MPI_Barrier(MPI_COMM_WORLD);
}

double Median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

void Measure(const Workload& load, const Ranks& ranks, int rounds) {
    using Way = std::function<Times(const Workload&, const Ranks&)>;
    const std::vector<Way> ways{OwnFiles, Cat, LockedFile, Collective, ParallelHdf5};
    std::vector<std::vector<double>> seconds(ways.size());
    std::vector<std::vector<double>> longest(ways.size());
    for (int round = 0; round <= rounds; ++round) {
        Empty(load, ranks);
        for (std::size_t i = 0; i < ways.size(); ++i) {
            const Times times = ways[i](load, ranks);
            if (i != 0) Empty(load, ranks);  // cat needs the own files
            if (round == 0) continue;        // MPI loads much of itself when it is first used
            seconds[i].push_back(times.all);
            longest[i].push_back(times.longest);
        }
    }
    if (ranks.rank != 0) return;
    std::printf("%d %zu %d", ranks.size, load.values, load.steps);
    for (const auto& way : seconds) std::printf(" %.6f", Median(way));
    for (const auto& way : longest) std::printf(" %.6f", Median(way));
    std::printf("\n");
}

}  // namespace

int main(int argumentCount, char** arguments) {
    MPI_Init(&argumentCount, &arguments);
    if (argumentCount != 5) {
        std::fputs("Usage: fieldstore_mpi_bench EMPTY-DIRECTORY VALUES STEPS ROUNDS\n", stderr);
        MPI_Abort(MPI_COMM_WORLD, 2);
    }
    try {
        Ranks ranks;
        MPI_Comm_rank(MPI_COMM_WORLD, &ranks.rank);
        MPI_Comm_size(MPI_COMM_WORLD, &ranks.size);
        const Workload load{arguments[1], std::strtoul(arguments[2], nullptr, 10),
                            std::atoi(arguments[3])};
        Measure(load, ranks, std::atoi(arguments[4]));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        MPI_Abort(MPI_COMM_WORLD, 1);
    }
    MPI_Finalize();
}
