// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_CONTAINER_ENCODING_H
#define FIELDSTORE_CONTAINER_ENCODING_H

#include <algorithm>
#include <complex>
#include <cstdint>
#include <map>
#include <set>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "streams/StreamMessages.h"

/// How containers stand in a stream: one rule each for vectors, sets, maps and pairs.
///
/// `Stream` is POStreamIO, whose parts are read and written through virtual operations, so that a
/// derived stream changes every container built on an operation it overrides; or a final class,
/// where the compiler resolves the same calls at compile time.
namespace fieldstore {

/// The largest count of a vector or set that is believed.
inline constexpr std::uint64_t kMaxStreamCount = 10'000'000'000;

/// Whether the elements of a vector lie in memory as they stand in a binary stream.
template <typename T>
inline constexpr bool IsRawType = false;
template <>
inline constexpr bool IsRawType<bool> = true;
template <>
inline constexpr bool IsRawType<char> = true;
template <>
inline constexpr bool IsRawType<unsigned char> = true;
template <>
inline constexpr bool IsRawType<short> = true;
template <>
inline constexpr bool IsRawType<unsigned short> = true;
template <>
inline constexpr bool IsRawType<int> = true;
template <>
inline constexpr bool IsRawType<unsigned int> = true;
template <>
inline constexpr bool IsRawType<long> = true;
template <>
inline constexpr bool IsRawType<unsigned long> = true;
template <>
inline constexpr bool IsRawType<long long> = true;
template <>
inline constexpr bool IsRawType<unsigned long long> = true;
template <>
inline constexpr bool IsRawType<float> = true;
template <>
inline constexpr bool IsRawType<double> = true;
template <>
inline constexpr bool IsRawType<std::complex<float>> = true;
template <>
inline constexpr bool IsRawType<std::complex<double>> = true;

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

/// Sizes `value` to `count` elements and has them read by `readRange(begin, end)`.
///
/// Up to 64 MiB the vector is resized at once. Beyond that it grows as data arrive, within room
/// reserved for what the input can hold, so that a false count costs little memory.
template <typename Stream, typename T, typename ReadRange>
void ReadInSteps(Stream& stream, std::vector<T>& value, std::uint64_t count, ReadRange readRange) {
    constexpr std::uint64_t step = (std::uint64_t{64} << 20) / sizeof(T);
    if (count <= step) {
        value.resize(static_cast<std::size_t>(count));
        return readRange(value.begin(), value.end());
    }
    // The shortest element in a stream: a text digit with its separator, a raw value, a count.
    const std::uint64_t shortest = stream.IsTextMode() ? 2 : std::min<std::size_t>(sizeof(T), 8);
    value.clear();
    value.reserve(static_cast<std::size_t>(std::min(count, stream.RemainingInput() / shortest)));
    for (std::uint64_t done = 0; done < count;) {
        if (done != 0) stream.CheckInput();
        const std::uint64_t next = std::min(count - done, step);
        value.resize(static_cast<std::size_t>(done + next));
        readRange(value.end() - static_cast<std::ptrdiff_t>(next), value.end());
        done += next;
    }
}

template <typename Stream, typename T>
void ReadContainer(Stream& stream, std::vector<T>& value) {
    const std::uint64_t count = ReadLimitedCount(stream);
    if constexpr (IsRawType<T>) {
        if (!stream.IsTextMode()) {
            if (stream.EndsWithEmptyVector(count)) return value.clear();
            return ReadInSteps(stream, value, count, [&stream](auto begin, auto end) {
                const auto elements = static_cast<std::uint64_t>(end - begin);
                stream.ReadRaw(elements == 0 ? nullptr : &*begin, elements * sizeof(T));
            });
        }
    }
    ReadInSteps(stream, value, count, [&stream](auto begin, auto end) {
        for (auto element = begin; element != end; ++element) stream.Read(*element);
    });
}

template <typename Stream, typename T>
void ReadContainer(Stream& stream, std::set<T>& value) {
    const std::uint64_t count = ReadLimitedCount(stream);
    for (std::uint64_t i = 0; i < count; ++i) {
        T element{};
        stream.Read(element);
        value.insert(value.end(), std::move(element));  // they arrive in order
    }
}

template <typename Stream, typename Key, typename Value>
void ReadContainer(Stream& stream, std::map<Key, Value>& value) {
    const std::uint64_t count = ReadCount(stream);
    for (std::uint64_t i = 0; i < count; ++i) {
        Key key{};
        stream.Read(key);
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
    else if constexpr (IsRawType<T>)
        stream.Write(part, end);
    else
        stream.Write(part, layout.Count(), layout.Separator(), layout.LineEnd());
}

template <typename Stream, typename Container>
void WriteElements(Stream& stream, const Container& value, int perLine,
                   const std::string& separator, const std::string& lineEnd) {
    LineLayout layout(perLine, separator, lineEnd);
    for (const auto& element : value) {
        WritePart(stream, element, layout, layout.Current());
        layout.Advance();
    }
}

template <typename Stream, typename Container>
void WriteCount(Stream& stream, const Container& value, const std::string& lineEnd) {
    stream.CheckOutput();
    stream.Write(static_cast<std::uint64_t>(value.size()), lineEnd);
}

template <typename Stream, typename T>
void WriteContainer(Stream& stream, const std::vector<T>& value, int perLine,
                    const std::string& separator, const std::string& lineEnd) {
    WriteCount(stream, value, lineEnd);
    if constexpr (IsRawType<T>) {
        if (!stream.IsTextMode()) return stream.WriteRaw(value.data(), value.size() * sizeof(T));
    }
    WriteElements(stream, value, perLine, separator, lineEnd);
}

template <typename Stream, typename T>
void WriteContainer(Stream& stream, const std::set<T>& value, int perLine,
                    const std::string& separator, const std::string& lineEnd) {
    WriteCount(stream, value, lineEnd);
    WriteElements(stream, value, perLine, separator, lineEnd);
}

/// A key and its value share a line when both are primitives; the position in the line moves on
/// once per entry, between the key and the value.
template <typename Stream, typename Key, typename Value>
void WriteContainer(Stream& stream, const std::map<Key, Value>& value, int perLine,
                    const std::string& separator, const std::string& lineEnd) {
    constexpr bool bothRaw = IsRawType<Key> && IsRawType<Value>;
    WriteCount(stream, value, lineEnd);
    LineLayout layout(perLine, separator, lineEnd);
    for (const auto& [key, mapped] : value) {
        WritePart(stream, key, layout, bothRaw ? separator : layout.Current());
        layout.Advance();
        WritePart(stream, mapped, layout, layout.Current());
    }
}

/// The second part of a pair: a vector stands one element to a line.
template <typename Stream, typename T>
void WriteSecond(Stream& stream, const T& second, const std::string& firstSeparator,
                 const std::string& secondSeparator) {
    if constexpr (IsPair<T>::value)
        stream.Write(second, firstSeparator, secondSeparator);
    else if constexpr (IsRawType<T>)
        stream.Write(second, secondSeparator);
    else
        stream.Write(second, 1, firstSeparator, secondSeparator);
}

template <typename Stream, typename First, typename Second>
void WriteContainer(Stream& stream, const std::pair<First, Second>& value,
                    const std::string& firstSeparator, const std::string& secondSeparator) {
    stream.CheckOutput();
    // A pair as first part is followed by the first separator twice, which reads back the same.
    WriteSecond(stream, value.first, firstSeparator, firstSeparator);
    WriteSecond(stream, value.second, firstSeparator, secondSeparator);
}

}  // namespace fieldstore

#endif
