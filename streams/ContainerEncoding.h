// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_CONTAINER_ENCODING_H
#define FIELDSTORE_CONTAINER_ENCODING_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <map>
#include <set>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "streams/FlatEncoding.h"
#include "streams/Limits.h"
#include "streams/MemorySize.h"
#include "streams/RawType.h"
#include "streams/Span.h"
#include "streams/StreamMessages.h"

/// How containers stand in a stream: one rule each for vectors, sets, maps and pairs.
///
/// `Stream` is POStreamIO, whose parts are read and written through virtual operations, so that a
/// derived stream changes every container built on an operation it overrides; or a final class,
/// where the compiler resolves the same calls at compile time.
namespace fieldstore {

/// What reading a map does with a key that the map already holds.
enum class ExistingKey { Keep, Replace };
template <typename Map>
inline constexpr ExistingKey kExistingKey = ExistingKey::Keep;
template <>
inline constexpr ExistingKey kExistingKey<std::map<int, int>> = ExistingKey::Replace;

template <typename T>
struct IsPair : std::false_type {};
template <typename First, typename Second>
struct IsPair<std::pair<First, Second>> : std::true_type {};
template <typename T>
struct IsSpan : std::false_type {};
template <typename T>
struct IsSpan<Span<T>> : std::true_type {};

// ---- reading ----

/// The parts of a container make the read check themselves, so for a final class, whose primitives
/// are known, the check ahead of the first part would only repeat it.
template <typename Stream>
void CheckBeforeParts(Stream& stream) {
    if constexpr (!std::is_final_v<Stream>) stream.CheckInput();
}

template <typename Stream>
std::uint64_t ReadCount(Stream& stream) {
    CheckBeforeParts(stream);
    std::uint64_t count = 0;
    stream.Read(count);
    return count;
}

template <typename Stream>
std::uint64_t ReadLimitedCount(Stream& stream) {
    const std::uint64_t count = ReadCount(stream);
    if (count > kMaxStreamCount) throw std::runtime_error(messages::kBadValueCount);
    return count;
}

/// Reads `count` elements and hands each to `take`. From a final class, elements of fixed size are
/// taken in runs, as many as the stream's buffer holds.
template <typename T, typename Stream, typename Take>
void ReadEach(Stream& stream, std::uint64_t count, Take take) {
    for (std::uint64_t done = 0; done < count; ++done) {
        if constexpr (std::is_final_v<Stream> && kFixedSize<T> != 0) {
            done += stream.template TakeRun<T>(count - done, take);
            if (done == count) return;
        }
        T element{};
        stream.Read(element);
        take(std::move(element));
    }
}

/// The elements of a vector that go one by one.
template <typename Stream, typename T>
void ReadElements(Stream& stream, std::vector<T>& value, std::uint64_t count) {
    constexpr std::uint64_t step = kResizedAtOnce / sizeof(T);
    if (count > step) {
        // Room for what the input can hold; the shortest element is a text digit with its
        // separator, a raw value, or a count.
        const std::uint64_t shortest =
            stream.IsTextMode() ? 2 : std::min<std::size_t>(sizeof(T), 8);
        value.clear();
        value.reserve(MemorySize(std::min(count, stream.InputLeft() / shortest)));
    }
    for (std::uint64_t done = 0; done < count || done == 0;) {
        if (done != 0) stream.CheckInput();
        const std::uint64_t next = std::min(count - done, step);
        value.resize(MemorySize(done + next));
        auto element = value.begin() + static_cast<std::ptrdiff_t>(done);
        if constexpr (kFixedSize<T> != 0)
            ReadEach<T>(stream, next, [&element](const T& read) { *element++ = read; });
        else
            for (; element != value.end(); ++element) stream.Read(*element);
        if (count == 0) return;
        done += next;
    }
}

template <typename Stream, typename T>
void ReadContainer(Stream& stream, std::vector<T>& value) {
    const std::uint64_t count = ReadLimitedCount(stream);
    if constexpr (kIsRawType<T>) {
        if (!stream.IsTextMode()) {
            if (stream.EndsWithEmptyVector(count)) return value.clear();
            if (count > kReadDirectly / sizeof(T))
                return stream.ReadLarge(value, count, kResizedAtOnce);
            value.resize(static_cast<std::size_t>(count));
            return stream.ReadRaw(value.data(), count * sizeof(T));
        }
    }
    ReadElements(stream, value, count);
}

template <typename Stream, typename T>
void ReadContainer(Stream& stream, std::set<T>& value) {
    const std::uint64_t count = ReadLimitedCount(stream);
    // Elements arrive in order, so each belongs at the end.
    ReadEach<T>(stream, count, [&value](const T& read) { value.insert(value.end(), read); });
}

template <typename Stream, typename Key, typename Value>
void ReadContainer(Stream& stream, std::map<Key, Value>& value) {
    const std::uint64_t count = ReadCount(stream);
    for (std::uint64_t i = 0; i < count; ++i) {
        Key key{};
        ReadEach<Key>(stream, 1, [&key](const Key& read) { key = read; });
        Value mapped{};
        stream.Read(mapped);
        if constexpr (kExistingKey<std::map<Key, Value>> == ExistingKey::Replace)
            value.insert_or_assign(value.end(), std::move(key), std::move(mapped));
        else
            value.emplace_hint(value.end(), std::move(key), std::move(mapped));
    }
}

template <typename Stream, typename First, typename Second>
void ReadContainer(Stream& stream, std::pair<First, Second>& value) {
    CheckBeforeParts(stream);
    stream.Read(value.first);
    stream.Read(value.second);
}

// ---- writing ----

/// Text layout: which of the two separators follows the next element, `perLine` to a line.
class LineLayout {
public:
    LineLayout(int perLine, const std::string& separatorText, const std::string& lineEndText)
        : count(std::max(perLine, 1)), separator(separatorText), lineEnd(lineEndText) {}

