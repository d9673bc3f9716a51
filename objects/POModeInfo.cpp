// SPDX-License-Identifier: Apache-2.0
#include "objects/POModeInfo.h"

#include <algorithm>
#include <optional>
#include <set>

#include "core/FrequencyKey.h"
#include "core/MergeMaps.h"
#include "streams/MemorySize.h"

using namespace fieldstore;

namespace {

/// The group of each of `modeCount` modes; nothing unless the groups list exactly 0..modeCount-1.
std::optional<std::vector<int>> GroupsOfModes(const std::vector<std::vector<int>>& groups,
                                              std::size_t modeCount) {
    std::set<int> listed;
    for (const auto& group : groups) listed.insert(group.begin(), group.end());
    if (listed.empty() || listed.size() != modeCount) return std::nullopt;
    if (*listed.begin() != 0 || static_cast<std::size_t>(*listed.rbegin()) != modeCount - 1)
        return std::nullopt;

    std::vector<int> groupOfMode(modeCount);
    int number = 0;
    for (const auto& group : groups) {
        for (const int mode : group) groupOfMode[static_cast<std::size_t>(mode)] = number;
        ++number;
    }
    return groupOfMode;
}

}  // namespace

bool POModeInfo::AddModeData(double frequency, int port, const std::vector<Complex>& values,
                             const std::vector<std::vector<int>>& groups,
                             const std::vector<std::vector<Complex>>& data) {
    const auto key = FrequencyKey(frequency);
    const auto groupOfMode = GroupsOfModes(groups, data.size());
    if (!key || !groupOfMode || values.size() < data.size()) return false;

    Records records;
    records.reserve(data.size());
    for (std::size_t mode = 0; mode < data.size(); ++mode)
        records.push_back({{(*groupOfMode)[mode], values[mode]}, data[mode]});
    held.modes.insert_or_assign({*key, port}, std::move(records));
    modified = true;
    return true;
}

const POModeInfo::Records* POModeInfo::Find(int frequencyIndex, int port) const {
    constexpr std::int64_t outside = -1;
    std::int64_t key = outside;
    if (frequencyIndex >= 0 && frequencyIndex < GetFrequencyCount())
        key = FrequencyKey(frequencies[static_cast<std::size_t>(frequencyIndex)]).value_or(outside);
    const auto found = held.modes.find({key, port});
    return found == held.modes.end() ? nullptr : &found->second;
}

std::vector<POModeInfo::Complex> POModeInfo::GetModeValues(int frequencyIndex, int port) const {
    std::vector<Complex> values;
    const Records* records = Find(frequencyIndex, port);
    if (records == nullptr) return values;
    for (const ModeRecord& record : *records) values.push_back(record.first.second);
    return values;
}

std::vector<POModeInfo::Complex> POModeInfo::Matrix(int frequencyIndex, int port, bool modeRows,
                                                    Part part) const {
    std::vector<Complex> matrix;
    const Records* records = Find(frequencyIndex, port);
    if (records == nullptr) return matrix;
    const std::size_t size = records->size();
    if (!modeRows) matrix.resize(MemorySize(std::uint64_t{size} * size));
    for (std::size_t mode = 0; mode < size; ++mode) {
        const auto& data = (*records)[mode].second;
        const std::size_t half = data.size() / 2;
        const auto* begin = data.data() + (part == Part::Voltage ? 0 : half);
        if (modeRows) {
            matrix.insert(matrix.end(), begin, begin + half);
            continue;
        }
        for (std::size_t k = 0; k < std::min(half, size); ++k) matrix[mode + k * size] = begin[k];
    }
    return matrix;
}

std::vector<POModeInfo::Complex> POModeInfo::GetVoltageMatrix(int frequencyIndex, int port,
                                                              bool modeRows) const {
    return Matrix(frequencyIndex, port, modeRows, Part::Voltage);
}

std::vector<POModeInfo::Complex> POModeInfo::GetCurrentMatrix(int frequencyIndex, int port,
                                                              bool modeRows) const {
    return Matrix(frequencyIndex, port, modeRows, Part::Current);
}

std::int64_t POModeInfo::GetFrequencyCount() const {
    return static_cast<std::int64_t>(frequencies.size());
}

int POModeInfo::GetPortCount() const {
    std::set<int> ports;
    for (const auto& entry : held.modes) ports.insert(entry.first.second);
    return static_cast<int>(ports.size());
}

int POModeInfo::CopyFrom(std::shared_ptr<IPOBase> source) {
    return CopyFromSameClass<POModeInfo>(source, [this](const POModeInfo& other) {
        held = other.held;
        frequencies = other.frequencies;
    });
}

void POModeInfo::LogError(const std::string& message) {
    const std::string frequency =
        held.modes.empty() ? "<unknown>" : std::to_string(held.modes.begin()->first.first);
    POBase::LogError("Frequency " + frequency + " reported: " + message);
}

bool POModeInfo::ValidateData() {
    return EachAsOften(held.modes.begin(), held.modes.end(),
                       [](const auto& entry) { return entry.first.first; });
}

POModeInfo::Body POModeInfo::ReadBody() {
    Body body;
    SerializeBody<ModeInfoLayout>(IStreamer::eRead, body);
    return body;
}

void POModeInfo::SerializeData(IStreamer::EDirection direction) {
    if (direction == IStreamer::eWrite) return SerializeBody<ModeInfoLayout>(direction, held);
    ReadBodies([this] {
        Body body = ReadBody();
        KeepFirst(held.modes, body.modes);
    });
    frequencies = DistinctFrequencies(held.modes);
}
