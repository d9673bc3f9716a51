// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_DETAIL_MPI_BODIES_H
#define FIELDSTORE_DETAIL_MPI_BODIES_H

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <map>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "fieldstore/fieldstore.h"

/// Bodies as bytes in binary mode (docs/file-format.md): what a getter does not give, or what would
/// be lost on the way through one, is taken from there.
namespace fieldstore::mpi::detail {

/// The bytes of an object. Raises std::runtime_error with the object's reason.
inline std::string BytesOf(IPOStorageControl& object, IPOStorageControl::EBytes which) {
    std::string bytes;
    const auto collect = [&bytes](const char* piece, std::size_t count) {
        bytes.append(piece, count);
        return true;
    };
    if (object.WriteBytes(which, false, collect) != 0)
        throw std::runtime_error(object.GetLastError());
    return bytes;
}

/// Puts bytes in place of what an object holds. Raises std::runtime_error with its reason.
inline void TakeBytes(IPOStorageControl& object, const std::string& bytes) {
    if (object.ReadBytes(false, bytes.data(), bytes.size()) != 0)
        throw std::runtime_error(object.GetLastError());
}

/// Takes a body apart. Raises std::runtime_error where it ends too soon.
class BodyParts {
public:
    explicit BodyParts(const std::string& body) : bytes(body) {}

    template <typename T>
    T Take() {
        T value;
        std::memcpy(&value, bytes.data() + Skip(sizeof value), sizeof value);
        return value;
    }
    std::vector<std::int32_t> TakeIntegers() {
        const auto count = Take<std::uint64_t>();
        std::vector<std::int32_t> values(Fitting(count, sizeof(std::int32_t)));
        const std::size_t size = values.size() * sizeof(std::int32_t);
        if (size != 0) std::memcpy(values.data(), bytes.data() + Skip(size), size);
        return values;
    }
    /// Moves over `count` values of `size` bytes; returns where they begin.
    std::size_t Skip(std::uint64_t count, std::size_t size = 1) {
        const std::size_t begin = position;
        position += Fitting(count, size) * size;
        return begin;
    }
    std::size_t Position() const { return position; }

private:
    std::size_t Fitting(std::uint64_t count, std::size_t size) const {
        if (count > (bytes.size() - position) / size) throw std::runtime_error("A body is cut off");
        return static_cast<std::size_t>(count);
    }

    const std::string& bytes;
    std::size_t position = 0;
};

template <typename T>
void Put(std::string& bytes, const T& value) {
    bytes.append(reinterpret_cast<const char*>(&value), sizeof value);
}

// ---- choosing frequencies ----

/// The entries of a body of POModeInfo or POCircuitMatrices, by frequency.
class FrequencyEntries {
public:
    FrequencyEntries(std::string body, bool modes) : bytes(std::move(body)) {
        BodyParts parts(bytes);
        const auto count = parts.Take<std::uint64_t>();
        for (std::uint64_t i = 0; i < count; ++i) {
            const std::size_t begin = parts.Position();
            const auto frequency = parts.Take<std::int64_t>();
            parts.Skip(sizeof(std::int32_t));  // the port, or the type of the matrix
            modes ? SkipModes(parts) : SkipValues(parts, sizeof(double));
            entries.push_back({frequency, begin, parts.Position()});
        }
    }

    /// A body of the entries with these frequencies. Requires: ascending.
    std::string Chosen(const std::vector<std::int64_t>& frequencies) const {
        std::string body;
        std::uint64_t count = 0;
        Put(body, count);
        for (const Entry& entry : entries) {
            if (!std::binary_search(frequencies.begin(), frequencies.end(), entry.frequency))
                continue;
            body.append(bytes, entry.begin, entry.end - entry.begin);
            ++count;
        }
        std::memcpy(body.data(), &count, sizeof count);
        return body;
    }

private:
    struct Entry {
        std::int64_t frequency;
        std::size_t begin;
        std::size_t end;
    };
    static constexpr std::size_t kComplexSize = 2 * sizeof(double);

    static void SkipValues(BodyParts& parts, std::size_t size) {
        const auto count = parts.Take<std::uint64_t>();
        parts.Skip(count, size);
    }
    static void SkipModes(BodyParts& parts) {
        const auto count = parts.Take<std::uint64_t>();
        for (std::uint64_t mode = 0; mode < count; ++mode) {
            parts.Skip(sizeof(std::int32_t) + kComplexSize);  // group and value
            SkipValues(parts, kComplexSize);
        }
    }

    std::string bytes;
    std::vector<Entry> entries;
};

// ---- uniting ----

/// A body of PODOFMap.
struct DOFMapBody {
    std::vector<std::string> rows;  // the bytes of their entries
    std::vector<std::int32_t> types;

