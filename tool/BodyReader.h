// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_BODY_READER_H
#define FIELDSTORE_TOOL_BODY_READER_H

#include <algorithm>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "streams/Limits.h"
#include "streams/MemorySize.h"
#include "streams/POStreamFileIO.h"
#include "streams/StreamMessages.h"
#include "tool/Bodies.h"
#include "tool/Slice.h"
#include "tool/StreamedBodies.h"
#include "tool/Walk.h"
#include "tool/WholeEntries.h"

namespace fieldstore::tool {

/// Whether the last number of a text file must have something behind it.
enum class LastNumber { Ended, Trusted };

/// Why the bytes from an offset on are not what they should be.
struct Fault : std::runtime_error {
    Fault(std::uint64_t where, bool isCut, const std::string& cause, bool onlyLastNumber = false)
        : std::runtime_error(cause), offset(where), cut(isCut), lastNumber(onlyLastNumber) {}
    std::uint64_t offset;
    bool cut;         // they are, as far as they go: the file ends too early
    bool lastNumber;  // nothing is missing, unless digits of the last number
};

/// Where a field stands in the file. Only fields of several entries have more than an offset.
struct FieldPlace {
    std::string_view name;
    std::uint64_t offset = 0;
    std::uint64_t entrySize = 0;            // when all have the same
    std::vector<std::uint64_t> entries;     // when they have not
    std::vector<std::uint64_t> repeated;    // entries whose key the field has already
    std::vector<std::uint64_t> disordered;  // entries before which they should stand
};

/// Where a body and its parts stand in the file, field by field in the order of the file.
struct Layout {
    std::uint64_t begin = 0;
    std::uint64_t end = 0;
    std::vector<FieldPlace> fields;
    std::vector<std::string> oddities;  // about bookmarks
    std::vector<std::uint64_t> oddityOffsets;

    /// The offset of a field; of an entry, or of the field when entries do not stand in order. That
    /// of the body when it has no such field.
    std::uint64_t Of(std::string_view field) const;
    std::uint64_t Of(std::string_view field, std::size_t entry) const;
};

/// Visitor that reads a body with the operations of the library's stream, and notes where it is.
///
/// Containers are taken entry by entry rather than in one call, because an offset and a repeated
/// key are to be told; each entry is read by the stream.
///
/// After a Fault the stream is anywhere, and no further body can be read.
class BodyReader {
public:
    /// Requires: an open input, which outlives the reader, and the length of its file. Entries
    /// that the slice does not want are passed over.
    BodyReader(POStreamFileIO& input, std::uint64_t size, Slice wanted = {},
               LastNumber last = LastNumber::Ended)
        : stream(input), fileSize(size), slice(std::move(wanted)), lastNumber(last) {}

    /// Reads one body from the stream's position; raises Fault. Of a list in blocks, the body then
    /// has those that are whole. Requires: a new body.
    template <typename Body>
    Layout Read(Body& body) {
        return Guarded([&] { Body::Visit(body, *this); });
    }
    Layout Read(BlockedDOFListBody& body) {
        return Guarded([&] {
            BlockedDOFListHeader::Visit(body, *this);
            ReadBlocks(body);
        });
    }

    template <typename T>
    void operator()(const Field& field, T& value) {
        layout.fields.push_back({field.name, NextOffset(), 0, {}, {}, {}});
        filter = slice.Of(field);
        ReadField(value);
        RequireGood();
    }

private:
    template <typename Action>
    Layout Guarded(const Action& action);
    void ReadBlocks(BlockedDOFListBody& body);
    void ReadBlock(BlockedDOFListBody& body, int number, std::int64_t bookmark);

    template <typename T>
    void ReadField(T& value) {
        stream.Read(value);
    }
    /// A part of an entry. Unlike the stream's own operations these get no memory for more elements
    /// than arrive, so that guessing at a foreign file is cheap.
    template <typename T>
    void ReadPart(T& value) {
        stream.Read(value);
    }
    template <typename A, typename B>
    void ReadPart(std::pair<A, B>& value) {
        ReadPart(value.first);
        ReadPart(value.second);
    }
    template <typename T>
    void ReadPart(std::vector<T>& value);
    template <typename T>
    void ReadElements(std::vector<T>& value, std::uint64_t count);
    template <typename T>
    void ReadField(std::vector<T>& value);
    template <typename K, typename V>
    void ReadField(std::map<K, V>& value);
    template <typename T>
    void ReadField(std::set<T>& value);
    template <typename T>
    void ReadField(std::vector<std::vector<T>>& value);
    // Fields whose values stay in the file: what the keys lead to is passed over.
    template <typename K, typename V>
    void ReadField(StreamedMap<K, V>& value);
    template <typename T>
    void ReadField(StreamedRows<T>& value);
    template <typename T>
    void ReadField(SortedSet<T>& value);
    /// Skips entries in the buffer, at most so many; returns how many. As one by one, but faster.
    template <typename K, typename V>
    std::uint64_t SkipWholeEntries(StreamedMap<K, V>& value, std::uint64_t most);
    template <typename T>
    Extent<std::vector<T>> SkipValue(const std::vector<T>* type);
    template <typename T>
    std::uint64_t SkipElements();

