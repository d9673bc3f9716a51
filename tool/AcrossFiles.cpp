// SPDX-License-Identifier: Apache-2.0
#include "tool/AcrossFiles.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <optional>
#include <set>

#include "tool/Error.h"
#include "tool/LoadedFile.h"
#include "tool/Terminal.h"

namespace fieldstore::tool {
namespace {

using Keys = std::set<std::int64_t>;

/// What a load of the file beside gives; nothing when there is none that can be read.
template <typename Streamed>
std::optional<Streamed> Beside(const ResultFile& file) {
    const auto path = std::filesystem::path(file.path).parent_path() / Streamed::kTraits.fileName;
    std::error_code unknown;
    if (!std::filesystem::is_regular_file(path, unknown)) return {};
    try {
        LoadedFile loaded = LoadWhole(path.string(), Streamed::kTraits.name);
        return std::get<Streamed>(std::move(loaded.data));
    } catch (const Error&) {
        return {};  // its own check says why
    }
}

template <typename Map, typename KeyOf>
Keys KeysOf(const Map& map, const KeyOf& keyOf) {
    Keys keys;
    map.ForKeys([&](const auto& key, const auto& /*extent*/) { keys.insert(keyOf(key)); });
    return keys;
}

/// Notes the keys of one file that the other lacks.
void Compare(const Keys& these, const Keys& others, const std::string& what,
             const std::string& where, Findings& findings) {
    std::vector<std::int64_t> missing;
    std::set_difference(these.begin(), these.end(), others.begin(), others.end(),
                        std::back_inserter(missing));
    if (missing.empty()) return;
    findings.Note(0,
                  Counted(missing.size(), what, what == "frequency" ? "frequencies" : what + "s") +
                      " not in " + where + ", the first " + std::to_string(missing.front()));
}

void CheckFrequencies(const StreamedMatrices& matrices, const ResultFile& file,
                      Findings& findings) {
    const auto modes = Beside<StreamedModeInfo>(file);
    if (!modes || modes->modes.Empty() || matrices.matrices.Empty()) return;
    const auto frequency = [](const auto& key) { return key.first; };
    const Keys ofMatrices = KeysOf(matrices.matrices, frequency);
    const Keys ofModes = KeysOf(modes->modes, frequency);
    Compare(ofMatrices, ofModes, "frequency", ModeInfoLayout::kTraits.fileName, findings);
    Compare(ofModes, ofMatrices, "frequency",
            std::string("this file, but in ") + ModeInfoLayout::kTraits.fileName, findings);
}

void CheckElements(const StreamedAssembly& assembly, const ResultFile& file, Findings& findings) {
    if (const auto tree = Beside<StreamedMeshTree>(file); tree && !tree->ids.empty()) {
        Keys elements;  // the sign is a flag
        for (const int element : assembly.elements)
            elements.insert(std::abs(std::int64_t{element}));
        Compare(elements, Keys(tree->ids.begin(), tree->ids.end()), "element",
                MeshTreeLayout::kTraits.fileName, findings);
    }
    const auto metrics = Beside<StreamedMetrics>(file);
    if (!metrics || metrics->positions.Empty()) return;
    Keys nodes;
    const auto take = [&nodes](int /*element*/, const Ints& list) {
        nodes.insert(list.begin(), list.end());
    };
    for (const auto* lists : {&assembly.nodes1, &assembly.nodes2, &assembly.nodes3})
        lists->ForEach(take);
    Compare(nodes, KeysOf(metrics->positions, [](int node) { return std::int64_t{node}; }), "node",
            SolutionMetricsLayout::kTraits.fileName, findings);
}

}  // namespace

void CheckAcross(const ResultFile& file, Findings& findings) {
    const ClassTraits* const traits = file.Info().traits;
    const bool isMatrices = traits == &CircuitMatricesLayout::kTraits;
    if (!isMatrices && traits != &AssemblyInfoLayout::kTraits) return;
    const LoadedFile loaded = LoadWhole(file.path, file.ClassName());
    if (isMatrices)
        CheckFrequencies(std::get<StreamedMatrices>(loaded.data), file, findings);
    else
        CheckElements(std::get<StreamedAssembly>(loaded.data), file, findings);
}

}  // namespace fieldstore::tool
