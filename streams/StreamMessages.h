// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_STREAM_MESSAGES_H
#define FIELDSTORE_STREAM_MESSAGES_H

/// The texts of the stream layer's errors. Hosts and scripts match them, so they never change.
namespace fieldstore::messages {

// State of a stream; these two end with a semicolon.
inline constexpr char kBadStreamState[] = "Bad stream;";
inline constexpr char kEndOfFile[] = "End of file reached;";

// Values.
inline constexpr char kBadCharacterCount[] = "Bad character count encountered in stream read.";
inline constexpr char kBadTerminator[] = "Bad string terminator.";
inline constexpr char kBadValueCount[] = "Bad value count encountered in stream read.";
inline constexpr char kBlockSizeMismatch[] =
    "Number of chars to read does not match number written.";

// Files. Error number 1 is what callers recognise as "the input file could not be opened".
inline constexpr char kInputNotOpened[] = "Error 1: Failed to open input stream.";
inline constexpr char kOutputNotOpened[] = "Failed to open output stream.";
inline constexpr char kReplacementExchanged[] =
    "Another file took the name of the new one before it was whole.";
inline constexpr char kNoStreamOpen[] = "No stream open.";
inline constexpr char kNotDestroyed[] = "Unable to destroy stream file.";
inline constexpr char kNoIdentifier[] = "Stream identifier not defined.";

// Locks.
inline constexpr char kLockNotAcquired[] = "Unable to acquire file lock.";
inline constexpr char kLockNotReleased[] = "Unable to release file lock.";

// Data-service streams.
inline constexpr char kDataServiceSeek[] = "PODataServiceIO::Seek: Not implemented.";

}  // namespace fieldstore::messages

#endif
