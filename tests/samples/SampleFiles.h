// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TESTS_SAMPLES_SAMPLEFILES_H
#define FIELDSTORE_TESTS_SAMPLES_SAMPLEFILES_H

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "reliability/fuzz/Support.h"

namespace fieldstore::fuzz {

/// A file as the library writes it.
struct SampleFile {
    Kind kind;
    bool blocked;  // a DOF list in blocks
    std::string version;
    std::string content;
    int bodies;
    /// The data of the bodies that end at a byte; at byte 0 those of an empty file, where that is a
    /// valid one.
    std::map<std::size_t, std::string> dataUpTo;

    std::string Label() const;
};

/// Files of all classes in both modes, with one body and with several, without and with a version
/// line, and a DOF list in blocks.
std::vector<SampleFile> AllSampleFiles();

/// A body of metrics with `keys` vectors of `length` values and a definition that claims `count` of
/// them.
std::string ClaimingMetrics(bool text, int resolveFunction, std::uint32_t count, std::uint32_t keys,
                            std::size_t length);

/// Loads a file as a host does, a DOF list in blocks header by block, and calls the getters.
/// Returns the data as a binary file holds them, nothing when the load fails.
std::optional<std::string> LoadedData(const SampleFile& sample, const MemoryFile& file);

}  // namespace fieldstore::fuzz

#endif