    int Count() const { return count; }
    bool AtLast() const { return position == count - 1; }
    const std::string& Current() const { return AtLast() ? lineEnd : separator; }
    void Advance() { position = AtLast() ? 0 : position + 1; }
    const std::string& Separator() const { return separator; }
    const std::string& LineEnd() const { return lineEnd; }

private:
    int count;
    int position = 0;
    const std::string& separator;
    const std::string& lineEnd;
};

/// One element, key or value: `end` follows a primitive or a pair; a nested container is laid out
/// by the same rule as the whole.
template <typename Stream, typename T>
void WritePart(Stream& stream, const T& part, const LineLayout& layout, const std::string& end) {
    if constexpr (IsPair<T>::value)
        stream.Write(part, layout.Separator(), end);
    else if constexpr (kIsRawType<T>)
        stream.Write(part, end);
    else if constexpr (IsSpan<T>::value)
        WriteContainer(stream, part, layout.Count(), layout.Separator(), layout.LineEnd());
    else
        stream.Write(part, layout.Count(), layout.Separator(), layout.LineEnd());
}

/// Calls `writeOne` for the elements. Into a final class, elements whose size is known go in runs,
/// as many as fit the stream's buffer; `writeOne` then sees only those that do not fit.
template <typename Stream, typename Container, typename WriteOne>
void WriteEach(Stream& stream, const Container& value, WriteOne writeOne) {
    auto element = value.begin();
    for (std::size_t left = value.size(); left != 0; --left, ++element) {
        if constexpr (std::is_final_v<Stream> && kIsFlat<typename Container::value_type>) {
            left -= stream.PutRun(element, left);
            if (left == 0) return;
        }
        writeOne(*element);
    }
}

template <typename Stream, typename Container>
void WriteElements(Stream& stream, const Container& value, int perLine,
                   const std::string& separator, const std::string& lineEnd) {
    LineLayout layout(perLine, separator, lineEnd);
    WriteEach(stream, value, [&](const auto& element) {
        WritePart(stream, element, layout, layout.Current());
        layout.Advance();
    });
}

template <typename Stream, typename Container>
void WriteCount(Stream& stream, const Container& value, const std::string& lineEnd) {
    stream.CheckOutput();
    stream.Write(static_cast<std::uint64_t>(value.size()), lineEnd);
}

template <typename Stream, typename T>
void WriteContainer(Stream& stream, const Span<const T>& value, int perLine,
                    const std::string& separator, const std::string& lineEnd) {
    WriteCount(stream, value, lineEnd);
    if constexpr (kIsRawType<T>) {
        if (!stream.IsTextMode()) return stream.WriteRaw(value.data(), value.size() * sizeof(T));
    }
    WriteElements(stream, value, perLine, separator, lineEnd);
}

template <typename Stream, typename T>
void WriteContainer(Stream& stream, const std::vector<T>& value, int perLine,
                    const std::string& separator, const std::string& lineEnd) {
    WriteContainer(stream, Span<const T>(value), perLine, separator, lineEnd);
}

template <typename Stream, typename T>
void WriteContainer(Stream& stream, const std::set<T>& value, int perLine,
                    const std::string& separator, const std::string& lineEnd) {
    WriteCount(stream, value, lineEnd);
    WriteElements(stream, value, perLine, separator, lineEnd);
}

/// A key and its value share a line when both are primitives; the position in the line moves on
/// once per entry, between the key and the value.
template <typename Stream, typename Map>
void WriteEntries(Stream& stream, const Map& value, int perLine, const std::string& separator,
                  const std::string& lineEnd) {
    using Entry = typename Map::value_type;
    constexpr bool bothRaw = kIsRawType<std::remove_const_t<typename Entry::first_type>> &&
                             kIsRawType<typename Entry::second_type>;
    WriteCount(stream, value, lineEnd);
    LineLayout layout(perLine, separator, lineEnd);
    WriteEach(stream, value, [&](const auto& entry) {
        WritePart(stream, entry.first, layout, bothRaw ? separator : layout.Current());
        layout.Advance();
        WritePart(stream, entry.second, layout, layout.Current());
    });
}

template <typename Stream, typename Key, typename Value>
void WriteContainer(Stream& stream, const std::map<Key, Value>& value, int perLine,
                    const std::string& separator, const std::string& lineEnd) {
    WriteEntries(stream, value, perLine, separator, lineEnd);
}

/// The second part of a pair: a vector stands one element to a line.
template <typename Stream, typename T>
void WriteSecond(Stream& stream, const T& second, const std::string& firstSeparator,
                 const std::string& secondSeparator) {
    if constexpr (IsPair<T>::value)
        stream.Write(second, firstSeparator, secondSeparator);
    else if constexpr (kIsRawType<T>)
        stream.Write(second, secondSeparator);
    else
        stream.Write(second, 1, firstSeparator, secondSeparator);
}

template <typename Stream, typename First, typename Second>
void WriteContainer(Stream& stream, const std::pair<First, Second>& value,
                    const std::string& firstSeparator, const std::string& secondSeparator) {
    stream.CheckOutput();
    // A pair as first part has the first separator for both of its own.
    WriteSecond(stream, value.first, firstSeparator, firstSeparator);
    WriteSecond(stream, value.second, firstSeparator, secondSeparator);
}

}  // namespace fieldstore

#endif
