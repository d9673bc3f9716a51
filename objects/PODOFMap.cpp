// SPDX-License-Identifier: Apache-2.0
#include "objects/PODOFMap.h"

#include <stdexcept>
#include <tuple>
#include <utility>

#include "core/FlagScope.h"
#include "core/Messages.h"

using namespace fieldstore;

PODOFMap::PODOFMap()
    : POBase(DOFMapLayout::kTraits), resolveFunction([] { return ResolveResult{}; }) {}

IPODOFMap::ResolveResult PODOFMap::ResolveDOFMap() {
    if (resolving) return {};  // the function asked for what it is computing
    const FlagScope scope(resolving);
    const ResolveFunction running = resolveFunction;  // it may be replaced while it runs
    return running();
}

const IPODOFMap::Rows& PODOFMap::GetDOFMap() {
    if (dofMap.empty() && !modified) LoadOrResolve();
    return dofMap;
}

const std::vector<IPODOFMap::EDOFType>& PODOFMap::GetDOFTypes() {
    if (dofTypes.empty() && !modified) LoadOrResolve();
    return dofTypes;
}

void PODOFMap::LoadOrResolve() noexcept {
    if (resolving) return;
    try {
        if (Load() == kSuccess) return;
        ResolveAndStore();
    } catch (...) {
        // A getter hands out what there is; the host sees the failure as an empty map.
    }
}

void PODOFMap::ResolveAndStore() {
    std::tie(dofTypes, dofMap) = ResolveDOFMap();
    const auto type = static_cast<EStorageType>(GetStorageType(IStreamer::eWrite));
    if (CreateStorageInterface(type, false) != kSuccess)
        throw std::runtime_error(messages::kResolvedNotStored);
    // A file that did not load may still hold data, in the other mode for instance; nothing is no
    // reason to write over it.
    const bool nothing = dofTypes.empty() && dofMap.empty();
    if (nothing && RequireStream().Exists()) return;
    Commit(true);
}

const IPODOFMap::Rows& PODOFMap::GetTransposedDOFMap() {
    if (!dofMap.empty() && !transposedMap.empty()) {
        if (dofMap.size() == transposedMap.size()) return transposedMap;
        transposedMap.clear();
    } else {
        GetDOFMap();
    }
    transposedMap.resize(dofMap.size());
    int row = 0;
    for (const auto& entries : dofMap) {
        for (const auto& [column, weight] : entries) {
            if (weight == 0.0) continue;
            if (column < 0 || static_cast<std::size_t>(column) >= transposedMap.size()) {
                transposedMap.clear();
                throw std::runtime_error(messages::kInvalidColumn);
            }
            transposedMap[static_cast<std::size_t>(column)].emplace_back(row, weight);
        }
        ++row;
    }
    return transposedMap;
}

bool PODOFMap::HasType(int index, EDOFType type) const {
    if (index < 0 || static_cast<std::size_t>(index) >= dofTypes.size()) return false;
    return dofTypes[static_cast<std::size_t>(index)] == type;
}

bool PODOFMap::SetResolveFunction(ResolveFunction function) {
    resolveFunction = std::move(function);
    return true;
}

bool PODOFMap::SetDOFMap(const Rows& rows) {
    dofMap = rows;
    modified = true;
    return true;
}

bool PODOFMap::SetDOFTypes(const std::vector<EDOFType>& types) {
    dofTypes = types;
    modified = true;
    return true;
}

int PODOFMap::CopyFrom(std::shared_ptr<IPOBase> source) {
    return CopyFromSameClass<PODOFMap>(source, [this](const PODOFMap& other) {
        dofMap = other.dofMap;
        transposedMap = other.transposedMap;
        dofTypes = other.dofTypes;
        resolveFunction = other.resolveFunction;
    });
}

void PODOFMap::ClearData() {
    dofMap.clear();
    modified = false;
}

void PODOFMap::SerializeData(IStreamer::EDirection direction) {
    struct {
        Rows& rows;
        std::vector<int> types;
    } body{dofMap, {dofTypes.begin(), dofTypes.end()}};
    SerializeBody<DOFMapLayout>(direction, body);
    if (direction == IStreamer::eWrite) return;
    dofTypes.clear();
    for (const int type : body.types) dofTypes.push_back(static_cast<EDOFType>(type));
}
