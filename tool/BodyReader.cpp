// SPDX-License-Identifier: Apache-2.0
#include "tool/BodyReader.h"

#include <algorithm>
#include <cstring>
#include <optional>

#include "core/POIndex.h"
#include "objects/DOFBlock.h"
#include "streams/StreamErrors.h"
#include "tool/Terminal.h"

namespace fieldstore::tool {

std::uint64_t Layout::Of(std::string_view field) const {
    const auto place = std::find_if(fields.begin(), fields.end(), [field](const FieldPlace& known) {
        return known.name == field;
    });
    return place == fields.end() ? begin : place->offset;
}

std::uint64_t Layout::Of(std::string_view field, std::size_t entry) const {
    for (const FieldPlace& place : fields) {
        if (place.name != field) continue;
        if (!place.repeated.empty() || !place.disordered.empty()) return place.offset;
        if (place.entrySize != 0)
            return place.offset + sizeof(std::uint64_t) + entry * place.entrySize;
        return entry < place.entries.size() ? place.entries[entry] : place.offset;
    }
    return begin;
}

void BodyReader::RequireGood() {
    if (!stream.IsGood()) throw Explain(StreamStateError(messages::kBadStreamState));
}

Fault BodyReader::Explain(const std::runtime_error& error) {
    const std::string name =
        layout.fields.empty() ? "the body" : std::string(layout.fields.back().name);
    const std::uint64_t here = std::min(stream.Tell(), fileSize);
    if (dynamic_cast<const StreamStateError*>(&error) == nullptr)
        return {entryOffset, false, name + ": " + error.what()};
    // Binary values of any bits are values: what stops the reading is the end alone.
    if (!stream.IsTextMode() || here == fileSize)
        return {entryOffset, true, "the file ends inside " + name};
    return {here, false, "not a number where " + name + " should go on"};
}

Fault BodyReader::ImpossibleCount(std::uint64_t offset, std::uint64_t count, std::uint64_t least,
                                  std::uint64_t left) const {
    // A file of which less than a thousandth is there is more likely one of another kind.
    constexpr std::uint64_t most = 1000, small = 4096;
    const bool believable = count <= kMaxStreamCount && count * least <= (fileSize + small) * most;
    const std::string name(layout.fields.back().name);
    return {
        offset, believable,
        (believable ? "the file ends inside " + name + ": " : name + " has an impossible count: ") +
            Counted(count, "entry", "entries") + " of at least " + Counted(least, "byte", "bytes") +
            " should follow, and " + Counted(left, "byte does", "bytes do")};
}

std::uint64_t BodyReader::NextOffset() {
    if (stream.IsTextMode()) stream.SkipWhiteSpace();
    return std::min(stream.Tell(), fileSize);
}

void BodyReader::BeginEntry(std::uint64_t number) {
    FieldPlace& place = layout.fields.back();
    if (place.entrySize != 0) {
        entryOffset = place.offset + sizeof(std::uint64_t) + number * place.entrySize;
    } else {
        entryOffset = NextOffset();
        place.entries.push_back(entryOffset);
    }
}

void BodyReader::ReadBlocks(BlockedDOFListBody& body) {
    if (stream.IsTextMode()) throw Fault(layout.begin, false, "only binary files have blocks");
    layout.fields.push_back({"index", NextOffset(), 0, {}, {}, {}});
    entryOffset = stream.Tell();
    std::vector<char> block;
    ReadPart(block);
    RequireGood();
    POIndex index;
    index.ParseIndex(block);
    std::memcpy(&body.announced, block.data(), sizeof body.announced);
    const FieldPlace indexPlace = layout.fields.back();
    const Field blocks{"blocks", {{{"block"}}}};
    layout.fields.push_back({blocks.name, stream.Tell(), 0, {}, {}, {}});
    filter = slice.Of(blocks);
    // A writer fills the index in when all blocks are written. They stand in a row, so those that
    // a dead writer left can be found without it.
    const bool unfinished = index.GetBookmarkCount() == 0;
    std::optional<Fault> first;
    if (unfinished)
        first.emplace(indexPlace.offset, true,
                      "the index names no block: its writer did not finish");
    else
        body.announced = index.GetBookmarkCount();
    for (int number = 0; number < body.announced; ++number) {
        try {
            ReadBlock(body, number,
                      unfinished ? static_cast<std::int64_t>(stream.Tell())
                                 : index.GetBookmark(std::to_string(number)));
        } catch (const std::ios_base::failure&) {
            throw;
        } catch (const std::runtime_error& error) {
            if (stream.HasReadError()) throw;
            body.blocks.erase(number);
            const auto* fault = dynamic_cast<const Fault*>(&error);
            if (!first) first = fault != nullptr ? *fault : Explain(error);
            if (unfinished) break;
        }
    }
    if (first) throw Fault(*first);
}

void BodyReader::ReadBlock(BlockedDOFListBody& body, int number, std::int64_t bookmark) {
    const std::string name = "block " + std::to_string(number);
    const auto begin = static_cast<std::uint64_t>(bookmark);
    if (bookmark < 0 || begin >= fileSize)
        throw Fault(layout.fields[layout.fields.size() - 2].offset, bookmark >= 0,
                    "the file ends before " + name + ", whose bookmark is byte " +
                        std::to_string(bookmark));
    if (fileSize - begin < sizeof(DOFBlock::KindCounts))
        throw Fault(begin, true, "the file ends inside the counts of " + name);
    entryOffset = begin;
    layout.fields.back().entries.push_back(begin);
    if (begin != stream.Tell()) {
        layout.oddities.push_back(name + " does not begin where the one before it ends, byte " +
                                  std::to_string(stream.Tell()));
        layout.oddityOffsets.push_back(begin);
    }
    stream.Seek(begin);
    const DOFBlock::Counts counts = DOFBlock::ReadCounts(stream);
    RequireGood();
    if (const auto k = DOFBlock::FirstUnfit(counts, body.Widths(), fileSize - stream.Tell())) {
        const std::int64_t count = counts[*k], width = body.Widths()[*k];
        const bool possible = count >= 0 && width >= 0;
        throw Fault(begin, possible,
                    (possible ? "the file ends inside " : "impossible count in ") + name + ": " +
                        std::to_string(count) + (count == 1 ? " record" : " records") +
                        " of width " + std::to_string(width) + " should follow");
    }
    if (!filter.Has(number)) {
        std::uint64_t bytes = 0;
        for (std::size_t k = 0; k < counts.size(); ++k)
            bytes += sizeof(std::uint64_t) +  // the length of the array
                     sizeof(int) * static_cast<std::uint64_t>(counts[k]) *
                         static_cast<std::uint64_t>(body.Widths()[k]);
        stream.SkipBytes(bytes);
        layout.end = std::max(layout.end, stream.Tell());
        return;
    }
    auto arrays = DOFBlock::ReadArrays(stream, counts, body.Widths());
    RequireGood();
    const auto places = BlockedDOFListBody::Arrays(body.blocks[number]);
    for (std::size_t k = 0; k < arrays.size(); ++k) *places[k] = std::move(arrays[k]);
    layout.end = std::max(layout.end, stream.Tell());
}

}  // namespace fieldstore::tool
