// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_DETAIL_MPI_COMMIT_H
#define FIELDSTORE_DETAIL_MPI_COMMIT_H

#ifdef __linux__
#include <fcntl.h>
#include <unistd.h>
#endif

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "fieldstore/detail/mpi_ranks.h"
#include "fieldstore/fieldstore.h"

namespace fieldstore::mpi::detail {

/// Bytes of one object. They are kept as long as they are small pieces, which it takes a while to
/// make; large ones come straight from the object's data, and are asked for again.
class Share {
public:
    /// Of all ranks together: up to this, rank 0 stores the bytes faster than all open the file.
    static constexpr std::size_t kLargestGathered = std::size_t{256} << 10;

    Share(IPOStorageControl& object, bool inText) : control(object), text(inText) {}

    /// Makes the bytes. Returns why the object does not give them, or "".
    std::string Measure() {
        const auto keepStart = [this](const char* bytes, std::size_t count) {
            start.append(bytes, count);
            return true;
        };
        const auto keepBody = [this](const char* bytes, std::size_t count) {
            bodySize += count;
            keeps = keeps && count <= kLargestGathered && bodySize <= kMostKept;
            if (keeps) pieces.emplace_back(bytes, count);
            if (!keeps) pieces.clear();
            return true;
        };
        const bool given = control.WriteBytes(IPOStorageControl::eStart, text, keepStart) == 0 &&
                           control.WriteBytes(IPOStorageControl::eBody, text, keepBody) == 0;
        return given ? "" : WithoutFullStop(control.GetLastError());
    }

    std::uint64_t Size(bool withStart) const { return bodySize + (withStart ? start.size() : 0); }
    int StartSize() const { return static_cast<int>(start.size()); }
    /// All bytes in one piece. Requires: at most kLargestGathered, which are always kept.
    std::string Kept() const {
        std::string bytes = start;
        for (const auto& piece : pieces) bytes += piece;
        return bytes;
    }

    /// Gives the bytes once more. Returns false when `sink` does.
    bool Give(bool withStart, const IPOStorageControl::ByteSink& sink) {
        if (withStart && !start.empty() && !sink(start.data(), start.size())) return false;
        if (!keeps) return control.WriteBytes(IPOStorageControl::eBody, text, sink) == 0;
        return std::all_of(pieces.begin(), pieces.end(), [&sink](const std::string& piece) {
            return sink(piece.data(), piece.size());
        });
    }

private:
    static constexpr std::uint64_t kMostKept = std::uint64_t{1} << 30;

    IPOStorageControl& control;
    bool text;
    std::string start;
    std::vector<std::string> pieces;
    bool keeps = true;
    std::uint64_t bodySize = 0;
};

/// The data file, as one rank has it open for writing. Each rank opens it for itself: where all do
/// at once, one that cannot leaves the others waiting for it in some versions of MPI.
class DataFile {
public:
    explicit DataFile(const std::string& path) {
        opening = MPI_File_open(MPI_COMM_SELF, path.c_str(), MPI_MODE_WRONLY, MPI_INFO_NULL, &file);
    }
    ~DataFile() { Close(); }
    DataFile(const DataFile&) = delete;
    DataFile& operator=(const DataFile&) = delete;

    std::string WhyNotOpen() const { return opening == MPI_SUCCESS ? "" : TextOf(opening); }

    /// Returns why it failed, or "". The system may take less than it is given, on a disk that is
    /// getting full for instance; the second call then tells why.
    std::string WriteAt(std::uint64_t place, const char* bytes, std::uint64_t count) {
        while (count != 0) {
            MPI_Status status;
            const int asked = static_cast<int>(std::min(count, kMostInOneCall));
            const int error = MPI_File_write_at(file, static_cast<MPI_Offset>(place), bytes, asked,
                                                MPI_BYTE, &status);
            if (error != MPI_SUCCESS) return TextOf(error);
            int taken = 0;
            MPI_Get_count(&status, MPI_BYTE, &taken);
            if (taken <= 0) return "the system takes no more bytes";
            place += static_cast<std::uint64_t>(taken);
            bytes += taken;
            count -= static_cast<std::uint64_t>(taken);
        }
        return "";
    }

    std::string Sync() {
        const int error = MPI_File_sync(file);
        return error == MPI_SUCCESS ? "" : TextOf(error);
    }

    std::string RequireSize(std::uint64_t expected) {
        MPI_Offset size = 0;
        const int error = MPI_File_get_size(file, &size);
        if (error != MPI_SUCCESS) return TextOf(error);
        if (static_cast<std::uint64_t>(size) == expected) return "";
        return "the file has " + std::to_string(size) + " bytes instead of " +
               std::to_string(expected) + "; do all ranks see the same one?";
    }

