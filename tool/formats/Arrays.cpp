// SPDX-License-Identifier: Apache-2.0
#include "tool/formats/Arrays.h"

#include <algorithm>
#include <array>
#include <map>
#include <numeric>
#include <optional>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>

#include "objects/Field.h"
#include "tool/Bodies.h"
#include "tool/Streamed.h"
#include "tool/Walk.h"

namespace fieldstore::tool {
namespace {

using Path = std::vector<std::string>;
using Names = std::vector<std::string>;

template <typename T>
constexpr Element ElementOf() {
    if constexpr (kIsComplex<T>) return Element::Complex128;
    if constexpr (std::is_same_v<T, double>) return Element::Float64;
    if constexpr (std::is_same_v<T, std::uint64_t>) return Element::UInt64;
    if constexpr (std::is_same_v<T, std::int64_t>) return Element::Int64;
    if constexpr (std::is_same_v<T, std::uint32_t>) return Element::UInt32;
    if constexpr (std::is_same_v<T, int>) return Element::Int32;
}

Path With(Path path, const std::string& name) {
    path.push_back(name);
    return path;
}

/// An array of one type while it is written; values go to the sink many at a time.
template <typename T>
class Column {
public:
    Column(ArraySink& sink, Path path, std::vector<std::uint64_t> shape, Names dimensions,
           const std::string& unit = "")
        : writer(sink.Begin(
              {std::move(path), ElementOf<T>(), std::move(shape), std::move(dimensions), unit})) {}

    void Put(const T& value) {
        values.push_back(value);
        if (values.size() == kAtOnce) Flush();
    }
    void Put(const T* begin, std::size_t count) {
        if (values.size() + count > kAtOnce) Flush();
        if (count > kAtOnce) return writer->Put(begin, count * sizeof(T));
        values.insert(values.end(), begin, begin + count);
    }
    void Close() {
        Flush();
        writer->Close();
    }

private:
    static constexpr std::size_t kAtOnce = 4096;

    void Flush() {
        if (!values.empty()) writer->Put(values.data(), values.size() * sizeof(T));
        values.clear();
    }

    std::unique_ptr<ArrayWriter> writer;
    std::vector<T> values;
};

/// Vectors end to end, and where each begins; the last number is the total.
template <typename T>
class Ragged {
public:
    Ragged(ArraySink& sink, const Path& path, const std::string& name, const std::string& rows)
        : begins(sink, With(path, name + "_begin"), {ArrayInfo::kOpen}, {rows}),
          values(sink, With(path, name), {ArrayInfo::kOpen}, {"value"}) {
        begins.Put(0);
    }

    template <typename Values>
    void Put(const Values& row) {
        values.Put(row.data(), row.size());
        total += row.size();
        begins.Put(total);
    }
    void Close() {
        begins.Close();
        values.Close();
    }

private:
    Column<std::uint64_t> begins;
    Column<T> values;
    std::uint64_t total = 0;
};

void PutValue(ArraySink& sink, const Field& field, int value) {
    const Path path{std::string(field.name)};
    if (field.parts.front().isId) {
        Column<std::uint32_t> column(sink, path, {}, {});
        column.Put(static_cast<std::uint32_t>(value));
        return column.Close();
    }
    Column<int> column(sink, path, {}, {});
    column.Put(value);
    column.Close();
}

template <typename T>
void PutVector(ArraySink& sink, const Path& path, const std::vector<T>& values) {
    Column<T> column(sink, path, {values.size()}, {"number"});
    column.Put(values.data(), values.size());
    column.Close();
}

/// Records of a width as a matrix.
void PutRecords(ArraySink& sink, const Path& path, const Ints& entries, int width) {
    const auto columns = static_cast<std::uint64_t>(std::max(width, 0));
    if (columns == 0 || entries.size() % columns != 0) return PutVector(sink, path, entries);
    Column<int> column(sink, path, {entries.size() / columns, columns}, {"record", "entry"});
    column.Put(entries.data(), entries.size());
    column.Close();
}

/// The length that all values of a series have, and how many there are.
struct SeriesShape {
    std::uint64_t rows = 0;
    std::uint64_t length = 0;
    std::uint64_t inner = 0;

