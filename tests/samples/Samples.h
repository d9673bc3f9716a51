// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TESTS_SAMPLES_SAMPLES_H
#define FIELDSTORE_TESTS_SAMPLES_SAMPLES_H

#include <cstdint>
#include <map>
#include <memory>
#include <ostream>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "fieldstore/fieldstore.h"
#include "objects/Classes.h"

// A small filled object of every class, and everything an object holds as one text.
namespace samples {

inline const std::vector<std::string>& ClassNames() {
    static const std::vector<std::string> names = [] {
        std::vector<std::string> all;
        for (const auto* traits : fieldstore::kAllTraits) all.emplace_back(traits->name);
        return all;
    }();
    return names;
}

inline const fieldstore::ClassTraits& TraitsOf(const std::string& name) {
    for (const auto* traits : fieldstore::kAllTraits)
        if (name == traits->name) return *traits;
    throw std::invalid_argument("no class " + name);
}

inline bool Appends(const std::string& name) {
    return (TraitsOf(name).persistFlags & fieldstore::kAppend) != 0;
}

inline std::shared_ptr<IPOBase> New(const std::string& name) {
    std::shared_ptr<IPOBase> object;
    NewInstance(std::wstring(name.begin(), name.end()), &object);
    return object;
}

/// Fills an object of any class. Variants share no key, so that bodies of two can be merged.
inline void Fill(IPOBase& object, int variant = 0) {
    if (auto* modes = dynamic_cast<IPOModeInfo*>(&object)) {
        modes->AddModeData(1e9 + variant, 1, {{1, 2}, {3, 4}}, {{0}, {1}},
                           {{{1, 0}, {2, 0}, {3, 0}, {4, 0}}, {{5, 0}, {6, 0}, {7, 0}, {8, 0.1}}});
    } else if (auto* map = dynamic_cast<IPODOFMap*>(&object)) {
        map->SetDOFMap({{{1, 0.5}, {0, 0.0}}, {{0, 2.0}}, {}});
        map->SetDOFTypes({IPODOFMap::eType0, IPODOFMap::eType1, IPODOFMap::EDOFType(7 + variant)});
    } else if (auto* matrices = dynamic_cast<IPOCircuitMatrices*>(&object)) {
        matrices->SetMatrix(2e9 + variant, 3, 0, 0, {1, 2, 3, 0.25});
    } else if (auto* tree = dynamic_cast<IPOMeshTree*>(&object)) {
        tree->SetIds({-5, 3, 8 + variant});
        tree->SetIdPairs({{3, 5}, {4, 9}});
    } else if (auto* list = dynamic_cast<IPODOFList*>(&object)) {
        const auto source = [](std::vector<std::vector<int>> records) -> IPODOFList::Source {
            auto next = std::make_shared<std::size_t>(0);
            return [=](std::vector<int>& record) {
                if (*next == records.size()) return false;
                record = records[(*next)++];
                return true;
            };
        };
        list->SetRecords(2, 77, {1 + variant, 2, 3, 4}, {4, 3, 3, 3}, 2,
                         source({{2, 10, 12, 4}, {0, 20, -1, 5}}), 1, source({{0, 30, 31}}), 1,
                         source({{3, -1, 7}}), 1, source({{0, 1, 2}, {3, 5, 9}}), {});
    } else if (auto* levels = dynamic_cast<IPOBinaryTree*>(&object)) {
        levels->SetTree({1, 2}, {3, 4}, {5, 6}, {7, 8}, {9, 10}, {{0, {4, 2}}, {1, {5 + variant}}},
                        {{6, {9, 8}}}, 7, 3, {11, 12}, 2, 2);
    } else if (auto* ports = dynamic_cast<IPOPortCircuitDOFs*>(&object)) {
        ports->SetData(2, 1, 1, 1, {{0, 10}, {1, 11}, {2, 12}, {3, 13}, {4, 14 + variant}});
    } else if (auto* metrics = dynamic_cast<IPOSolutionMetrics*>(&object)) {
        const auto id = static_cast<std::uint32_t>(variant);
        metrics->SetHeaderId(9);
        metrics->SetHeaderFields(1, 2, 3, 4000000000u);
        metrics->DefineValues(1, 2, 2, IPOSolutionMetrics::eMean);
        metrics->AddValues(1, 0, id, 2, {1.5, 2.5});
        metrics->AddNode(1, {0, 0, 0}, {2});
        metrics->AddNode(2, {1, 0, 0.5}, {1});
        metrics->AddEdge(1 + id, {1, 2});
    } else if (auto* assembly = dynamic_cast<IPOAssemblyInfo*>(&object)) {
        assembly->AddElements({5 + static_cast<std::uint64_t>(10 * variant),
                               7 + static_cast<std::uint64_t>(10 * variant)},
                              [](std::uint64_t handle, std::vector<int>& a, std::vector<int>& b,
                                 std::vector<int>& c) {
                                  a = {1, 1, 2};
                                  b = {static_cast<int>(handle)};
                                  c = {4};
                                  return handle % 10 == 5 ? -static_cast<int>(handle)
                                                          : static_cast<int>(handle);
                              });
    } else {
        throw std::invalid_argument("no sample of the class with the file " + object.GetFileName());
    }
}

// ---- everything as text ----

template <typename T, typename = void>
struct IsPair : std::false_type {};
template <typename T>
struct IsPair<T, std::void_t<typename T::second_type>> : std::true_type {};
template <typename T, typename = void>
struct IsRange : std::false_type {};
template <typename T>
struct IsRange<T, std::void_t<typename T::const_iterator>> : std::true_type {};

template <typename T>
void Put(std::ostream& out, const T& value) {
    if constexpr (IsPair<T>::value) {
        Put(out, value.first);
        out << ':';
        Put(out, value.second);
    } else if constexpr (IsRange<T>::value) {
        out << '[';
        for (const auto& element : value) {
            Put(out, element);
            out << ' ';
        }
        out << ']';
    } else {
        out << value;
    }
}

inline void Describe(std::ostream& out, IPOSolutionMetrics& metrics) {
    std::uint32_t header[5] = {};
    metrics.GetHeaderId(header[0]);
    metrics.GetHeaderFields(header[1], header[2], header[3], header[4]);
    std::vector<double> values, xyz;
    std::vector<std::uint32_t> indices, entities, ids, neighbors;
    std::vector<int> offsets, edges;
    metrics.GetEntityIds(1, 2, entities);
    for (const auto entity : entities) metrics.GetValues(1, entity, 2, values, indices);
    metrics.GetNodes(xyz, ids);
    metrics.GetNodeNeighbors(offsets, neighbors);
    metrics.GetEdges(edges);
    for (const auto field : header) out << field << ' ';
    const auto all = std::tie(entities, values, indices, xyz, ids, offsets, neighbors, edges);
    std::apply([&out](const auto&... lists) { (Put(out, lists), ...); }, all);
}

inline void Describe(std::ostream& out, IPODOFList& list) {
    int counts[4] = {};
    const auto put = [&out](const std::vector<int>& record) { Put(out, record); };
    const auto sizes = [&out](auto a, auto b, auto c, auto d) {
        for (const auto& size : {a, b, c, d}) Put(out, size);
    };
    list.VisitRecords(sizes, &counts[0], put, &counts[1], put, &counts[2], put, &counts[3], put);
    for (const int value : {list.GetBlockCount(), list.GetDistinctDOFCount(), list.GetTotal1(),
                            list.GetTotal2(), list.GetTotal3(), list.GetTotal4()})
        out << value << ' ';
}

inline void Describe(std::ostream& out, IPOAssemblyInfo& assembly) {
    for (int i = 0; i < assembly.GetElementCount(); ++i) {
        out << assembly.GetElementId(i) << assembly.GetElementFlag(i);
        Put(out, assembly.GetElementNodes1(i));
        Put(out, assembly.GetElementNodes2(i));
        Put(out, assembly.GetElementNodes3(i));
    }
}

inline void Describe(std::ostream& out, IPOModeInfo& modes) {
    Put(out, modes.GetFrequencies());
    for (int i = 0; i < modes.GetFrequencyCount(); ++i) {
        Put(out, modes.GetModeValues(i, 1));
        Put(out, modes.GetVoltageMatrix(i, 1, true));
        Put(out, modes.GetCurrentMatrix(i, 1, true));
    }
}

/// What an object holds, through its public getters.
inline std::string Describe(IPOBase& object) {
    std::ostringstream out;
    out.precision(17);
    if (auto* modes = dynamic_cast<IPOModeInfo*>(&object)) Describe(out, *modes);
    if (auto* map = dynamic_cast<IPODOFMap*>(&object)) {
        Put(out, map->GetDOFMap());
        Put(out, map->GetDOFTypes());
    }
    if (auto* matrices = dynamic_cast<IPOCircuitMatrices*>(&object)) {
        Put(out, matrices->GetFrequencies());
        for (int i = 0; i < matrices->GetFrequencyCount(); ++i)
            Put(out, matrices->GetMatrix(i, 3, true).values);
    }
    if (auto* tree = dynamic_cast<IPOMeshTree*>(&object)) {
        Put(out, tree->GetIds());
        Put(out, tree->GetIdPairs());
    }
    if (auto* list = dynamic_cast<IPODOFList*>(&object)) Describe(out, *list);
    if (auto* levels = dynamic_cast<IPOBinaryTree*>(&object)) {
        std::vector<int> ids;
        const auto put = [&out](int a, int b, const std::vector<int>& items) {
            out << a << ',' << b;
            Put(out, items);
        };
        levels->VisitTree(ids, put, put, [&](int key, const auto& items) { put(key, 0, items); });
        Put(out, ids);
    }
    if (auto* ports = dynamic_cast<IPOPortCircuitDOFs*>(&object)) {
        Put(out, ports->GetPortDOFs());
        Put(out, ports->GetCircuitDOFs());
    }
    if (auto* metrics = dynamic_cast<IPOSolutionMetrics*>(&object)) Describe(out, *metrics);
    if (auto* assembly = dynamic_cast<IPOAssemblyInfo*>(&object)) Describe(out, *assembly);
    return out.str();
}

}  // namespace samples

#endif
