// SPDX-License-Identifier: Apache-2.0
#include "Writing.h"

#include <algorithm>
#include <map>
#include <numeric>
#include <set>
#include <vector>

#include "Classes.h"
#include "Signals.h"
#include "fieldstore/fieldstore.h"
#include "streams/Span.h"

namespace fieldstore::python {
namespace {

namespace py = pybind11;

template <typename T>
Span<const T> All(const Array<T>& array) {
    return {array.data(), static_cast<std::size_t>(array.size())};
}

/// Equal parts of an array, such as its rows.
template <typename T>
class Rows {
public:
    Rows(const Array<T>& array, std::size_t rowCount)
        : all(All(array)), width(rowCount == 0 ? 0 : all.size() / rowCount) {}
    Span<const T> operator[](std::size_t row) const { return {all.data() + row * width, width}; }

private:
    Span<const T> all;
    std::size_t width;
};

template <typename T>
void Assign(std::vector<T>& vector, const Span<const T>& values) {
    vector.assign(values.begin(), values.end());
}

/// The lists of an array of offsets.
class ListView {
public:
    explicit ListView(const Lists& lists)
        : offsets(All(lists.first)), elements(All(lists.second)) {}
    Span<const int> operator[](std::size_t list) const {
        const auto begin = static_cast<std::size_t>(offsets[list]);
        return {elements.data() + begin, static_cast<std::size_t>(offsets[list + 1]) - begin};
    }

private:
    Span<const std::int64_t> offsets;
    Span<const int> elements;
};

/// The modes of each group.
std::vector<std::vector<int>> ModesOfGroups(const Span<const int>& groups) {
    const int highest = groups.empty() ? -1 : *std::max_element(groups.begin(), groups.end());
    std::vector<std::vector<int>> modes(static_cast<std::size_t>(highest + 1));
    for (std::size_t mode = 0; mode < groups.size(); ++mode)
        modes[static_cast<std::size_t>(groups[mode])].push_back(static_cast<int>(mode));
    return modes;
}

}  // namespace

WritableObject::WritableObject(const std::string& className) : object(MakeObject(className)) {}

WritableObject::~WritableObject() {
    Discard();
}

/// An object commits what is unsaved when it goes, which here nobody asked for. Once it has tried
/// to load something, nothing is.
void WritableObject::Discard() noexcept {
    try {
        object->LoadFile("");
    } catch (const std::exception&) {
        // Then it tells of what it could not store.
    }
}

void WritableObject::AddModes(const Doubles& frequencies, int port, const Ints& groups,
                              const Complexes& gammas, const Complexes& data) const {
    using Complex = IPOModeInfo::Complex;
    auto& modes = As<IPOModeInfo>();
    const auto all = All(frequencies);
    const std::size_t modeCount = All(groups).size();
    const py::gil_scoped_release released;
    const Rows<Complex> gammaRows(gammas, all.size());
    const Rows<Complex> dataRows(data, all.size() * modeCount);
    const auto modesOfGroups = ModesOfGroups(All(groups));
    std::vector<Complex> gamma;
    std::vector<std::vector<Complex>> ofModes(modeCount);
    for (std::size_t f = 0; f < all.size(); ++f) {
        Assign(gamma, gammaRows[f]);
        for (std::size_t mode = 0; mode < modeCount; ++mode)
            Assign(ofModes[mode], dataRows[f * modeCount + mode]);
        if (!modes.AddModeData(all[f], port, gamma, modesOfGroups, ofModes))
            throw std::runtime_error(
                "The modes do not fit their groups, or the frequency is none.");
    }
}

void WritableObject::SetMatrices(int type, const Doubles& frequencies,
                                 const Doubles& values) const {
    auto& matrices = As<IPOCircuitMatrices>();
    const auto all = All(frequencies);
    const py::gil_scoped_release released;
    const Rows<double> rows(values, all.size());
    std::vector<double> matrix;
    for (std::size_t f = 0; f < all.size(); ++f) {
        Assign(matrix, rows[f]);
        matrices.SetMatrix(all[f], type, 0, 0, matrix);
    }
}

void WritableObject::SetDOFMap(const Longs& offsets, const Ints& columns, const Doubles& weights,
                               const Ints& types) const {
    auto& map = As<IPODOFMap>();
    const auto begins = All(offsets);
    const auto column = All(columns);
    const auto weight = All(weights);
    const py::gil_scoped_release released;
    IPODOFMap::Rows rows(begins.size() - 1);
    for (std::size_t row = 0; row < rows.size(); ++row) {
        const auto begin = static_cast<std::size_t>(begins[row]);
        const auto end = static_cast<std::size_t>(begins[row + 1]);
        rows[row].reserve(end - begin);
        for (std::size_t entry = begin; entry < end; ++entry)
            rows[row].emplace_back(column[entry], weight[entry]);
    }
    std::vector<IPODOFMap::EDOFType> ofRows;
    for (const int type : All(types)) ofRows.push_back(static_cast<IPODOFMap::EDOFType>(type));
    map.SetDOFMap(rows);
    map.SetDOFTypes(ofRows);
}

void WritableObject::SetMesh(const Ints& ids, const Ints& pairs) const {
    auto& mesh = As<IPOMeshTree>();
    const auto allIds = All(ids);
    const auto allPairs = All(pairs);
    const py::gil_scoped_release released;
    mesh.SetIds({allIds.begin(), allIds.end()});
    std::set<std::pair<int, int>> set;
    for (std::size_t i = 0; i + 1 < allPairs.size(); i += 2)
        set.emplace_hint(set.end(), allPairs[i], allPairs[i + 1]);
    mesh.SetIdPairs(set);
}

void WritableObject::SetRecords(const std::array<Ints, 4>& records,
                                const std::array<int, 4>& totals, int header, int lastBlock,
                                bool inBlocks, const Ints& extra) const {
    auto& list = As<IPODOFList>();
    std::array<int, 4> widths{}, counts{};
    std::array<IPODOFList::Source, 4> sources;
    for (std::size_t kind = 0; kind < records.size(); ++kind) {
        counts[kind] = static_cast<int>(records[kind].shape(0));
        widths[kind] = static_cast<int>(records[kind].shape(1));
        sources[kind] = [rows = Rows<int>(records[kind], static_cast<std::size_t>(counts[kind])),
                         count = static_cast<std::size_t>(counts[kind]),
                         next = std::size_t{0}](std::vector<int>& record) mutable {
            if (next == count) return false;
            Assign(record, rows[next++]);
            return true;
        };
    }
    const std::vector<int> extraEntries = All(extra).ToVector();
    const auto extraWidth = extra.ndim() == 2 ? static_cast<int>(extra.shape(1)) : 0;
    const py::gil_scoped_release released;
    list.SetSelectedBlock(inBlocks ? -1 : -2);
    list.SetExtraWidth(extraWidth);
    const std::array<int, 4> ordered{totals[3], totals[1], totals[2], totals[0]};
    if (list.SetRecords(lastBlock, header, ordered, widths, counts[0], sources[0], counts[1],
                        sources[1], counts[2], sources[2], counts[3], sources[3],
                        extraEntries) != 0)
        throw std::runtime_error("The records cannot be taken.");
}

void WritableObject::SetTree(int tag, int idCount, int levelCount, int leafCount,
                             const std::array<Array<std::uint64_t>, 5>& leafCounts,
                             const Ints& nodes, const Lists& nodeItems, const Ints& keys,
                             const Lists& mappedItems, const Ints& auxiliary) const {
    auto& tree = As<IPOBinaryTree>();
    const auto allNodes = All(nodes);
    const auto allKeys = All(keys);
    const ListView ofNodes(nodeItems), ofKeys(mappedItems);
    std::array<IPOBinaryTree::Counters, 5> counters;
    for (std::size_t i = 0; i < counters.size(); ++i) Assign(counters[i], All(leafCounts[i]));
    const auto auxiliaryList = All(auxiliary).ToVector();
    const py::gil_scoped_release released;
    std::map<int, std::set<int>> sets;
    for (std::size_t i = 0; i < allNodes.size(); ++i)
        sets[allNodes[i]] = {ofNodes[i].begin(), ofNodes[i].end()};
    std::map<int, std::vector<int>> mapped;
    for (std::size_t i = 0; i < allKeys.size(); ++i) mapped[allKeys[i]] = ofKeys[i].ToVector();
    tree.SetTree(counters[0], counters[1], counters[2], counters[3], counters[4], sets, mapped, tag,
                 idCount, auxiliaryList, levelCount, leafCount);
}

void WritableObject::SetPorts(const std::array<int, 4>& counts, const Ints& positions,
                              const Ints& dofs) const {
    std::map<int, int> table;
    const auto allDofs = All(dofs);
    std::size_t next = 0;
    for (const int position : All(positions)) table[position] = allDofs[next++];
    As<IPOPortCircuitDOFs>().SetData(counts[0], counts[1], counts[2], counts[3], table);
}

void WritableObject::DefineValues(int entityType, int valueType, std::uint32_t size,
                                  int function) const {
    As<IPOSolutionMetrics>().DefineValues(entityType, valueType, size, function);
}

void WritableObject::AddValues(int entityType, int valueType, const Ids& ids, const Ids& indices,
                               const Doubles& values) const {
    auto& metrics = As<POSolutionMetrics>();
    const auto id = All(ids), index = All(indices);
    const auto all = All(values);
    const py::gil_scoped_release released;
    // In the order in which they are held, where each goes to the end.
    const auto key = [&](std::size_t i) {
        return std::pair(static_cast<int>(index[i]), static_cast<int>(id[i]));
    };
    const auto isBefore = [&key](std::size_t a, std::size_t b) { return key(a) < key(b); };
    std::size_t ordered = 1;
    while (ordered < id.size() && !isBefore(ordered, ordered - 1)) ++ordered;
    if (ordered >= id.size()) return metrics.AddValueRows(entityType, valueType, index, id, all);

    std::vector<std::size_t> order(id.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::stable_sort(order.begin(), order.end(), isBefore);
    const Rows<double> rows(values, id.size());
    std::vector<std::uint32_t> sortedIds, sortedIndices;
    std::vector<double> sortedValues;
    sortedValues.reserve(all.size());
    for (const std::size_t i : order) {
        sortedIds.push_back(id[i]);
        sortedIndices.push_back(index[i]);
        sortedValues.insert(sortedValues.end(), rows[i].begin(), rows[i].end());
    }
    metrics.AddValueRows(entityType, valueType, Span<const std::uint32_t>(sortedIndices),
                         Span<const std::uint32_t>(sortedIds), Span<const double>(sortedValues));
}

void WritableObject::AddNodes(const Ids& ids, const Doubles& positions,
                              const Lists& neighbors) const {
    auto& metrics = As<IPOSolutionMetrics>();
    const auto all = All(ids);
    const ListView ofNodes(neighbors);
    const py::gil_scoped_release released;
    const Rows<double> rows(positions, all.size());
    for (std::size_t i = 0; i < all.size(); ++i) {
        const std::set<std::uint32_t> its(ofNodes[i].begin(), ofNodes[i].end());
        metrics.AddNode(all[i], rows[i].ToVector(), its);
    }
}

void WritableObject::AddEdges(const Ids& ids, const Ints& nodes) const {
    auto& metrics = As<IPOSolutionMetrics>();
    const auto all = All(ids);
    const py::gil_scoped_release released;
    const Rows<int> rows(nodes, all.size());
    for (std::size_t i = 0; i < all.size(); ++i) metrics.AddEdge(all[i], rows[i].ToVector());
}

void WritableObject::SetHeader(std::uint32_t id, const std::array<std::uint32_t, 4>& fields) const {
    auto& metrics = As<IPOSolutionMetrics>();
    metrics.SetHeaderId(id);
    metrics.SetHeaderFields(fields[0], fields[1], fields[2], fields[3]);
}

void WritableObject::AddElements(const Ints& elements, const std::array<Lists, 3>& nodes) const {
    auto& assembly = As<IPOAssemblyInfo>();
    const auto all = All(elements);
    const std::array<ListView, 3> lists{ListView(nodes[0]), ListView(nodes[1]), ListView(nodes[2])};
    const py::gil_scoped_release released;
    std::vector<std::uint64_t> handles(all.size());
    std::iota(handles.begin(), handles.end(), std::uint64_t{1});
    assembly.AddElements(handles,
                         [&](std::uint64_t handle, auto& nodes1, auto& nodes2, auto& nodes3) {
                             const auto element = static_cast<std::size_t>(handle - 1);
                             Assign(nodes1, lists[0][element]);
                             Assign(nodes2, lists[1][element]);
                             Assign(nodes3, lists[2][element]);
                             return all[element];
                         });
}

void WritableObject::PointTo(const Target& target) const {
    object->SetDirectory("");
    object->SetFileName(target.path);
    object->SetLockDirectory(target.lockDirectory);
    object->SetVersion(target.version);
}

template <typename Store>
std::pair<int, std::string> WritableObject::StoreAt(const Target& target,
                                                    const Store& store) const {
    int result = 0;
    auto& control = Control(*object);
    RunReleased([&] {
        PointTo(target);
        control.SetDurability(target.durable ? IPOStorageControl::eSynced
                                             : IPOStorageControl::eUnsynced);
        const auto type = !target.text   ? IPOBase::eWriteDefault
                          : *target.text ? IPOBase::eWriteText
                                         : IPOBase::eWriteBinary;
        result = object->CreateStorageInterface(type, target.lock);
        if (result == 0) result = store(control);
    });
    return {result, control.GetLastError()};
}

std::pair<int, std::string> WritableObject::Commit(const Target& target) {
    return StoreAt(target, [this](IPOStorageControl&) { return object->Commit(true); });
}

bool WritableObject::Appends() const {
    return Control(*object).GetStorageState().appends;
}

Part WritableObject::Bytes(const Target& target) {
    auto& control = Control(*object);
    Part part;
    int result = 0;
    RunReleased([&] {
        PointTo(target);
        const bool text = target.text.value_or(control.GetStorageState().text);
        const auto give = [&](IPOStorageControl::EBytes which, std::string& bytes) {
            const auto keep = [&bytes](const char* piece, std::size_t count) {
                bytes.append(piece, count);
                return true;
            };
            if (result == 0) result = control.WriteBytes(which, text, keep);
        };
        give(IPOStorageControl::eStart, part.first);
        give(IPOStorageControl::eBody, part.second);
    });
    if (result != 0) throw std::runtime_error(control.GetLastError());
    return part;
}

std::pair<int, std::string> WritableObject::AppendParts(const Target& target,
                                                        const std::vector<Part>& parts) {
    const auto write = [&parts](std::uint64_t length, const auto& append) {
        bool isStart = length == 0;
        for (const auto& [start, body] : parts) {
            if (isStart) append(start.data(), start.size());
            append(body.data(), body.size());
            isStart = false;
        }
        return std::string();
    };
    return StoreAt(target,
                   [&write](IPOStorageControl& control) { return control.AppendBytes(write); });
}

}  // namespace fieldstore::python
