// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_DETAIL_MPI_TRANSFER_H
#define FIELDSTORE_DETAIL_MPI_TRANSFER_H

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "fieldstore/detail/mpi_bodies.h"
#include "fieldstore/detail/mpi_ranks.h"

namespace fieldstore::mpi::detail {

/// The ranks of a communicator, with messages of their own.
class Messages {
public:
    explicit Messages(MPI_Comm ranks) { MPI_Comm_dup(ranks, &communicator); }
    ~Messages() { MPI_Comm_free(&communicator); }
    Messages(const Messages&) = delete;
    Messages& operator=(const Messages&) = delete;

    void Send(const std::string& bytes, int to) const {
        const std::uint64_t size = bytes.size();
        MPI_Send(&size, 1, MPI_UINT64_T, to, 0, communicator);
        for (std::uint64_t done = 0; done < size; done += kMostInOneCall) {
            const auto count = static_cast<int>(std::min(size - done, kMostInOneCall));
            MPI_Send(bytes.data() + done, count, MPI_CHAR, to, 0, communicator);
        }
    }
    std::string Receive(int from) const {
        std::uint64_t size = 0;
        MPI_Recv(&size, 1, MPI_UINT64_T, from, 0, communicator, MPI_STATUS_IGNORE);
        std::string bytes(static_cast<std::size_t>(size), '\0');
        for (std::uint64_t done = 0; done < size; done += kMostInOneCall) {
            const auto count = static_cast<int>(std::min(size - done, kMostInOneCall));
            MPI_Recv(bytes.data() + done, count, MPI_CHAR, from, 0, communicator,
                     MPI_STATUS_IGNORE);
        }
        return bytes;
    }
    MPI_Comm Communicator() const { return communicator; }

private:
    MPI_Comm communicator = MPI_COMM_NULL;
};

/// Why the ranks cannot work together on their objects, on all ranks: "" when all are of one class.
inline std::string WhyNotOfOneClass(const std::string& className, MPI_Comm communicator) {
    std::string first = className;
    Broadcast(first, 0, communicator);
    const bool same = first == className;
    return Agree(same ? "" : "has a " + className + ", and rank 0 a " + first, communicator);
}

/// Loads on rank 0.
inline Result LoadOnRoot(MPI_Comm communicator, IPOBase& object) {
    Result result;
    if (RankIn(communicator) == 0) result.code = object.Load();
    if (result.code != 0) result.reason = Control(object).GetLastError();
    return ResultOfRoot(std::move(result), communicator);
}

inline Result Agreed(std::string reason, const char* doing, MPI_Comm communicator) {
    reason = Agree(std::move(reason), communicator);
    return reason.empty() ? Result{} : Result{1, std::string(doing) + ": " + reason + "."};
}

inline std::vector<std::int64_t> Keys(const std::vector<double>& frequencies) {
    constexpr double limit = 9223372036854775808.0;  // 2^63
    std::vector<std::int64_t> keys;
    for (const double frequency : frequencies)
        if (frequency >= -limit && frequency < limit)
            keys.push_back(static_cast<std::int64_t>(std::trunc(frequency)));
    std::sort(keys.begin(), keys.end());
    return keys;
}

inline std::string AsBytes(const std::vector<std::int64_t>& keys) {
    return {reinterpret_cast<const char*>(keys.data()), keys.size() * sizeof(std::int64_t)};
}

inline std::vector<std::int64_t> FromBytes(const std::string& bytes) {
    std::vector<std::int64_t> keys(bytes.size() / sizeof(std::int64_t));
    if (!keys.empty()) std::memcpy(keys.data(), bytes.data(), bytes.size());
    return keys;
}

/// The entries of a loaded object, when this is rank 0. Raises std::runtime_error for a class that
/// has no frequencies.
inline FrequencyEntries EntriesOf(IPOBase& object, const std::string& className) {
    const bool modes = className == ClassName<IPOModeInfo>::value;
    if (!modes && className != ClassName<IPOCircuitMatrices>::value)
        throw std::runtime_error("a " + className + " has no frequencies");
    return {BytesOf(Control(object), IPOStorageControl::eBody), modes};
}

/// Unites the objects of all ranks in that of rank 0.
class Gathering {
public:
    Gathering(MPI_Comm ranks, IPOBase& gathered)
        : messages(ranks), rank(RankIn(ranks)), object(gathered), control(Control(gathered)) {}

    /// Returns the reason of the lowest rank that failed, "" when all went well; `any` tells
    /// whether there is something to store. The same on all ranks.
    std::string Run(bool& any) {
        const auto state = control.GetStorageState();
        const MPI_Comm all = messages.Communicator();
        std::string reason = WhyNotOfOneClass(state.className, all);
        if (!reason.empty()) return reason;
        std::string own;
        reason = ReasonOf([&] {
            if (state.appends) return "commits of " + state.className + " append";
            if (state.changed) own = BytesOf(control, IPOStorageControl::eWhole);
            return std::string();
        });
        reason = Agree(WithoutFullStop(reason), all);
        any = FirstRank(state.changed, all) != std::numeric_limits<int>::max();
        if (!reason.empty() || !any) return reason;
        if (rank != 0) messages.Send(own, 0);
        reason = rank == 0 ? UniteAll(state.className, state.changed) : "";
        Broadcast(reason, 0, all);
        return reason;
    }

private:
    std::string UniteAll(const std::string& className, bool begun) {
        const int size = SizeOf(messages.Communicator());
        std::string failure;
        for (int from = 1; from < size; ++from) {
            const std::string bytes = messages.Receive(from);
            if (bytes.empty() || !failure.empty()) continue;
            failure = WithoutFullStop(ReasonOf([&] {
                if (begun) Unite(object, className, bytes);
                if (!begun) TakeBytes(control, bytes);
                begun = true;
                return std::string();
            }));
            if (!failure.empty()) failure = "rank " + std::to_string(from) + ": " + failure;
        }
        return failure;
    }

    Messages messages;
    int rank;
    IPOBase& object;
    IPOStorageControl& control;
};

}  // namespace fieldstore::mpi::detail

#endif
