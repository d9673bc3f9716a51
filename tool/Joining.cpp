// SPDX-License-Identifier: Apache-2.0
#include "tool/Joining.h"

#include <iterator>
#include <limits>

#include "objects/ResolveFunctions.h"
#include "tool/Error.h"

namespace fieldstore::tool {
namespace {

[[noreturn]] void RaiseUnloadable(const std::string& path) {
    throw Error(path, "a host cannot load it", "Run: fieldstore check " + path);
}

/// Adds a body to those before it.
struct Joiner {
    const std::string& path;

    /// Files of most classes have one body; others may say themselves how bodies are joined.
    template <typename Body>
    void operator()(Body& held, Body&& body) const {
        if constexpr ((Body::kTraits.persistFlags & kAppend) != 0)
            held.Append(std::forward<Body>(body));
        else
            held = std::forward<Body>(body);
    }
    void operator()(StreamedModeInfo& held, StreamedModeInfo&& body) const {
        held.modes.Append(std::move(body.modes));
    }
    void operator()(StreamedMatrices& held, StreamedMatrices&& body) const {
        held.matrices.Append(std::move(body.matrices));
    }
    void operator()(StreamedAssembly& held, StreamedAssembly&& body) const {
        held.elements.insert(held.elements.end(), body.elements.begin(), body.elements.end());
        held.nodes1.Append(std::move(body.nodes1));
        held.nodes2.Append(std::move(body.nodes2));
        held.nodes3.Append(std::move(body.nodes3));
    }
    void operator()(StreamedMetrics& held, StreamedMetrics&& body) const {
        // That of an object without data, which contradicts no other.
        const bool empty = body.definitions.empty() && body.values.InFile() == 0 &&
                           body.neighbors.Empty() && body.positions.Empty() && body.edges.Empty();
        if (empty) return;
        if (held.definitions.empty())
            held.definitions = std::move(body.definitions);
        else if (held.definitions != body.definitions)
            RaiseUnloadable(path);
        held.headerId = body.headerId;
        held.headerField1 = body.headerField1;
        held.headerField2 = body.headerField2;
        held.headerField3 = body.headerField3;
        held.headerField4 = body.headerField4;
        held.values.Append(std::move(body.values));
        held.neighbors.Append(std::move(body.neighbors));
        held.positions.Append(std::move(body.positions));
        held.edges.Append(std::move(body.edges));
    }
};

/// The id of an element; that of the smallest integer, which has no absolute value, is the largest.
int ElementId(int value) {
    if (value == std::numeric_limits<int>::min()) return std::numeric_limits<int>::max();
    return value < 0 ? -value : value;
}

using Values = decltype(StreamedMetrics::values);
using Definitions = decltype(StreamedMetrics::definitions);

/// How values of one key become one, by the functions that the definitions name.
Values::Combine Resolving(const Definitions& definitions, const std::string& path) {
    const auto of = [definitions, path](int type) {
        const auto found = definitions.find(type);
        if (found == definitions.end()) RaiseUnloadable(path);
        return found->second;
    };
    const auto isGathered = [of](const auto& key, std::uint64_t count) {
        return count > static_cast<std::uint32_t>(of(key.first).first);
    };
    const auto add = [of, path](const auto& key, Doubles& held, const Doubles& later) {
        const auto [count, function] = of(key.first);
        if (CollectsValues(function))
            return void(held.insert(held.end(), later.begin(), later.end()));
        try {
            MergeValues(function, static_cast<std::uint32_t>(count), held, later);
        } catch (const std::runtime_error&) {
            RaiseUnloadable(path);
        }
    };
    const auto finish = [of, isGathered, path](const auto& key, Doubles& held) {
        if (!isGathered(key, held.size())) return;
        const auto [count, function] = of(key.first);
        const auto resolve = ResolveFunctionTable().find(function);
        if (resolve == ResolveFunctionTable().end()) RaiseUnloadable(path);
        try {
            held = resolve->second(count, held, {});
        } catch (const std::runtime_error&) {
            RaiseUnloadable(path);
        }
    };
    return {add, isGathered, finish};
}

using Neighbors = decltype(StreamedMetrics::neighbors);

void Normalise(Ints& ids) {
    SortedSet<int> set;
    set.swap(ids);
    set.Normalise();
    ids.swap(set);
}

Neighbors::Combine Uniting() {
    return {[](int /*node*/, Ints& held, const Ints& later) {
                held.insert(held.end(), later.begin(), later.end());
            },
            [](int /*node*/, std::uint64_t /*count*/) { return false; },
            [](int /*node*/, Ints& held) { Normalise(held); }};
}

/// Of a store that has none, the nodes that edges join are neighbours.
std::map<int, Ints> NeighborsByEdges(const StreamedMetrics& metrics, const std::string& path) {
    std::map<int, Ints> neighbors;
    metrics.edges.ForEach([&](int /*edge*/, const Ints& nodes) {
        if (nodes.size() != 2) RaiseUnloadable(path);
        neighbors[nodes[0]].push_back(nodes[1]);
        neighbors[nodes[1]].push_back(nodes[0]);
    });
    if (neighbors.empty()) RaiseUnloadable(path);
    for (auto& entry : neighbors) Normalise(entry.second);
    return neighbors;
}

/// Orders what the bodies gave together.
struct Finisher {
    const ResultFile& file;
    std::shared_ptr<EntrySource> source;

