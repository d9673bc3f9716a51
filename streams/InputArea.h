// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_INPUT_AREA_H
#define FIELDSTORE_INPUT_AREA_H

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <istream>
#include <memory>
#include <utility>
#include <vector>

#include "streams/BufferArea.h"
#include "streams/FlatEncoding.h"
#include "streams/MemorySize.h"
#include "streams/NumberText.h"
#include "streams/RawType.h"

namespace fieldstore {

/// A standard input stream, or none, with the short way to what already lies in the get area of its
/// buffer: there no read check can raise. Whoever gets false or less than asked for takes the long
/// way through the stream.
class InputArea {
public:
    /// `bytes` is the length of the input, 0 when unknown.
    void Set(std::shared_ptr<std::istream> source, std::uint64_t bytes) {
        length = bytes;
        buffer = source ? source->rdbuf() : nullptr;
        stream = std::move(source);
    }
    const std::shared_ptr<std::istream>& Stream() const { return stream; }
    bool IsGood() const { return stream && stream->good(); }

    /// The stream after the read check. The copy keeps it alive should something close it
    /// meanwhile. Raises "Bad stream;" or "End of file reached;".
    std::shared_ptr<std::istream> Checked() const;
    /// Raises the same; consumes nothing.
    void Check() const {
        const bool inArea = buffer && stream->good() && BufferArea::Readable(*buffer) != 0;
        if (!inArea) Checked();
    }

    bool TakeBytes(void* target, std::size_t count) {
        if (buffer == nullptr || !stream->good()) return false;
        if (BufferArea::Readable(*buffer) < count || count == 0) return false;
        std::memcpy(target, BufferArea::ReadPosition(*buffer), count);
        BufferArea::Consume(*buffer, count);
        return true;
    }

    /// Takes a number in text form when it lies in the area as a whole.
    template <typename T>
    bool TakeText(T& value) {
        if (buffer == nullptr || !stream->good()) return false;
        const char* begin = BufferArea::ReadPosition(*buffer);
        const char* end = begin + BufferArea::Readable(*buffer);
        const char* rest = ParsePlain(begin, end, value);
        if (rest == nullptr) return false;
        BufferArea::Consume(*buffer, static_cast<std::size_t>(rest - begin));
        return true;
    }

    /// Hands over as many values of fixed size as the area holds, at most `count`; returns how
    /// many.
    template <typename T, typename Take>
    std::uint64_t TakeRun(std::uint64_t count, Take& take) {
        if (buffer == nullptr || !stream->good()) return 0;
        constexpr std::size_t size = kFixedSize<T>;
        const std::uint64_t held = BufferArea::Readable(*buffer) / size;
        const std::uint64_t taken = count < held ? count : held;
        const char* from = BufferArea::ReadPosition(*buffer);
        for (std::uint64_t i = 0; i < taken; ++i) {
            T value;
            from = FetchFixed(from, value);
            take(value);
        }
        BufferArea::Consume(*buffer, static_cast<std::size_t>(taken) * size);
        return taken;
    }

    /// Hands the area to a ColumnMap, as far as `left` entries of it lie there as a whole; counts
    /// `left` down.
    template <typename Map>
    void TakeEntries(Map& map, std::uint64_t& left) {
        if (buffer == nullptr || !stream->good()) return;
        const std::size_t held = BufferArea::Readable(*buffer);
        const char* from = BufferArea::ReadPosition(*buffer);
        const char* rest = map.AddEncoded(from, from + held, left, Left());
        BufferArea::Consume(*buffer, static_cast<std::size_t>(rest - from));
    }

    /// Takes raw values by way of the area until there are `count` or the stream fails. Setting a
    /// vector to zero first, as a resize does, takes longer than the copy; and a false count costs
    /// no memory. Raises what a read check raises.
    template <typename T>
    void TakeLarge(std::vector<T>& value, std::uint64_t count) {
        Check();
        value.clear();
        value.reserve(MemorySize(std::min(count, Left() / sizeof(T))));
        while (value.size() < count) {
            const std::uint64_t held = BufferArea::Readable(*buffer) / sizeof(T);
            if (held == 0) {
                T acrossRefill{};
                ReadRest(reinterpret_cast<char*>(&acrossRefill), sizeof acrossRefill);
                if (!stream->good()) return;
                value.push_back(acrossRefill);
                continue;
            }
            const auto taken = static_cast<std::size_t>(std::min(held, count - value.size()));
            const char* from = BufferArea::ReadPosition(*buffer);
            value.insert(value.end(), RawIterator<T>(from),
                         RawIterator<T>(from + taken * sizeof(T)));
            BufferArea::Consume(*buffer, taken * sizeof(T));
        }
    }

    /// Moves over bytes without looking at them, and past long runs without reading them. Raises
    /// "Bad stream;" when the input ends before.
    void Skip(std::uint64_t count) {
        if (buffer != nullptr && stream->good() && count <= BufferArea::Readable(*buffer))
            return BufferArea::Consume(*buffer, static_cast<std::size_t>(count));
        SkipSlowly(count);
    }
    /// Whether anything follows, which is then in the area. Raises "Bad stream;" without a good
    /// stream.
    bool HasMore() const;
    /// Shows the area to `look`, which returns how far it got, and moves there.
    template <typename Look>
    void TakeOver(Look look) {
        const char* const begin = BufferArea::ReadPosition(*buffer);
        const char* const end = look(begin, begin + BufferArea::Readable(*buffer));
        BufferArea::Consume(*buffer, static_cast<std::size_t>(end - begin));
    }

    /// Reads bytes that belong to a value already begun, so without a read check.
    void ReadRest(char* target, std::uint64_t count);

    /// The bytes that are known to follow the position; 0 when nothing is known.
    std::uint64_t Left() const;
    /// Consumes white space without failing at the end.
    void SkipWhiteSpace();

private:
    void SkipSlowly(std::uint64_t count);

    std::shared_ptr<std::istream> stream;
    std::streambuf* buffer = nullptr;  // the stream's, null for a placeholder; kept for speed
    std::uint64_t length = 0;          // bytes; 0: not known
};

}  // namespace fieldstore

#endif
