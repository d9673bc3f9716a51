// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_DETAIL_MPI_RANKS_H
#define FIELDSTORE_DETAIL_MPI_RANKS_H

// The bindings to C++ that older versions of MPI come with are of no use here, and compilers warn.
#ifndef OMPI_SKIP_MPICXX
#define OMPI_SKIP_MPICXX
#endif
#ifndef MPICH_SKIP_MPICXX
#define MPICH_SKIP_MPICXX
#endif
#include <mpi.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <exception>
#include <limits>
#include <string>
#include <utility>

namespace fieldstore::mpi {

/// How an operation ended, the same on all ranks: 0, or what the operation of IPOBase gives, with
/// the reason in one sentence that names the path and, if it was one rank's fault, the rank.
struct Result {
    int code = 0;
    std::string reason;
};

/// What the operations of fieldstore/mpi.h are made of; hosts do not call it.
namespace detail {

/// Most bytes in one call, as counts of MPI are int.
constexpr std::uint64_t kMostInOneCall = std::uint64_t{1} << 30;

inline int RankIn(MPI_Comm communicator) {
    int rank = 0;
    MPI_Comm_rank(communicator, &rank);
    return rank;
}

inline int SizeOf(MPI_Comm communicator) {
    int size = 0;
    MPI_Comm_size(communicator, &size);
    return size;
}

/// Bytes of `root` on all ranks.
inline void Broadcast(std::string& bytes, int root, MPI_Comm communicator) {
    std::uint64_t size = bytes.size();
    MPI_Bcast(&size, 1, MPI_UINT64_T, root, communicator);
    bytes.resize(static_cast<std::size_t>(size));
    for (std::uint64_t done = 0; done < size; done += kMostInOneCall) {
        const auto count = static_cast<int>(std::min(size - done, kMostInOneCall));
        MPI_Bcast(bytes.data() + done, count, MPI_CHAR, root, communicator);
    }
}

inline std::uint64_t Sum(std::uint64_t value, MPI_Comm communicator) {
    std::uint64_t sum = 0;
    MPI_Allreduce(&value, &sum, 1, MPI_UINT64_T, MPI_SUM, communicator);
    return sum;
}

/// The lowest rank for which `holds`; the largest int when there is none.
inline int FirstRank(bool holds, MPI_Comm communicator) {
    int first = holds ? RankIn(communicator) : std::numeric_limits<int>::max();
    MPI_Allreduce(MPI_IN_PLACE, &first, 1, MPI_INT, MPI_MIN, communicator);
    return first;
}

/// The reason of the lowest rank that has one, and which rank that is, on all ranks; "" when none
/// has.
inline std::string Agree(std::string reason, MPI_Comm communicator) {
    const int first = FirstRank(!reason.empty(), communicator);
    if (first == std::numeric_limits<int>::max()) return "";
    Broadcast(reason, first, communicator);
    return "rank " + std::to_string(first) + ": " + reason;
}

inline Result ResultOfRoot(Result result, MPI_Comm communicator) {
    MPI_Bcast(&result.code, 1, MPI_INT, 0, communicator);
    if (result.code != 0) Broadcast(result.reason, 0, communicator);
    return result;
}

/// Runs what concerns this rank alone; returns why it failed, or "". Nothing may leave an operation
/// by an exception while the other ranks wait in it.
template <typename Action>
std::string ReasonOf(Action action) noexcept {
    try {
        return action();
    } catch (const std::exception& error) {
        return error.what();
    }
}

/// An error of MPI, as a reason.
inline std::string TextOf(int error) {
    std::array<char, MPI_MAX_ERROR_STRING> text{};
    int length = 0;
    MPI_Error_string(error, text.data(), &length);
    return {text.data(), static_cast<std::size_t>(length)};
}

inline std::string WithoutFullStop(std::string sentence) {
    if (!sentence.empty() && sentence.back() == '.') sentence.pop_back();
    return sentence;
}

}  // namespace detail
}  // namespace fieldstore::mpi

#endif