    void Take(std::uint64_t count, std::uint64_t innerCount = 0) {
        if (rows++ == 0) {
            length = count;
            inner = innerCount;
        }
        if (length != count) length = kUneven;
        if (inner != innerCount) inner = kUneven;
    }
    bool IsEven() const { return length != kUneven && inner != kUneven; }
    /// The dimension of square matrices of that length, 0 when these are none.
    std::uint64_t Dimension() const {
        if (length == kUneven) return 0;
        std::uint64_t dimension = 0;
        while ((dimension + 1) * (dimension + 1) <= length) ++dimension;
        return dimension * dimension == length ? dimension : 0;
    }
};

// More series than this are written in several walks, since each has several files open at once.
constexpr std::size_t kSeriesAtOnce = 50;

/// Calls `walk(series)` for groups of at most so many series.
template <typename Shapes, typename Walk>
void InGroups(const Shapes& shapes, const Walk& walk) {
    for (auto begin = shapes.begin(); begin != shapes.end();) {
        Shapes group;
        for (; begin != shapes.end() && group.size() < kSeriesAtOnce; ++begin) group.insert(*begin);
        walk(group);
    }
}

/// The modes of one port over frequency.
class ModeSeries {
public:
    using Records = std::vector<ModeInfoBody::Record>;

    ModeSeries(ArraySink& sink, const Path& path, const SeriesShape& shape)
        : frequency(sink, With(path, "frequency"), {shape.rows}, {"frequency"}, "Hz") {
        if (!shape.IsEven() || shape.inner % 2 != 0) {
            raggedGroup.emplace(sink, path, "group", "frequency");
            raggedGamma.emplace(sink, path, "gamma", "frequency");
            raggedData.emplace(sink, path, "data", "mode");
            return;
        }
        const std::vector<std::uint64_t> modes{shape.rows, shape.length};
        const std::vector<std::uint64_t> values{shape.rows, shape.length, shape.inner / 2};
        const Names names{"frequency", "mode"}, valueNames{"frequency", "mode", "index"};
        group.emplace(sink, With(path, "group"), modes, names);
        gamma.emplace(sink, With(path, "gamma"), modes, names);
        voltage.emplace(sink, With(path, "voltage"), values, valueNames);
        current.emplace(sink, With(path, "current"), values, valueNames);
    }

    void Put(std::int64_t at, const Records& records) {
        frequency.Put(at);
        if (raggedData) return PutRagged(records);
        for (const auto& [head, data] : records) {
            const std::size_t half = data.size() / 2;
            group->Put(head.first);
            gamma->Put(head.second);
            voltage->Put(data.data(), half);
            current->Put(data.data() + half, half);
        }
    }
    void Close() {
        frequency.Close();
        for (auto* column : {&gamma, &voltage, &current})
            if (*column) (*column)->Close();
        if (group) group->Close();
        if (raggedGroup) raggedGroup->Close();
        if (raggedGamma) raggedGamma->Close();
        if (raggedData) raggedData->Close();
    }

private:
    void PutRagged(const Records& records) {
        Ints groups;
        std::vector<Complex> gammas;
        for (const auto& [head, data] : records) {
            groups.push_back(head.first);
            gammas.push_back(head.second);
            raggedData->Put(data);
        }
        raggedGroup->Put(groups);
        raggedGamma->Put(gammas);
    }

    Column<std::int64_t> frequency;
    std::optional<Column<int>> group;
    std::optional<Column<Complex>> gamma, voltage, current;
    std::optional<Ragged<int>> raggedGroup;
    std::optional<Ragged<Complex>> raggedGamma, raggedData;
};

/// The values of one type of matrices or metrics.
class ValueSeries {
public:
    ValueSeries(ArraySink& sink, const Path& path, std::vector<std::uint64_t> shape, Names names) {
        if (shape.size() > 1)
            even.emplace(sink, With(path, "values"), std::move(shape), std::move(names));
        else
            ragged.emplace(sink, path, "values", names.front());
    }
    void Put(const Doubles& values) {
        if (even) return even->Put(values.data(), values.size());
        ragged->Put(values);
    }
    void Close() {
        if (even) even->Close();
        if (ragged) ragged->Close();
    }

private:
    std::optional<Column<double>> even;
    std::optional<Ragged<double>> ragged;
};

struct MatrixSeries {
    Column<std::int64_t> frequency;
    ValueSeries values;

    static std::vector<std::uint64_t> Shape(const SeriesShape& shape) {
        const std::uint64_t dimension = shape.Dimension();
        if (dimension == 0) return {ArrayInfo::kOpen};
        return {shape.rows, dimension, dimension};
    }
    MatrixSeries(ArraySink& sink, const Path& path, const SeriesShape& shape)
        : frequency(sink, With(path, "frequency"), {shape.rows}, {"frequency"}, "Hz"),
          values(sink, path, Shape(shape), {"frequency", "row", "column"}) {}
    void Put(const std::pair<std::int64_t, int>& key, const Doubles& matrix) {
        frequency.Put(key.first);
        values.Put(matrix);
    }
    void Close() {
        frequency.Close();
        values.Close();
    }
};

struct MetricSeries {
    Column<std::uint32_t> index, entity;
    ValueSeries values;

