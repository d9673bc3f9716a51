// SPDX-License-Identifier: Apache-2.0
#include "reliability/campaigns/Bodies.h"

#include <cmath>
#include <complex>
#include <iostream>
#include <stdexcept>
#include <vector>

#include "tests/samples/Samples.h"

namespace campaigns {
namespace {

constexpr double kModeBase = 1e9;
constexpr double kMatrixBase = 2e9;
constexpr int kMatrixType = 3;
constexpr int kIdStep = 1 << 16;  // mesh ids of a body lie this far apart; keys stay below
constexpr std::size_t kModes = 4;

/// Whole numbers, which the text mode keeps exactly, and no two bodies have the same.
double Value(int key, std::size_t index) {
    return 1000003.0 * key + static_cast<double>(index);
}

void Require(bool condition) {
    if (!condition) throw std::runtime_error("A body has a value that nobody wrote.");
}

std::size_t RoundedRoot(int size) {
    return static_cast<std::size_t>(std::sqrt(static_cast<double>(size))) + 1;
}

// ---- filling ----

void Fill(IPOModeInfo& modes, int key, int size) {
    const std::size_t length = 2 * (static_cast<std::size_t>(size) / (4 * kModes) + 1);
    std::vector<IPOModeInfo::Complex> values;
    std::vector<std::vector<int>> groups;
    std::vector<std::vector<IPOModeInfo::Complex>> data;
    for (std::size_t mode = 0; mode < kModes; ++mode) {
        values.emplace_back(Value(key, mode), 0);
        groups.push_back({static_cast<int>(mode)});
        data.emplace_back();
        for (std::size_t i = 0; i < length; ++i)
            data.back().emplace_back(Value(key, mode * length + i), -1);
    }
    modes.AddModeData(kModeBase + key, 1, values, groups, data);
}

void Fill(IPOCircuitMatrices& matrices, int key, int size) {
    const std::size_t dimension = RoundedRoot(size);
    std::vector<double> values;
    for (std::size_t i = 0; i < dimension * dimension; ++i) values.push_back(Value(key, i));
    matrices.SetMatrix(kMatrixBase + key, kMatrixType, 0, 0, values);
}

void Fill(IPOAssemblyInfo& assembly, int key, int size) {
    const auto query = [=](std::uint64_t, std::vector<int>& a, std::vector<int>& b,
                           std::vector<int>& c) {
        a.assign(1, key);
        for (int i = 0; i < 2 * size; ++i) b.push_back(key + i);
        c.assign(2, key);
        return key + 1;
    };
    assembly.AddElements({1}, query);
}

void Fill(IPOMeshTree& tree, int key, int size) {
    std::set<int> ids;
    for (int i = 0; i <= size / 2 && i < kIdStep / 2; ++i) ids.insert(key + i * kIdStep);
    tree.SetIds(ids);
    tree.SetIdPairs({{key, key + static_cast<int>(ids.size())}});
}

/// In blocks, whose records lie in order, but the commit has yet to count them.
void Fill(IPODOFList& list, int key, int size) {
    constexpr int owners = 6;
    constexpr std::size_t width = 3;
    const auto records = [=]() -> IPODOFList::Source {
        return [=, left = size](std::vector<int>& record) mutable {
            if (left == 0) return false;
            record.assign(width, key + left);
            record.front() = (size - left--) * owners / size;
            return true;
        };
    };
    list.LoadRecords(owners, {}, 0, records(), 0, records(), 0, records(), 0, records());
    list.SetSelectedBlock(-1);
}

// ---- checking ----

std::set<int> Keys(IPOModeInfo& modes) {
    std::set<int> keys;
    const auto frequencies = modes.GetFrequencies();
    for (std::size_t f = 0; f < frequencies.size(); ++f) {
        const int key = static_cast<int>(frequencies[f] - kModeBase);
        const int index = static_cast<int>(f);
        const auto values = modes.GetModeValues(index, 1);
        const auto voltages = modes.GetVoltageMatrix(index, 1, true);
        const auto currents = modes.GetCurrentMatrix(index, 1, true);
        Require(values.size() == kModes && voltages.size() == currents.size());
        const std::size_t half = voltages.size() / kModes;
        for (std::size_t i = 0; i < voltages.size(); ++i) {
            const std::size_t first = i / half * 2 * half + i % half;
            Require(voltages[i] == IPOModeInfo::Complex(Value(key, first), -1));
            Require(currents[i] == IPOModeInfo::Complex(Value(key, first + half), -1));
        }
        for (std::size_t mode = 0; mode < kModes; ++mode)
            Require(values[mode] == IPOModeInfo::Complex(Value(key, mode), 0));
        keys.insert(key);
    }
    return keys;
}

std::set<int> Keys(IPOCircuitMatrices& matrices) {
    std::set<int> keys;
    const auto frequencies = matrices.GetFrequencies();
    for (std::size_t f = 0; f < frequencies.size(); ++f) {
        const int key = static_cast<int>(frequencies[f] - kMatrixBase);
        const auto matrix = matrices.GetMatrix(static_cast<int>(f), kMatrixType, true);
        Require(!matrix.values.empty());
        for (std::size_t i = 0; i < matrix.values.size(); ++i)
            Require(matrix.values[i] == Value(key, i));
        keys.insert(key);
    }
    return keys;
}

std::set<int> Keys(IPOAssemblyInfo& assembly) {
    std::set<int> keys;
    for (int index = 0; index < assembly.GetElementCount(); ++index) {
        const int key = assembly.GetElementId(index) - 1;
        Require(assembly.GetElementNodes1(index) == std::vector<int>(1, key));
        Require(assembly.GetElementNodes3(index) == std::vector<int>(2, key));
        const auto nodes = assembly.GetElementNodes2(index);
        for (std::size_t i = 0; i < nodes.size(); ++i)
            Require(nodes[i] == key + static_cast<int>(i));
        keys.insert(key);
    }
    return keys;
}

std::set<int> Keys(IPOSolutionMetrics& metrics) {
    std::vector<std::uint32_t> entities;
    metrics.GetEntityIds(1, 2, entities);
    for (const auto entity : entities) {
        std::vector<double> values;
        std::vector<std::uint32_t> indices;
        metrics.GetValues(1, entity, 2, values, indices);
        Require(values == std::vector<double>{1.5, 2.5});
    }
    return {entities.begin(), entities.end()};
}

std::set<int> Keys(IPOMeshTree& tree) {
    const auto& ids = tree.GetIds();
    if (ids.empty()) return {};
    const int key = *ids.begin();
    int expected = key;
    for (const int id : ids) {
        Require(id == expected);
        expected += kIdStep;
    }
    const std::set<std::pair<int, int>> pairs{{key, key + static_cast<int>(ids.size())}};
    Require(tree.GetIdPairs() == pairs);
    return {key};
}

}  // namespace

void Fill(IPOBase& object, int key, int size) {
    if (size == 0) return samples::Fill(object, key);
    if (auto* list = dynamic_cast<IPODOFList*>(&object)) return Fill(*list, key, size);
    if (auto* modes = dynamic_cast<IPOModeInfo*>(&object)) return Fill(*modes, key, size);
    if (auto* matrices = dynamic_cast<IPOCircuitMatrices*>(&object))
        return Fill(*matrices, key, size);
    if (auto* assembly = dynamic_cast<IPOAssemblyInfo*>(&object)) return Fill(*assembly, key, size);
    if (auto* tree = dynamic_cast<IPOMeshTree*>(&object)) return Fill(*tree, key, size);
    throw std::runtime_error("This class has no large body.");
}

std::set<int> Keys(IPOBase& object) {
    if (auto* modes = dynamic_cast<IPOModeInfo*>(&object)) return Keys(*modes);
    if (auto* matrices = dynamic_cast<IPOCircuitMatrices*>(&object)) return Keys(*matrices);
    if (auto* assembly = dynamic_cast<IPOAssemblyInfo*>(&object)) return Keys(*assembly);
    if (auto* metrics = dynamic_cast<IPOSolutionMetrics*>(&object)) return Keys(*metrics);
    if (auto* tree = dynamic_cast<IPOMeshTree*>(&object)) return Keys(*tree);
    throw std::runtime_error("The bodies of this class have no key.");
}

std::shared_ptr<IPOBase> Open(const std::string& className, const std::string& path, bool text,
                              bool writing, bool withLock) {
    auto object = samples::New(className);
    if (!object) throw std::runtime_error("There is no class " + className + ".");
    object->SetDirectory("");
    object->SetFileName(path);
    object->SetVersion("Run 7");
    const auto type = writing ? (text ? IPOBase::eWriteText : IPOBase::eWriteBinary)
                              : (text ? IPOBase::eReadText : IPOBase::eReadBinary);
    return object->CreateStorageInterface(type, withLock) == 0 ? object : nullptr;
}

int RunOperation(const std::map<std::string, Operation>& operations, int failed, int count,
                 char** arguments) {
    try {
        const std::vector<std::string> words(arguments + 1, arguments + count);
        const auto found = operations.find(words.at(0));
        if (found == operations.end())
            throw std::runtime_error("There is no operation " + words[0] + ".");
        return found->second(words);
    } catch (const std::exception& error) {
        std::cerr << arguments[0] << ": " << error.what() << '\n';
        return failed;
    }
}

}  // namespace campaigns
