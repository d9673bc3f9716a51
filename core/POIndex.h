// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_POINDEX_H
#define FIELDSTORE_POINDEX_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

/// Named positions in an object's own stream, and the block of bytes that carries them.
///
/// The block has a fixed size, 8 + entryCount * (nameWidth + 8) bytes, so that it can be reserved
/// near the start of the stream and written over once the positions are known:
///
///   int32 entryCount, int32 nameWidth, then per entry the name filled up with zero bytes to
///   nameWidth and an int64 position; names ascend, unused entries are all zero.
///
/// All errors are std::runtime_error.
class POIndex {
public:
    POIndex() = default;
    POIndex(const POIndex&) = delete;
    POIndex& operator=(const POIndex&) = delete;
    virtual ~POIndex() = default;

    /// Records a position, replacing an earlier one of that name.
    virtual void SetBookmark(const std::string& name, std::int64_t position);
    /// Forgets the bookmarks; the size of the block and its position stay.
    virtual void ClearBookmarks();
    /// Replaces bookmarks and block size by those of a block. Raises "Invalid index front data.",
    /// "Invalid index data.", "Index size mismatch." or "Duplicate index entry."; the bookmarks
    /// read so far stay.
    virtual void ParseIndex(const std::vector<char>& block);
    /// Builds the block and returns its size. Positive parameters fix the size of the block once
    /// ("Index parameters already defined."); others keep it. Raises "Index size exceeded.",
    /// "Bookmark string too long." or "Index size mismatch."; the parameters stay changed then.
    virtual std::uint64_t BuildIndex(std::vector<char>& block, int entries, int width);
    /// The stream position at which the block was reserved.
    virtual std::int64_t GetIndexPosition();
    /// The size of the block in bytes.
    virtual std::int64_t GetIndexSize();
    virtual int GetBookmarkCount();
    /// Raises "Invalid index string." for an unknown name.
    virtual std::int64_t GetBookmark(const std::string& name);
    /// Takes the block size from its first 8 bytes and moves `offset` behind them. Raises "Invalid
    /// index front data." for a shorter block.
    virtual void ReadIndexFront(const std::vector<char>& block, int& offset);
    virtual void SetIndexPosition(std::int64_t position);
    /// Stores the block size in the first 8 bytes, making room for them.
    virtual void WriteIndexFront(std::vector<char>& block);

protected:
    /// Back to an index without bookmarks and size, for an object that is written anew.
    void ResetIndex();

private:
    std::map<std::string, std::int64_t> bookmarks;
    std::int32_t entryCount = 0;
    std::int32_t nameWidth = 0;
    std::int64_t indexPosition = 0;
};

#endif