    static std::vector<std::uint64_t> Shape(const SeriesShape& shape) {
        if (!shape.IsEven()) return {ArrayInfo::kOpen};
        return {shape.rows, shape.length};
    }
    MetricSeries(ArraySink& sink, const Path& path, const SeriesShape& shape)
        : index(sink, With(path, "index"), {shape.rows}, {"entry"}),
          entity(sink, With(path, "entity"), {shape.rows}, {"entry"}),
          values(sink, path, Shape(shape), {"entry", "component"}) {}
    void Put(const std::pair<int, std::pair<int, int>>& key, const Doubles& row) {
        index.Put(static_cast<std::uint32_t>(key.second.first));
        entity.Put(static_cast<std::uint32_t>(key.second.second));
        values.Put(row);
    }
    void Close() {
        index.Close();
        entity.Close();
        values.Close();
    }
};

/// Visitor that hands over fields.
class FieldPutter {
public:
    explicit FieldPutter(ArraySink& target) : sink(target) {}

    void operator()(const Field& field, const int& value) { PutValue(sink, field, value); }
    template <typename T>
    void operator()(const Field& field, const std::vector<T>& values) {
        PutVector(sink, {std::string(field.name)}, values);
    }
    void operator()(const Field& field, const std::map<int, int>& table) {
        Ints keys, values;
        for (const auto& [key, value] : table) {
            keys.push_back(key);
            values.push_back(value);
        }
        PutVector(sink, PartPath(field, 0), keys);
        PutVector(sink, PartPath(field, 1), values);
    }
    void operator()(const Field& field, const std::map<int, std::pair<int, int>>& definitions) {
        Ints types, functions;
        std::vector<std::uint32_t> counts;
        for (const auto& [type, definition] : definitions) {
            types.push_back(type);
            counts.push_back(static_cast<std::uint32_t>(definition.first));
            functions.push_back(definition.second);
        }
        PutVector(sink, PartPath(field, 0), types);
        PutVector(sink, PartPath(field, 1), counts);
        PutVector(sink, PartPath(field, 2), functions);
    }
    /// Of a class without a streamed form.
    template <typename K, typename V>
    void operator()(const Field& field, const std::map<K, V>& map) {
        StreamedMap<K, V> held;
        held.Hold(map);
        (*this)(field, held);
    }
    void operator()(const Field& field, const SortedSet<int>& ids) {
        PutVector(sink, {std::string(field.name)}, static_cast<const Ints&>(ids));
    }
    void operator()(const Field& field, const SortedSet<std::pair<int, int>>& pairs) {
        Column<int> first(sink, PartPath(field, 0), {pairs.size()}, {"pair"});
        Column<int> second(sink, PartPath(field, 1), {pairs.size()}, {"pair"});
        for (const auto& [one, other] : pairs) {
            first.Put(one);
            second.Put(other);
        }
        first.Close();
        second.Close();
    }
    void operator()(const Field& field, const StreamedRows<std::pair<int, double>>& rows) {
        Column<std::uint64_t> begins(sink, With({std::string(field.name)}, "begin"),
                                     {rows.Size() + 1}, {"row"});
        Column<int> column(sink, PartPath(field, 0), {rows.Total()}, {"entry"});
        Column<double> weight(sink, PartPath(field, 1), {rows.Total()}, {"entry"});
        std::uint64_t total = 0;
        begins.Put(total);
        rows.ForEach([&](const auto& row) {
            for (const auto& [number, factor] : row) {
                column.Put(number);
                weight.Put(factor);
            }
            begins.Put(total += row.size());
        });
        begins.Close();
        column.Close();
        weight.Close();
    }
    /// Vectors of numbers by id: a matrix where positions and edges all have the same length.
    template <typename T>
    void operator()(const Field& field, const StreamedMap<int, std::vector<T>>& map) {
        const Path path{std::string(field.name)};
        const bool mayBeEven = field.name == "positions" || field.name == "edges";
        SeriesShape shape;
        map.ForKeys([&shape](int, const auto& extent) { shape.Take(extent.count); });
        const std::string value(field.parts[field.parts[1].name.empty() ? 0 : 1].name);
        const auto put = [&](auto& keys, auto& values) {
            using Key = std::decay_t<decltype(keys)>;
            map.ForEach([&](int key, const std::vector<T>& row) {
                if constexpr (std::is_same_v<Key, Column<int>>)
                    keys.Put(key);
                else
                    keys.Put(static_cast<std::uint32_t>(key));
                values(row);
            });
            keys.Close();
        };
        const auto withKeys = [&](auto values) {
            if (field.parts.front().isId) {
                Column<std::uint32_t> keys(sink, PartPath(field, 0), {shape.rows}, {"entry"});
                return put(keys, values);
            }
            Column<int> keys(sink, PartPath(field, 0), {shape.rows}, {"entry"});
            put(keys, values);
        };
        if (mayBeEven && shape.IsEven()) {
            Column<T> values(sink, With(path, value), {shape.rows, shape.length},
                             {"entry", "component"});
            withKeys([&](const std::vector<T>& row) { values.Put(row.data(), row.size()); });
            return values.Close();
        }
        Ragged<T> values(sink, path, value, "entry");
        withKeys([&](const std::vector<T>& row) { values.Put(row); });
        values.Close();
    }
    void operator()(const Field& field, const decltype(StreamedModeInfo::modes)& modes) {
        const auto port = [](const auto& key) { return key.second; };
        PutSeries<ModeSeries>(field, modes, "port", port,
                              [](auto& series, const auto& key, const auto& records) {
                                  series.Put(key.first, records);
                              });
    }
    void operator()(const Field& field, const decltype(StreamedMatrices::matrices)& matrices) {
        const auto type = [](const auto& key) { return key.second; };
        PutSeries<MatrixSeries>(
            field, matrices, "type", type,
            [](auto& series, const auto& key, const auto& values) { series.Put(key, values); });
    }
    void operator()(const Field& field, const decltype(StreamedMetrics::values)& values) {
        const auto type = [](const auto& key) { return key.first; };
        PutSeries<MetricSeries>(
            field, values, "type", type,
            [](auto& series, const auto& key, const auto& row) { series.Put(key, row); });
    }
    /// Blocks end to end, as there may be many; each array tells in which record a block begins.
    void operator()(const Field& field, const std::map<int, BlockedDOFListBody::Block>& blocks) {
        constexpr std::array<std::string_view, 5> names{"records1", "records2", "records3",
                                                        "records4", "extra2"};
        Ints numbers;
        for (const auto& block : blocks) numbers.push_back(block.first);
        const Path path{std::string(field.name)};
        PutVector(sink, With(path, "block"), numbers);
        for (std::size_t k = 0; k < names.size(); ++k) {
            Ragged<int> values(sink, path, std::string(names[k]), "block");
            for (const auto& block : blocks)
                values.Put(*BlockedDOFListBody::Arrays(block.second)[k]);
            values.Close();
        }
    }

private:
    static Path PartPath(const Field& field, std::size_t part) {
        return {std::string(field.name), std::string(field.parts[part].name)};
    }