    template <typename Body>
    void operator()(Body& /*body*/) const {}
    void operator()(StreamedModeInfo& body) const {
        body.modes.EndBodies(SameKey::KeepFirst, source);
    }
    void operator()(StreamedDOFMap& body) const { body.rows.EndBodies(source); }
    void operator()(StreamedMatrices& body) const {
        body.matrices.EndBodies(SameKey::KeepLast, source);
    }
    void operator()(StreamedBinaryTree& body) const {
        body.nodeItems.EndBodies(SameKey::KeepFirst, source);
        body.mappedItems.EndBodies(SameKey::KeepFirst, source);
    }
    void operator()(StreamedAssembly& body) const {
        const auto precedes = [](int a, int b) { return ElementId(a) < ElementId(b); };
        auto& elements = body.elements;
        if (!std::is_sorted(elements.begin(), elements.end(), precedes))
            std::sort(elements.begin(), elements.end(), precedes);
        const auto isSame = [](int a, int b) { return ElementId(a) == ElementId(b); };
        if (std::adjacent_find(elements.begin(), elements.end(), isSame) != elements.end())
            RaiseUnloadable(file.path);
        body.nodes1.EndBodies(SameKey::KeepFirst, source);
        body.nodes2.EndBodies(SameKey::KeepFirst, source);
        body.nodes3.EndBodies(SameKey::KeepFirst, source);
    }
    void operator()(StreamedMetrics& body) const {
        body.values.EndBodies(SameKey::Combine, source, Resolving(body.definitions, file.path));
        body.positions.EndBodies(SameKey::KeepFirst, source);
        body.edges.EndBodies(SameKey::KeepFirst, source);
        body.neighbors.EndBodies(SameKey::Combine, source, Uniting());
        if (body.neighbors.Empty() && !file.bodies.empty())
            body.neighbors.Hold(NeighborsByEdges(body, file.path));
    }
};

template <typename T>
void Fetch(const SortedSet<T>& from, std::set<T>& to) {
    to.insert(from.begin(), from.end());
}
template <typename T>
void Fetch(const StreamedRows<T>& from, std::vector<std::vector<T>>& to) {
    from.ForEach([&to](const std::vector<T>& row) { to.push_back(row); });
}
template <typename K, typename V>
void Fetch(const StreamedMap<K, V>& from, std::map<K, V>& to) {
    from.ForEach([&to](const K& key, const V& value) { to.emplace_hint(to.end(), key, value); });
}
void Fetch(const Neighbors& from, std::map<int, std::set<int>>& to) {
    from.ForEach([&to](int node, const Ints& ids) {
        to.emplace_hint(to.end(), node, std::set<int>(ids.begin(), ids.end()));
    });
}

template <typename Body>
Body Fetched(const Body& from) {
    return from;
}
ModeInfoBody Fetched(const StreamedModeInfo& from) {
    ModeInfoBody body;
    Fetch(from.modes, body.modes);
    return body;
}
DOFMapBody Fetched(const StreamedDOFMap& from) {
    DOFMapBody body;
    Fetch(from.rows, body.rows);
    body.types = from.types;
    return body;
}
CircuitMatricesBody Fetched(const StreamedMatrices& from) {
    CircuitMatricesBody body;
    Fetch(from.matrices, body.matrices);
    return body;
}
MeshTreeBody Fetched(const StreamedMeshTree& from) {
    MeshTreeBody body;
    Fetch(from.idPairs, body.idPairs);
    Fetch(from.ids, body.ids);
    return body;
}
BinaryTreeBody Fetched(const StreamedBinaryTree& from) {
    BinaryTreeBody body;
    body.tag = from.tag;
    body.idCount = from.idCount;
    body.levelCount = from.levelCount;
    body.leafCount = from.leafCount;
    body.leafCounts1 = from.leafCounts1;
    body.leafCounts2 = from.leafCounts2;
    body.leafCounts3 = from.leafCounts3;
    body.leafCounts4 = from.leafCounts4;
    body.leafCounts5 = from.leafCounts5;
    Fetch(from.nodeItems, body.nodeItems);
    Fetch(from.mappedItems, body.mappedItems);
    body.auxiliaryList = from.auxiliaryList;
    return body;
}
SolutionMetricsBody Fetched(const StreamedMetrics& from) {
    SolutionMetricsBody body;
    body.headerId = from.headerId;
    body.headerField1 = from.headerField1;
    body.headerField2 = from.headerField2;
    body.headerField3 = from.headerField3;
    body.headerField4 = from.headerField4;
    body.definitions = from.definitions;
    Fetch(from.values, body.values);
    Fetch(from.neighbors, body.neighbors);
    Fetch(from.positions, body.positions);
    Fetch(from.edges, body.edges);
    return body;
}
AssemblyInfoBody Fetched(const StreamedAssembly& from) {
    AssemblyInfoBody body;
    body.elements = from.elements;
    Fetch(from.nodes1, body.nodes1);
    Fetch(from.nodes2, body.nodes2);
    Fetch(from.nodes3, body.nodes3);
    return body;
}

}  // namespace

EntrySource::EntrySource(const std::string& filePath, bool text)
    : path(filePath), stream(text, filePath, POStreamIO::InputPreparer([](auto&) {})) {
    stream.AcceptEmptyVectorAtEnd();
}

void EntrySource::MoveTo(std::uint64_t offset) {
    next = kNowhere;
    if (!opened) stream.OpenInput();
    opened = true;
    if (!stream.IsGood()) RaiseChanged();
    if (stream.IsTextMode()) stream.SkipWhiteSpace();
    if (stream.Tell() != offset) stream.Seek(offset);
}

void EntrySource::RaiseChanged() const {
    throw Error(path, "does not give what its counts promise",
                "Is it being written? Else run: fieldstore check " + path);
}

void Joined::Add(AnyStreamed&& body) {
    std::visit(
        [&](auto& held) {
            using Body = std::decay_t<decltype(held)>;
            Joiner{path}(held, std::move(std::get<Body>(body)));
        },
        data);
}

void FinishJoining(AnyStreamed& data, const ResultFile& file) {
    const Finisher finisher{file, std::make_shared<EntrySource>(file.path, file.text)};
    std::visit([&finisher](auto& body) { finisher(body); }, data);
}

AnyBody InMemory(const AnyStreamed& data) {
    return std::visit([](const auto& body) { return AnyBody(Fetched(body)); }, data);
}

}  // namespace fieldstore::tool