    /// `notesEntries`: whether the offset of each will be noted.
    template <typename Entry>
    std::uint64_t ReadCount(bool notesEntries = true);
    Fault BeyondMemory() const {
        return Fault(entryOffset, false, "a count asks for more memory than there is");
    }
    Fault ImpossibleCount(std::uint64_t offset, std::uint64_t count, std::uint64_t least,
                          std::uint64_t left) const;
    /// Notes where the entry begins that comes next.
    void BeginEntry(std::uint64_t number);
    template <typename Container, typename Key>
    void NoteOrder(const Container& container, const Key& key, std::uint64_t number);
    std::uint64_t NextOffset();
    void RequireGood();
    /// The fault that the stream's refusal stands for.
    Fault Explain(const std::runtime_error& error);

    POStreamFileIO& stream;
    std::uint64_t fileSize;
    Slice slice;
    LastNumber lastNumber;
    KeyFilter filter;  // of the field at hand
    Layout layout;
    std::uint64_t entryOffset = 0;
    bool firstBody = true;
};

template <typename Action>
Layout BodyReader::Guarded(const Action& action) {
    layout = Layout();
    layout.begin = NextOffset();
    entryOffset = layout.begin;
    try {
        action();
        // A number that touches the end of the file may have lost digits.
        if (stream.IsTextMode() && stream.NumberMetEnd() && lastNumber == LastNumber::Ended)
            throw Fault(entryOffset, true, "the file ends inside a number", true);
    } catch (const Fault&) {
        throw;
    } catch (const std::ios_base::failure&) {
        throw;
    } catch (const std::bad_alloc&) {
        throw BeyondMemory();
    } catch (const std::length_error&) {
        throw BeyondMemory();
    } catch (const std::runtime_error& error) {
        throw Explain(error);
    }
    layout.end = std::max(layout.end, stream.Tell());
    firstBody = false;
    return std::move(layout);
}

/// Requires: a container that is not empty.
template <typename K, typename V>
const K& LastKey(const std::map<K, V>& map) {
    return map.rbegin()->first;
}
template <typename T>
const T& LastKey(const std::set<T>& set) {
    return *set.rbegin();
}

template <typename K, typename V>
void BodyReader::ReadField(std::map<K, V>& value) {
    const auto count = ReadCount<std::pair<K, V>>();
    for (std::uint64_t i = 0; i < count; ++i) {
        BeginEntry(i);
        K key{};
        V mapped{};
        stream.Read(key);
        ReadPart(mapped);
        RequireGood();
        NoteOrder(value, key, i);
        if (!filter.Has(key)) continue;
        if constexpr (kExistingKey<std::map<K, V>> == ExistingKey::Replace)
            value.insert_or_assign(value.end(), std::move(key), std::move(mapped));
        else
            value.emplace_hint(value.end(), std::move(key), std::move(mapped));
    }
}

template <typename T>
void BodyReader::ReadField(std::set<T>& value) {
    const auto count = ReadCount<T>();
    for (std::uint64_t i = 0; i < count; ++i) {
        BeginEntry(i);
        T element{};
        stream.Read(element);
        RequireGood();
        NoteOrder(value, element, i);
        value.insert(value.end(), element);
    }
}

/// Elements of fixed size are not looked at.
template <typename T>
std::uint64_t BodyReader::SkipElements() {
    std::uint64_t count = 0;
    stream.Read(count);
    if (count > kMaxStreamCount) throw std::runtime_error(messages::kBadValueCount);
    if (stream.IsTextMode())
        stream.SkipNumbers(count * kNumbers<T>);
    else
        stream.SkipBytes(count * tool::kFixedSize<T>);
    return count;
}

template <typename T>
Extent<std::vector<T>> BodyReader::SkipValue(const std::vector<T>* /*type*/) {
    Extent<std::vector<T>> extent;
    if constexpr (tool::kFixedSize<T> != 0) {
        extent.count = SkipElements<T>();
    } else {
        using Head = typename T::first_type;
        stream.Read(extent.count);
        if (extent.count > kMaxStreamCount) throw std::runtime_error(messages::kBadValueCount);
        for (std::uint64_t i = 0; i < extent.count; ++i) {
            if (stream.IsTextMode())
                stream.SkipNumbers(kNumbers<Head>);
            else
                stream.SkipBytes(tool::kFixedSize<Head>);
            const auto inner = SkipElements<typename T::second_type::value_type>();
            if (i == 0) extent.inner = inner;
            if (extent.inner != inner) extent.inner = kUneven;
        }
    }
    return extent;
}

template <typename K, typename V>
std::uint64_t BodyReader::SkipWholeEntries(StreamedMap<K, V>& value, std::uint64_t most) {
    std::uint64_t skipped = 0;
    if constexpr (kIsRawVector<V>) {
        std::uint64_t offset = stream.Tell();
        const auto skip = [&](const K& key, const char* /*values*/, std::uint64_t count,
                              std::uint64_t bytes) {
            value.CountEntry();
            if (filter.Has(key)) value.Add({key, offset, {count}});
            entryOffset = offset;
            offset += bytes;
            ++skipped;
        };
        TakeWholeEntries<K, typename V::value_type>(stream, most, skip);
    }
    return skipped;
}

template <typename K, typename V>
void BodyReader::ReadField(StreamedMap<K, V>& value) {
    const auto count = ReadCount<std::pair<K, V>>(false);
    if (!filter.IsActive()) value.Reserve(count);
    for (std::uint64_t i = 0; i < count; ++i) {
        i += SkipWholeEntries(value, count - i);
        if (i == count) break;
        entryOffset = NextOffset();
        K key{};
        ReadEach<K>(stream, 1, [&key](const K& read) { key = read; });
        const auto extent = SkipValue(static_cast<const V*>(nullptr));
        RequireGood();
        value.CountEntry();
        if (filter.Has(key)) value.Add({key, entryOffset, extent});
    }
    value.EndBody();
}

template <typename T>
void BodyReader::ReadField(StreamedRows<T>& value) {
    const auto count = ReadCount<std::vector<T>>(false);
    for (std::uint64_t i = 0; i < count; ++i) {
        entryOffset = NextOffset();
        if (i == 0) value.Place(entryOffset);
        value.Add(SkipElements<T>());
        RequireGood();
    }
}

template <typename T>
void BodyReader::ReadField(SortedSet<T>& value) {
    const auto count = ReadCount<T>(false);
    ReadElements(static_cast<std::vector<T>&>(value), count);
    RequireGood();
    value.Normalise();
}

template <typename T>
void BodyReader::ReadElements(std::vector<T>& value, std::uint64_t count) {
    constexpr std::uint64_t atOnce = 4096;
    if constexpr (kIsRawType<T>) {
        if (!stream.IsTextMode()) {
            if (stream.EndsWithEmptyVector(count)) return;
            if (count > kReadDirectly / sizeof(T)) return stream.ReadLarge(value, count, 0);
            value.resize(static_cast<std::size_t>(count));
            return stream.ReadRaw(value.data(), count * sizeof(T));
        }
    }
    value.reserve(static_cast<std::size_t>(std::min(count, atOnce)));
    if constexpr (tool::kFixedSize<T> != 0)
        ReadEach<T>(stream, count, [&value](const T& read) { value.push_back(read); });
    else
        for (std::uint64_t i = 0; i < count; ++i) ReadPart(value.emplace_back());
}

template <typename T>
void BodyReader::ReadPart(std::vector<T>& value) {
    std::uint64_t count = 0;
    stream.Read(count);
    if (count > kMaxStreamCount) throw std::runtime_error(messages::kBadValueCount);
    ReadElements(value, count);
}

/// Numbers, in one call. In a foreign file the count in front of them is nonsense, and told first;
/// behind a whole body it need not be suspected.
template <typename T>
void BodyReader::ReadField(std::vector<T>& value) {
    if (stream.IsTextMode()) return ReadPart(value);
    if (firstBody)
        ReadElements(value, ReadCount<T>());
    else
        ReadPart(value);
    layout.fields.back().entrySize = sizeof(T);
}

template <typename T>
void BodyReader::ReadField(std::vector<std::vector<T>>& value) {
    const auto count = ReadCount<std::vector<T>>();
    for (std::uint64_t i = 0; i < count; ++i) {
        BeginEntry(i);
        ReadPart(value.emplace_back());
        RequireGood();
    }
}

/// A count that the rest of the file cannot hold is recognised before anything is read for it.
template <typename Entry>
std::uint64_t BodyReader::ReadCount(bool notesEntries) {
    const std::uint64_t offset = NextOffset();
    std::uint64_t count = 0;
    stream.Read(count);
    RequireGood();
    const bool text = stream.IsTextMode();
    const std::uint64_t least =
        text ? (kIsContainer<Entry> ? 2 : kLeastText<Entry>) : std::uint64_t{kLeastSize<Entry>};
    const std::uint64_t left = fileSize - stream.Tell();
    if (count > left / least) throw ImpossibleCount(offset, count, least, left);
    FieldPlace& place = layout.fields.back();
    if (!text) place.entrySize = kFixedSize<Entry>;
    if (place.entrySize == 0 && notesEntries) place.entries.reserve(MemorySize(count));
    return count;
}

template <typename Container, typename Key>
void BodyReader::NoteOrder(const Container& container, const Key& key, std::uint64_t number) {
    if (container.empty()) return;
    if (container.key_comp()(LastKey(container), key)) return;
    FieldPlace& place = layout.fields.back();
    const auto offset = place.entrySize != 0
                            ? place.offset + sizeof(std::uint64_t) + number * place.entrySize
                            : place.entries.back();
    (container.count(key) != 0 ? place.repeated : place.disordered).push_back(offset);
}

}  // namespace fieldstore::tool

#endif