    std::string Close() {
        if (opening != MPI_SUCCESS) return "";
        opening = MPI_File_close(&file);
        const bool closed = opening == MPI_SUCCESS;
        opening = MPI_ERR_FILE;
        return closed ? "" : "the file cannot be closed";
    }

private:
    MPI_File file = MPI_FILE_NULL;
    int opening;
};

/// Gives a file room for what is to follow its end, where the system can; its length stays. That is
/// faster than to find room piece by piece while all ranks write, and a full disk shows before
/// anybody has written. Returns why there is no room, or "".
inline std::string WhyNoRoom([[maybe_unused]] const std::string& path,
                             [[maybe_unused]] std::uint64_t length,
                             [[maybe_unused]] std::uint64_t count) {
#ifdef __linux__
    const int file = open(path.c_str(), O_WRONLY | O_CLOEXEC);
    if (file < 0) return "";  // whoever writes to it tells why
    const bool given = fallocate(file, FALLOC_FL_KEEP_SIZE, static_cast<off_t>(length),
                                 static_cast<off_t>(count)) == 0;
    const int error = given ? 0 : errno;
    close(file);
    const bool isFull = error == ENOSPC || error == EDQUOT || error == EFBIG;
    if (isFull) return std::generic_category().message(error);
#endif
    return "";
}

/// What rank 0's object says of the commit of all.
struct Plan {
    int text = 0;
    int synced = 0;
    std::array<char, 64> className{};
};

/// What a rank brings.
struct Offer {
    std::uint64_t size = 0;  // in bytes, with what may stand at the start of a file
    int startSize = 0;       // of that
    int failed = 0;
};

/// What comes of the offers.
struct Decision {
    enum Way : int { Nothing, Failure, Gathered, AtPlaces };
    int way = Nothing;
    int rank = 0;  // the lowest that failed
};

/// One commit, seen from one rank. As few messages as can be: while ranks wait for each other, a
/// small body could have been stored.
class CollectiveCommit {
public:
    CollectiveCommit(MPI_Comm ranks, IPOBase& object)
        : communicator(ranks), rank(RankIn(ranks)), control(Control(object)) {}

    Result Run(bool force) {
        std::string reason = ReasonOf([this] { return ReadState(); });
        MPI_Bcast(&plan, sizeof plan, MPI_BYTE, 0, communicator);
        contributes = state.changed || force;
        share.emplace(control, plan.text != 0);
        if (reason.empty()) reason = ReasonOf([this] { return Prepare(); });
        const Decision decision = Decide(!reason.empty());
        if (decision.way == Decision::Nothing) return {};
        if (decision.way == Decision::Failure) return Failure(decision.rank, std::move(reason));
        const Result result =
            decision.way == Decision::Gathered ? StoreGathered() : StoreAtPlaces();
        if (result.code == 0 && contributes) control.NoteStored();
        return result;
    }

private:
    std::string ReadState() {
        state = control.GetStorageState();
        plan.text = state.text ? 1 : 0;
        plan.synced = state.synced ? 1 : 0;
        state.className.copy(plan.className.data(), plan.className.size() - 1);
        return state.appends ? "" : "commits of " + state.className + " replace the file";
    }

    std::string Prepare() {
        if (plan.className.data() != state.className)
            return "has a " + state.className + ", and rank 0 a " + plan.className.data();
        return contributes ? share->Measure() : "";
    }

    Decision Decide(bool failed) {
        Offer own{0, 0, failed ? 1 : 0};
        if (contributes && !failed) own = {share->Size(true), share->StartSize(), 0};
        offers.resize(rank == 0 ? static_cast<std::size_t>(SizeOf(communicator)) : 0);
        MPI_Gather(&own, sizeof own, MPI_BYTE, offers.data(), sizeof own, MPI_BYTE, 0,
                   communicator);
        Decision decision;
        std::uint64_t total = 0;
        for (const Offer& offer : offers) total += offer.size;
        if (total != 0) decision.way = Decision::AtPlaces;
        if (total != 0 && total <= Share::kLargestGathered) decision.way = Decision::Gathered;
        const auto failing = std::find_if(offers.begin(), offers.end(),
                                          [](const Offer& offer) { return offer.failed != 0; });
        if (failing != offers.end())
            decision = {Decision::Failure, static_cast<int>(failing - offers.begin())};
        MPI_Bcast(&decision, sizeof decision, MPI_BYTE, 0, communicator);
        return decision;
    }

