// SPDX-License-Identifier: Apache-2.0
#include "MeshRecord.h"

#include <algorithm>
#include <array>
#include <stdexcept>

namespace waveguide {
namespace {

constexpr int wholeTree = -1;

void WriteElements(const Store& store, const Space& space) {
    // Handles are element numbers from 1: handle 0 would be skipped.
    std::vector<std::uint64_t> handles(space.elements.size());
    for (std::size_t e = 0; e < handles.size(); ++e) handles[e] = e + 1;

    auto assembly = store.ForWriting<IPOAssemblyInfo>();
    assembly->AddElements(handles,
                          [&space](std::uint64_t handle, std::vector<int>& corners,
                                   std::vector<int>& edgeNodes, std::vector<int>& wallNodes) {
                              for (const std::size_t node : space.elements[handle - 1]) {
                                  const int id = static_cast<int>(node) + 1;
                                  (node < space.cornerCount ? corners : edgeNodes).push_back(id);
                                  if (space.onWall[node]) wallNodes.push_back(id);
                              }
                              // The sign is the element's flag: set when it touches the wall.
                              const int id = static_cast<int>(handle);
                              return wallNodes.empty() ? -id : id;
                          });
    store.Commit(assembly);
}

void WriteIds(const Store& store, const Space& space) {
    std::set<int> ids;
    std::set<std::pair<int, int>> edges;
    for (const auto& nodes : space.elements) {
        ids.insert(static_cast<int>(ids.size()) + 1);
        for (std::size_t k = 0; k < 3; ++k)
            edges.insert(std::minmax(static_cast<int>(nodes[k]) + 1,
                                     static_cast<int>(nodes[(k + 1) % 3]) + 1));
    }
    auto mesh = store.ForWriting<IPOMeshTree>();
    mesh->SetIds(ids);
    mesh->SetIdPairs(edges);
    store.Commit(mesh);
}

std::size_t WallCorners(const Space& space, int element) {
    const auto& nodes = space.elements[static_cast<std::size_t>(element)];
    return static_cast<std::size_t>(std::count_if(
        nodes.begin(), nodes.begin() + 3, [&space](std::size_t n) { return space.onWall[n]; }));
}

void WriteTree(const Store& store, const Space& space, const SpatialTree& tree) {
    const int firstLeaf = tree.LeafCount() - 1;
    // Counters 1 to 4 of a leaf: its elements with 0 to 3 corners on the wall. Counter 5 stays 0.
    std::array<IPOBinaryTree::Counters, 5> counters;
    for (auto& perLeaf : counters) perLeaf.assign(static_cast<std::size_t>(tree.LeafCount()), 0);
    std::map<int, std::set<int>> items;
    for (const auto& [node, elements] : tree.Items()) {
        for (const int element : elements) {
            items[node].insert(element + 1);
            items[wholeTree].insert(element + 1);
            if (node >= firstLeaf)
                ++counters[WallCorners(space, element)][static_cast<std::size_t>(node - firstLeaf)];
        }
    }
    auto object = store.ForWriting<IPOBinaryTree>();
    object->SetTree(counters[0], counters[1], counters[2], counters[3], counters[4], items, {}, 0,
                    0, {}, tree.CutLevels() + 1, tree.LeafCount());
    store.Commit(object);
}

TreeRecord ReadTree(const Store& store) {
    TreeRecord record;
    const auto add = [&record](const std::vector<int>& items) {
        // A damaged level count could make the walk endless; an exception ends it.
        constexpr std::size_t mostNodes = 100000;
        if (record.items.size() == mostNodes) throw std::runtime_error("the tree is too large");
        record.items.push_back(items);
    };
    store.Loaded<IPOBinaryTree>()->VisitTree(
        record.whole,
        [&](int, int, const std::vector<int>& items) {
            add(items);
            ++record.internalCount;
        },
        [&](int, int total, const std::vector<int>& items) {
            add(items);
            record.leafTotals.push_back(total);
        },
        [](int, const std::vector<int>&) {});
    return record;
}

}  // namespace

void WriteMesh(const Store& store, const Space& space, const SpatialTree& tree) {
    WriteElements(store, space);
    WriteIds(store, space);
    WriteTree(store, space, tree);
}

MeshRecord ReadMesh(const Store& store) {
    MeshRecord record;
    auto assembly = store.Loaded<IPOAssemblyInfo>();
    for (int i = 0; i < assembly->GetElementCount(); ++i) {
        record.elements.push_back({assembly->GetElementId(i), assembly->GetElementFlag(i),
                                   assembly->GetElementNodes1(i), assembly->GetElementNodes2(i),
                                   assembly->GetElementNodes3(i)});
    }
    record.cornerCount = assembly->GetNodeBasisCounts1().size();
    record.edgeNodeCount = assembly->GetNodeBasisCounts2().size();
    record.wallNodeCount = assembly->GetNodeBasisCounts3().size();

    auto mesh = store.Loaded<IPOMeshTree>();
    record.ids = mesh->GetIds();
    record.edges = mesh->GetIdPairs();
    record.tree = ReadTree(store);
    return record;
}

}  // namespace waveguide
