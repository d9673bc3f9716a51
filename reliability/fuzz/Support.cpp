// SPDX-License-Identifier: Apache-2.0
#include "reliability/fuzz/Support.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include "streams/RetryPause.h"
#include "tests/samples/Samples.h"

namespace fieldstore::fuzz {
namespace {

// Waiting for a file that cannot be opened finds nothing.
const PauseFunction kSleep = SetPauseFunction([](std::chrono::microseconds) {});

/// Whether the size of what VisitTree hands out, which stands in the file as numbers, is moderate.
bool IsModestTree(IPOBase& tree) {
    tree.SetVersion("");
    const auto stored = Stored(tree, false);
    if (!stored) return false;
    std::array<std::int32_t, 4> front{};  // tag, id count, levels, leaves
    std::memcpy(front.data(), stored->data(), sizeof front);
    constexpr int most = 10000, mostLevels = 12;
    return front[1] < most && front[2] < mostLevels && front[3] < most;
}

/// All but the neighbours, whose offsets are as many as the largest id says.
void UseMetrics(IPOSolutionMetrics& metrics) {
    std::vector<std::uint32_t> ids, indices;
    std::vector<double> values, positions;
    std::vector<int> edges;
    metrics.GetEntityIds(1, 2, ids);
    for (const auto id : ids) metrics.GetValues(1, id, 2, values, indices);
    metrics.GetNodes(positions, ids);
    metrics.GetEdges(edges);
}

}  // namespace

void Require(bool holds, const char* rule) {
    if (holds) return;
    std::fprintf(stderr, "This does not hold: %s\n", rule);
    std::abort();
}

std::uint8_t Input::Byte() {
    if (left.empty()) return 0;
    const auto byte = static_cast<std::uint8_t>(left.front());
    left.remove_prefix(1);
    return byte;
}

std::size_t Input::Number() {
    constexpr unsigned bits = 8;
    const std::size_t low = Byte();
    return low | std::size_t{Byte()} << bits;
}

MemoryFile::MemoryFile()
    : descriptor(memfd_create("fieldstore", MFD_CLOEXEC)),
      path("/proc/self/fd/" + std::to_string(descriptor)) {
    if (descriptor < 0) throw std::runtime_error("memfd_create failed");
}

MemoryFile::~MemoryFile() {
    close(descriptor);
}

void MemoryFile::Fill(std::string_view content) const {
    const bool done =
        ftruncate(descriptor, 0) == 0 && pwrite(descriptor, content.data(), content.size(), 0) ==
                                             static_cast<ssize_t>(content.size());
    Require(done, "a file in memory takes its content");
}

std::string MemoryFile::Content() const {
    std::string content(static_cast<std::size_t>(lseek(descriptor, 0, SEEK_END)), '\0');
    const auto got = pread(descriptor, content.data(), content.size(), 0);
    Require(got == static_cast<ssize_t>(content.size()), "a file in memory gives its content");
    return content;
}

bool Kind::HasVersionLine() const {
    return samples::TraitsOf(name).versionLine;
}

Kind KindOf(std::uint8_t selector) {
    const auto& names = samples::ClassNames();
    return {names[selector % names.size()], selector / names.size() % 2 != 0};
}

Kind AppendingKindOf(std::uint8_t selector) {
    static const std::vector<std::string> names = [] {
        std::vector<std::string> appending = samples::ClassNames();
        const auto replaces = [](const auto& name) { return !samples::Appends(name); };
        appending.erase(std::remove_if(appending.begin(), appending.end(), replaces),
                        appending.end());
        return appending;
    }();
    return {names[selector % names.size()], selector / names.size() % 2 != 0};
}

int Load(IPOBase& object, const MemoryFile& file, bool text) {
    object.SetDirectory("");
    object.SetFileName(file.Path());
    object.CreateStorageInterface(text ? IPOBase::eReadText : IPOBase::eReadBinary, false);
    return object.Load();
}

int Commit(IPOBase& object, const MemoryFile& file, bool text) {
    object.SetDirectory("");
    object.SetFileName(file.Path());
    object.CreateStorageInterface(text ? IPOBase::eWriteText : IPOBase::eWriteBinary, false);
    return object.Commit(true);
}

std::optional<std::string> Stored(IPOBase& object, bool text) {
    const MemoryFile file;
    if (Commit(object, file, text) != 0) return std::nullopt;
    return file.Content();
}

void UseLoaded(IPOBase& object) {
    if (dynamic_cast<IPOBinaryTree*>(&object) != nullptr && !IsModestTree(object)) return;
    try {
        if (auto* metrics = dynamic_cast<IPOSolutionMetrics*>(&object)) return UseMetrics(*metrics);
        samples::Describe(object);
    } catch (const std::runtime_error&) {
        // Getters may refuse data that do not fit together.
    }
}

void RequireStable(IPOBase& object, const Kind& kind) {
    // A body may look like a version line; behind one it cannot.
    object.SetVersion("v");
    const MemoryFile file;
    Require(Commit(object, file, false) == 0, "what was loaded can be stored in binary");
    const auto again = samples::New(kind.name);
    Require(Load(*again, file, false) == 0, "what was stored in binary loads");
    Require(Stored(*again, false) == file.Content(), "a binary file keeps the data");

    const auto text = Stored(object, true);
    Require(text.has_value(), "what was loaded can be stored in text");
    file.Fill(*text);
    Require(Load(*again, file, true) == 0, "what was stored in text loads");
    Require(Stored(*again, true) == text, "text that was loaded is stored as the same text");

    const auto copy = samples::New(kind.name);
    Require(copy->CopyFrom(again) == 0 && Stored(*copy, false), "what was loaded can be copied");
}

}  // namespace fieldstore::fuzz
