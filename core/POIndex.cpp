// SPDX-License-Identifier: Apache-2.0
#include "core/POIndex.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "core/Messages.h"
#include "streams/MemorySize.h"

using namespace fieldstore;

namespace {

constexpr std::size_t kFrontSize = 8;
constexpr std::size_t kPositionSize = 8;

}  // namespace

void POIndex::SetBookmark(const std::string& name, std::int64_t position) {
    bookmarks[name] = position;
}

void POIndex::ClearBookmarks() {
    bookmarks.clear();
}

void POIndex::ResetIndex() {
    bookmarks.clear();
    entryCount = 0;
    nameWidth = 0;
    indexPosition = 0;
}

std::int64_t POIndex::GetIndexPosition() {
    return indexPosition;
}

void POIndex::SetIndexPosition(std::int64_t position) {
    indexPosition = position;
}

std::int64_t POIndex::GetIndexSize() {
    const auto entrySize = std::int64_t{nameWidth} + static_cast<std::int64_t>(kPositionSize);
    return static_cast<std::int64_t>(kFrontSize) + std::int64_t{entryCount} * entrySize;
}

int POIndex::GetBookmarkCount() {
    return static_cast<int>(bookmarks.size());
}

std::int64_t POIndex::GetBookmark(const std::string& name) {
    const auto found = bookmarks.find(name);
    if (found == bookmarks.end()) throw std::runtime_error(messages::kInvalidIndexString);
    return found->second;
}

void POIndex::ReadIndexFront(const std::vector<char>& block, int& offset) {
    if (block.size() < kFrontSize) throw std::runtime_error(messages::kInvalidIndexFront);
    std::memcpy(&entryCount, block.data(), sizeof entryCount);
    std::memcpy(&nameWidth, block.data() + sizeof entryCount, sizeof nameWidth);
    offset += static_cast<int>(kFrontSize);
}

void POIndex::WriteIndexFront(std::vector<char>& block) {
    if (block.size() < kFrontSize) block.resize(kFrontSize);
    std::memcpy(block.data(), &entryCount, sizeof entryCount);
    std::memcpy(block.data() + sizeof entryCount, &nameWidth, sizeof nameWidth);
}

std::uint64_t POIndex::BuildIndex(std::vector<char>& block, int entries, int width) {
    if ((entries > 0 && entryCount > 0) || (width > 0 && nameWidth > 0))
        throw std::runtime_error(messages::kIndexDefined);
    if (entries > 0) entryCount = entries;
    if (width > 0) nameWidth = width;

    block.clear();
    block.reserve(MemorySize(static_cast<std::uint64_t>(GetIndexSize())));
    if (bookmarks.size() > static_cast<std::size_t>(entryCount))
        throw std::runtime_error(messages::kIndexExceeded);
    WriteIndexFront(block);
    for (const auto& [name, position] : bookmarks) {
        if (name.size() >= static_cast<std::size_t>(nameWidth))
            throw std::runtime_error(messages::kBookmarkTooLong);
        block.insert(block.end(), name.begin(), name.end());
        block.resize(block.size() + static_cast<std::size_t>(nameWidth) - name.size());
        const auto* bytes = reinterpret_cast<const char*>(&position);
        block.insert(block.end(), bytes, bytes + kPositionSize);
    }
    const std::size_t unused = static_cast<std::size_t>(entryCount) - bookmarks.size();
    block.resize(block.size() + unused * (static_cast<std::size_t>(nameWidth) + kPositionSize));
    if (block.size() != static_cast<std::uint64_t>(GetIndexSize()))
        throw std::runtime_error(messages::kIndexSizeMismatch);
    return block.size();
}

void POIndex::ParseIndex(const std::vector<char>& block) {
    ClearBookmarks();
    int offset = 0;
    ReadIndexFront(block, offset);
    if (entryCount < 1 || nameWidth < 1) throw std::runtime_error(messages::kInvalidIndexData);
    if (block.size() != static_cast<std::uint64_t>(GetIndexSize()))
        throw std::runtime_error(messages::kIndexSizeMismatch);

    const auto width = static_cast<std::size_t>(nameWidth);
    const char* entry = block.data() + offset;
    for (int i = 0; i < entryCount && *entry != '\0'; ++i, entry += width + kPositionSize) {
        // A damaged entry may lack its zero byte; the name then ends with its field.
        const std::string name(entry, std::find(entry, entry + width, '\0'));
        std::int64_t position = 0;
        std::memcpy(&position, entry + width, sizeof position);
        if (!bookmarks.emplace(name, position).second)
            throw std::runtime_error(messages::kDuplicateIndexEntry);
    }
}
