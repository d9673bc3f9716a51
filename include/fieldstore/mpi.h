// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_MPI_H
#define FIELDSTORE_MPI_H

#include <string>
#include <vector>

#include "fieldstore/detail/mpi_commit.h"
#include "fieldstore/detail/mpi_ranks.h"
#include "fieldstore/detail/mpi_transfer.h"
#include "fieldstore/fieldstore.h"

/// Ranks of MPI that store and load as one; header only, on top of the library and of MPI 3.
///
/// Every function here is collective: all ranks of the communicator call it, in the same order as
/// their other collective calls, and all get the same result. None raises, but for std::bad_alloc,
/// after which the ranks are out of step and the job has to end. Errors of MPI itself go to the
/// communicator's error handler, which by default ends the job.
namespace fieldstore::mpi {

/// Commits one object per rank, all of one appending class, as one step. The file is then byte for
/// byte what the ranks would have made by committing one after the other, in the order of their
/// ranks.
///
/// Rank 0's object needs storage with a lock (CreateStorage with Locking::On); its path, its mode
/// and its durability count for all, and the path must lead all ranks to the same file. A rank
/// whose object is unchanged stores nothing, unless `force` is set. When no rank has something to
/// store, nothing is touched.
///
/// Returns 0 when every body is stored, and on the disk unless rank 0's object is set to eUnsynced;
/// the objects then count as saved. Returns 1 when no body is stored, and the file is as it was:
/// an object that does not validate or is of another class, a lock or mark that cannot be had, a
/// full disk under any rank. When a rank dies, MPI ends the job: loads then see the file as it was,
/// and the next commit, once the lock has been removed (`fieldstore unlock`), cuts off what was
/// written.
inline Result Commit(MPI_Comm communicator, IPOBase& object, bool force = false) {
    return detail::CollectiveCommit(communicator, object).Run(force);
}

/// Unites the objects of all ranks, all of one replacing class, in that of rank 0, and commits that
/// one once. Unchanged objects add nothing; when no rank has changes, nothing is touched. The
/// rules:
///
/// - POMeshTree: the ids and the pairs of all ranks.
/// - PODOFMap: each row is that of the rank whose row has entries, and each type that of the rank
///   whose type is not 0; ranks that have the same row or type must agree. A map is as long as the
///   longest.
/// - PODOFList: the records of all ranks, kind by kind, in the order of the ranks; the header value
///   and totals must be the same, and so must the widths of kinds with records. The number of
///   distinct degrees of freedom is the sum. Not in blocks.
/// - POPortCircuitDOFs: the positions of all tables; ranks must agree on the counts, and on the
///   degree of freedom of a position that several have.
/// - POBinaryTree: that of the one rank that has one.
///
/// Returns 0 when the united data are stored; all objects then count as saved. Returns 1 when they
/// contradict each other or cannot be stored: the file is as it was, and the other ranks' objects
/// are unchanged; that of rank 0 may hold a part of what was united.
inline Result Gather(MPI_Comm communicator, IPOBase& object) {
    bool any = false;
    const std::string reason = detail::Gathering(communicator, object).Run(any);
    if (!reason.empty()) return {1, "Cannot unite the objects of the ranks: " + reason + "."};
    if (!any) return {};
    Result result;
    if (detail::RankIn(communicator) == 0) result.code = object.Commit(true);
    if (result.code != 0) result.reason = Control(object).GetLastError();
    result = detail::ResultOfRoot(std::move(result), communicator);
    if (result.code == 0) Control(object).NoteStored();
    return result;
}

/// Rank 0 loads its object as IPOBase::Load does, and the objects of the other ranks, of the same
/// class, get the same data; they need no storage. Returns what the load returned. When it failed,
/// the objects of the other ranks are unchanged; 1 also when a rank cannot take the data, which are
/// then not the same everywhere.
inline Result Load(MPI_Comm communicator, IPOBase& object) {
    auto& control = Control(object);
    const std::string reason =
        detail::WhyNotOfOneClass(control.GetStorageState().className, communicator);
    if (!reason.empty()) return {1, "Cannot load: " + reason + "."};
    Result result = detail::LoadOnRoot(communicator, object);
    if (result.code != 0) return result;
    const bool isRoot = detail::RankIn(communicator) == 0;
    std::string bytes;
    const auto give = [&] {
        if (isRoot) bytes = detail::BytesOf(control, IPOStorageControl::eWhole);
        return std::string();
    };
    result = detail::Agreed(detail::ReasonOf(give), "Cannot load", communicator);
    if (result.code != 0) return result;
    detail::Broadcast(bytes, 0, communicator);
    const auto take = [&] {
        if (!isRoot) detail::TakeBytes(control, bytes);
        return std::string();
    };
    return detail::Agreed(detail::ReasonOf(take), "Cannot load", communicator);
}

/// The same for POModeInfo and POCircuitMatrices, but each rank, rank 0 as well, gets the entries
/// of the frequencies that it names; those that are not in the file are left out.
inline Result Load(MPI_Comm communicator, IPOBase& object, const std::vector<double>& frequencies) {
    auto& control = Control(object);
    const std::string className = control.GetStorageState().className;
    std::string reason = detail::WhyNotOfOneClass(className, communicator);
    if (!reason.empty()) return {1, "Cannot load: " + reason + "."};
    Result result = detail::LoadOnRoot(communicator, object);
    if (result.code != 0) return result;

    const bool isRoot = detail::RankIn(communicator) == 0;
    std::optional<detail::FrequencyEntries> entries;
    const auto find = [&] {
        if (isRoot) entries = detail::EntriesOf(object, className);
        return std::string();
    };
    result = detail::Agreed(detail::ReasonOf(find), "Cannot load", communicator);
    if (result.code != 0) return result;
    const detail::Messages messages(communicator);
    const auto keys = detail::Keys(frequencies);
    if (!isRoot) messages.Send(detail::AsBytes(keys), 0);
    for (int rank = 1; isRoot && rank < detail::SizeOf(communicator); ++rank)
        messages.Send(entries->Chosen(detail::FromBytes(messages.Receive(rank))), rank);
    const std::string own = isRoot ? entries->Chosen(keys) : messages.Receive(0);
    const auto take = [&] {
        detail::TakeBytes(control, own);
        return std::string();
    };
    return detail::Agreed(detail::ReasonOf(take), "Cannot load", communicator);
}

}  // namespace fieldstore::mpi

#endif