    static DOFMapBody From(const std::string& body) {
        constexpr std::size_t entrySize = sizeof(std::int32_t) + sizeof(double);
        BodyParts parts(body);
        DOFMapBody read;
        const auto count = parts.Take<std::uint64_t>();
        for (std::uint64_t row = 0; row < count; ++row) {
            const auto entries = parts.Take<std::uint64_t>();
            const std::size_t begin = parts.Skip(entries, entrySize);
            read.rows.push_back(body.substr(begin, parts.Position() - begin));
        }
        read.types = parts.TakeIntegers();
        return read;
    }
    std::string Bytes() const {
        constexpr std::size_t entrySize = sizeof(std::int32_t) + sizeof(double);
        std::string body;
        Put(body, std::uint64_t{rows.size()});
        for (const auto& row : rows) {
            Put(body, std::uint64_t{row.size() / entrySize});
            body += row;
        }
        Put(body, std::uint64_t{types.size()});
        for (const auto type : types) Put(body, type);
        return body;
    }
    void Unite(DOFMapBody other) {
        const std::size_t ownRows = rows.size();
        if (rows.size() < other.rows.size()) rows.resize(other.rows.size());
        if (types.size() < other.types.size()) types.resize(other.types.size(), 0);
        for (std::size_t row = 0; row < other.rows.size(); ++row) {
            if (other.rows[row].empty()) continue;
            if (row < ownRows && !rows[row].empty() && rows[row] != other.rows[row])
                throw std::runtime_error("row " + std::to_string(row) +
                                         " differs from that of another rank");
            rows[row] = std::move(other.rows[row]);
        }
        for (std::size_t i = 0; i < other.types.size(); ++i) {
            if (other.types[i] == 0) continue;
            if (types[i] != 0 && types[i] != other.types[i])
                throw std::runtime_error("the type of degree of freedom " + std::to_string(i) +
                                         " differs from that of another rank");
            types[i] = other.types[i];
        }
    }
};

/// A body of PODOFList that is stored whole.
struct DOFListBody {
    struct Kind {
        std::int32_t width;
        std::vector<std::int32_t> records;
    };
    static constexpr std::int32_t kUnknown = -1;

    std::int32_t distinctCount;
    std::array<std::int32_t, 5> header;  // the header value and the totals
    std::array<Kind, 4> kinds;

    static DOFListBody From(const std::string& body) {
        BodyParts parts(body);
        DOFListBody read;
        read.distinctCount = parts.Take<std::int32_t>();
        for (auto& value : read.header) value = parts.Take<std::int32_t>();
        for (Kind& kind : read.kinds) {
            kind.width = parts.Take<std::int32_t>();
            kind.records = parts.TakeIntegers();
        }
        return read;
    }
    std::string Bytes() const {
        std::string body;
        Put(body, distinctCount);
        for (const auto value : header) Put(body, value);
        for (const Kind& kind : kinds) {
            Put(body, kind.width);
            Put(body, std::uint64_t{kind.records.size()});
            for (const auto entry : kind.records) Put(body, entry);
        }
        return body;
    }
    void Unite(const DOFListBody& other) {
        const bool known = distinctCount != kUnknown && other.distinctCount != kUnknown;
        distinctCount = known ? distinctCount + other.distinctCount : kUnknown;
        if (header != other.header)
            throw std::runtime_error("header values differ from those of another rank");
        for (std::size_t i = 0; i < kinds.size(); ++i) {
            Kind& kind = kinds[i];
            const Kind& more = other.kinds[i];
            if (more.records.empty()) continue;
            if (kind.records.empty()) kind.width = more.width;
            if (kind.width != more.width)
                throw std::runtime_error("records are as wide as those of no other rank");
            kind.records.insert(kind.records.end(), more.records.begin(), more.records.end());
        }
    }
};

template <typename Body>
void UniteBodies(IPOBase& into, const std::string& bytes) {
    auto& control = Control(into);
    Body united = Body::From(BytesOf(control, IPOStorageControl::eBody));
    united.Unite(Body::From(bytes));
    TakeBytes(control, united.Bytes());
}

inline void UniteMeshTrees(IPOMeshTree& into, IPOMeshTree& other) {
    auto ids = into.GetIds();
    ids.insert(other.GetIds().begin(), other.GetIds().end());
    auto pairs = into.GetIdPairs();
    pairs.insert(other.GetIdPairs().begin(), other.GetIdPairs().end());
    into.SetIds(ids);
    into.SetIdPairs(pairs);
}

inline void UnitePorts(IPOPortCircuitDOFs& into, IPOPortCircuitDOFs& other) {
    struct Data {
        std::array<int, 4> counts{};
        std::map<int, int> table;
        explicit Data(IPOPortCircuitDOFs& of) {
            of.GetData(counts[0], counts[1], counts[2], counts[3], table);
        }
    };
    Data united(into);
    const Data more(other);
    if (united.counts != more.counts)
        throw std::runtime_error("counts differ from those of another rank");
    for (const auto& [position, dof] : more.table)
        if (united.table.emplace(position, dof).first->second != dof)
            throw std::runtime_error("position " + std::to_string(position) +
                                     " differs from that of another rank");
    into.SetData(united.counts[0], united.counts[1], united.counts[2], united.counts[3],
                 united.table);
}

/// Adds the data of another object of the class, given as bytes. Raises std::runtime_error where
/// the two contradict each other; `into` may then hold a part of them.
inline void Unite(IPOBase& into, const std::string& className, const std::string& bytes) {
    if (className == ClassName<IPODOFMap>::value) return UniteBodies<DOFMapBody>(into, bytes);
    if (className == ClassName<IPODOFList>::value) return UniteBodies<DOFListBody>(into, bytes);
    if (className == ClassName<IPOMeshTree>::value) {
        const auto other = Create<IPOMeshTree>();
        TakeBytes(Control(Storage(other)), bytes);
        return UniteMeshTrees(dynamic_cast<IPOMeshTree&>(into), *other);
    }
    if (className == ClassName<IPOPortCircuitDOFs>::value) {
        const auto other = Create<IPOPortCircuitDOFs>();
        TakeBytes(Control(Storage(other)), bytes);
        return UnitePorts(dynamic_cast<IPOPortCircuitDOFs&>(into), *other);
    }
    throw std::runtime_error("a second rank has one, and two of them cannot be united");
}

}  // namespace fieldstore::mpi::detail

#endif
