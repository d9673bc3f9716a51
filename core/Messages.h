// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_MESSAGES_H
#define FIELDSTORE_MESSAGES_H

/// The texts of the errors of persistent objects. Hosts and scripts match them, so they never
/// change. Those of the streams are in streams/StreamMessages.h.
namespace fieldstore::messages {

// Storage and passes.
inline constexpr char kUnsupportedStorageType[] = "Unsupported storage creation type parameter.";
inline constexpr char kLockIsDataFile[] = "The lock file would be the data file itself.";
inline constexpr char kZeroByteInName[] = "A directory or file name holds a zero byte.";
inline constexpr char kNoStorageInterface[] =
    "Failed to create storage interface for persistent object.";
inline constexpr char kNoStorageStream[] = "Failed to create persistent object stream.";
inline constexpr char kNullStream[] = "Null stream function.";
inline constexpr char kBadStream[] = "Bad stream.";
inline constexpr char kInvalidData[] = "Data validation failed.";
inline constexpr char kDamagedBeforeAppend[] =
    "The data are damaged before the last commit; repair them first.";
inline constexpr char kNoMark[] =
    "No mark can be made, neither next to the data nor next to the lock.";
inline constexpr char kNeedsLock[] = "What is appended in one step needs storage with a lock.";
inline constexpr char kReplacesFile[] = "Commits of this class replace the file.";
inline constexpr char kUnknownBytes[] = "Unknown choice of bytes.";
inline constexpr char kUnknownOpenError[] = "Unknown file open error.";
inline constexpr char kUnknownCloseError[] = "Unknown file close error.";
inline constexpr char kUnwritableVersion[] =
    "The version text is too long or holds a zero byte or a line end.";

// Bookmark index.
inline constexpr char kWrongBookmarkDirection[] =
    "Persistent object stream wrong direction for bookmark.";
inline constexpr char kEmptyBookmark[] = "Bookmark name is empty.";
inline constexpr char kInvalidIndexParameters[] = "Invalid parameters for index.";
inline constexpr char kIndexDefined[] = "Index parameters already defined.";
inline constexpr char kIndexExceeded[] = "Index size exceeded.";
inline constexpr char kBookmarkTooLong[] = "Bookmark string too long.";
inline constexpr char kIndexSizeMismatch[] = "Index size mismatch.";
inline constexpr char kInvalidIndexData[] = "Invalid index data.";
inline constexpr char kDuplicateIndexEntry[] = "Duplicate index entry.";
inline constexpr char kInvalidIndexFront[] = "Invalid index front data.";
inline constexpr char kInvalidIndexString[] = "Invalid index string.";

// DOF map.
inline constexpr char kResolvedNotStored[] = "Creation of persistent object storage failed.";
inline constexpr char kInvalidColumn[] = "Invalid column index in PODOFMap object.";

// DOF list.
inline constexpr char kDOFListSizeMismatch[] = "Data size mismatch in PDOFList object.";

// Binary tree.
inline constexpr char kInvalidLevelCount[] = "Invalid level count in POBinaryTree object.";

// Solution metrics.
inline constexpr char kInvalidTypeKey[] = "Invalid entity/value type combination.";
inline constexpr char kUndefinedValues[] = "Resolve function and value counts not defined.";
inline constexpr char kInconsistentAmount[] =
    "Amount of data inconsistent with previous additions.";
inline constexpr char kInvalidResolveFunction[] = "Invalid resolve function id.";
inline constexpr char kDifferentSizes[] = "Existing and new values have different sizes.";
inline constexpr char kInconsistentData[] = "Inconsistent data.";
inline constexpr char kInconsistentEdges[] = "Inconsistent edge node counts.";
inline constexpr char kNoNeighbors[] = "Failed to determine node neighbors.";

// Port and circuit DOFs.
inline constexpr char kInvalidPortIndex[] = "Invalid index for port DOFs.";
inline constexpr char kInvalidCircuitIndex[] = "Invalid index for circuit DOFs.";

// Assembly information.
inline constexpr char kInconsistentBasisCounts[] = "Inconsistent basis counts for node.";
inline constexpr char kDuplicateElement[] = "Duplicate element id found.";
inline constexpr char kElementIndexOutside[] = "Element index outside the elements.";

}  // namespace fieldstore::messages

#endif