    /// A map whose keys name a series: each becomes arrays of its own.
    template <typename Series, typename Map, typename Of, typename Put>
    void PutSeries(const Field& field, const Map& map, const std::string& name, const Of& of,
                   const Put& put) {
        std::map<int, SeriesShape> shapes;
        map.ForKeys([&](const auto& key, const auto& extent) {
            if constexpr (std::is_same_v<Series, ModeSeries>)
                shapes[of(key)].Take(extent.count, extent.count == 0 ? 0 : extent.inner);
            else
                shapes[of(key)].Take(extent.count);
        });
        InGroups(shapes, [&](const auto& group) {
            std::map<int, Series> open;
            for (const auto& [number, shape] : group)
                open.try_emplace(number, sink,
                                 Path{std::string(field.name), name + std::to_string(number)},
                                 shape);
            map.ForEachIf(
                [&](const auto& key) { return open.count(of(key)) != 0; },
                [&](const auto& key, const auto& value) { put(open.at(of(key)), key, value); });
            for (auto& entry : open) entry.second.Close();
        });
    }

    ArraySink& sink;
};

/// The records of a DOF list have widths.
void Put(const DOFListBody& body, FieldPutter& putter, ArraySink& sink) {
    const auto put = [&](const Field& field, const auto& value) {
        if constexpr (!std::is_same_v<std::decay_t<decltype(value)>, Ints>)
            return putter(field, value);
        else {
            const std::array<std::pair<std::string_view, int>, 4> widths{
                {{"records1", body.width1},
                 {"records2", body.width2},
                 {"records3", body.width3},
                 {"records4", body.width4}}};
            for (const auto& [name, width] : widths)
                if (name == field.name) PutRecords(sink, {std::string(name)}, value, width);
        }
    };
    DOFListBody::Visit(body, put);
}

template <typename Body>
void Put(const Body& body, FieldPutter& putter, ArraySink& /*sink*/) {
    Body::Visit(body, putter);
}

}  // namespace

std::size_t SizeOf(Element type) {
    switch (type) {
        case Element::Int32:
        case Element::UInt32:
            return sizeof(std::int32_t);
        case Element::Complex128:
            return sizeof(Complex);
        default:
            return sizeof(std::int64_t);
    }
}

std::uint64_t ArrayInfo::RowLength() const {
    if (shape.empty()) return 1;
    return std::accumulate(shape.begin() + 1, shape.end(), std::uint64_t{1},
                           [](std::uint64_t a, std::uint64_t b) { return a * b; });
}

void PutArrays(const AnyStreamed& data, ArraySink& sink) {
    FieldPutter putter(sink);
    std::visit([&](const auto& body) { Put(body, putter, sink); }, data);
}

}  // namespace fieldstore::tool