    Result Failure(int failing, std::string reason) {
        Broadcast(reason, failing, communicator);
        Broadcast(state.path, 0, communicator);
        return {1, "Cannot store " + state.path + ": rank " + std::to_string(failing) + ": " +
                       reason + "."};
    }

    Result FromRoot(int code) {
        Result result{code, code != 0 ? control.GetLastError() : ""};
        return ResultOfRoot(std::move(result), communicator);
    }

    // ---- small bodies: rank 0 writes all of them ----

    Result StoreGathered() {
        const std::string own = contributes ? share->Kept() : "";
        std::vector<int> counts;
        std::vector<int> places;
        int end = 0;
        for (const Offer& offer : offers) {
            counts.push_back(static_cast<int>(offer.size));
            places.push_back(end);
            end += counts.back();
        }
        std::string all(static_cast<std::size_t>(end), '\0');
        MPI_Gatherv(own.data(), static_cast<int>(own.size()), MPI_CHAR, all.data(), counts.data(),
                    places.data(), MPI_CHAR, 0, communicator);
        if (rank != 0) return FromRoot(0);
        return FromRoot(control.AppendBytes([&](std::uint64_t fileLength, const auto& append) {
            // What stands at the start of a file comes before the first body alone.
            bool isStart = fileLength == 0;
            const char* next = all.data();
            for (const Offer& offer : offers) {
                const std::size_t skipped = isStart ? 0 : static_cast<std::size_t>(offer.startSize);
                if (offer.size != 0) append(next + skipped, offer.size - skipped);
                isStart = isStart && offer.size == 0;
                next += offer.size;
            }
            return std::string();
        }));
    }

    // ---- large bodies: every rank writes its own ----

    Result StoreAtPlaces() {
        if (rank != 0) {
            if (Begin(0)) WriteOwn();
            return FromRoot(0);
        }
        bool begun = false;
        const int code = control.AppendBytes([&](std::uint64_t fileLength, const auto&) {
            begun = Begin(fileLength + 1);
            return WriteOwn();
        });
        if (!begun) Begin(0);  // the others wait to be told
        return FromRoot(code);
    }

    /// Rank 0 has lock and mark, and tells the length of the file and where it is; 0 when it could
    /// not take them.
    bool Begin(std::uint64_t lengthAndOne) {
        MPI_Bcast(&lengthAndOne, 1, MPI_UINT64_T, 0, communicator);
        if (lengthAndOne == 0) return false;
        length = lengthAndOne - 1;
        Broadcast(state.path, 0, communicator);
        return true;
    }

    /// The reason of the lowest rank that failed, on all ranks.
    std::string WriteOwn() {
        const bool hasStart = length == 0 && FirstRank(contributes, communicator) == rank;
        const std::uint64_t size = contributes ? share->Size(hasStart) : 0;
        std::uint64_t before = 0;
        MPI_Exscan(&size, &before, 1, MPI_UINT64_T, MPI_SUM, communicator);
        if (rank == 0) before = 0;
        const std::uint64_t total = Sum(size, communicator);

        DataFile file(state.path);
        std::string reason = file.WhyNotOpen();
        if (reason.empty() && rank == 0) reason = WhyNoRoom(state.path, length, total);
        reason = Agree(std::move(reason), communicator);
        if (!reason.empty()) return reason;
        reason = ReasonOf([&] { return WriteAt(file, length + before, size, hasStart); });
        reason = Agree(std::move(reason), communicator);
        if (!reason.empty()) return reason;
        if (plan.synced != 0) reason = file.Sync();
        const bool isLast = rank == SizeOf(communicator) - 1;  // which may be on another machine
        if (reason.empty() && isLast) reason = file.RequireSize(length + total);
        const std::string closing = file.Close();
        return Agree(reason.empty() ? closing : reason, communicator);
    }

    std::string WriteAt(DataFile& file, std::uint64_t place, std::uint64_t size, bool hasStart) {
        if (!contributes) return "";
        std::string reason;
        std::uint64_t written = 0;
        const bool given = share->Give(hasStart, [&](const char* bytes, std::size_t count) {
            if (count > size - written) return false;  // of somebody else
            reason = file.WriteAt(place + written, bytes, count);
            written += count;
            return reason.empty();
        });
        if (!reason.empty() || (given && written == size)) return reason;
        return "the object changed while it was stored";
    }

    MPI_Comm communicator;
    int rank;
    IPOStorageControl& control;
    IPOStorageControl::StorageState state;
    Plan plan;
    std::optional<Share> share;
    std::vector<Offer> offers;  // of all ranks, on rank 0
    bool contributes = false;
    std::uint64_t length = 0;  // of the file before
};

}  // namespace fieldstore::mpi::detail

#endif
