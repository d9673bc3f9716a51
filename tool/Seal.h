// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_SEAL_H
#define FIELDSTORE_TOOL_SEAL_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tool/BodyReader.h"
#include "tool/ResultFile.h"
#include "tool/rules/Findings.h"

namespace fieldstore::tool {

/// A body as it was sealed. It reaches up to the next one, or to the end of what is sealed.
struct SealedBody {
    std::uint64_t begin;
    std::uint64_t length;
    std::string digest;
    std::string time;
};

/// What was noted of a file, so that a change of any byte shows. docs/seal-format.md has the form.
struct Seal {
    std::string className;
    bool text = false;
    std::string time;
    std::uint64_t length = 0;
    std::string digest;      // of all these bytes
    std::string headDigest;  // of those before the first body
    std::vector<SealedBody> bodies;

    const char* Mode() const { return text ? "text" : "binary"; }
    /// What comes before the first body: a version line, or nothing.
    std::uint64_t HeadLength() const { return bodies.empty() ? length : bodies.front().begin; }
};

/// What a file is beside its seal. Bodies count from 1.
struct Comparison {
    bool headChanged = false;
    std::vector<std::size_t> changed;  // their bytes differ, or are no longer there
    std::uint64_t behind = 0;          // bytes that follow what is sealed
    bool mayGrow = false;              // the class appends, so that these may be right
    std::size_t appendedBodies = 0;    // the whole ones in them
    std::optional<Fault> tail;         // what ends these, when not the end of the file

    bool HasChanged() const {
        return headChanged || !changed.empty() || (behind != 0 && !mayGrow) || tail;
    }
    /// For programs: intact, appended or changed.
    const char* Word() const;
};

std::string SealPathFor(const std::string& dataPath);

/// Seals a file that is whole; bodies that `earlier` has keep their time. Raises when the file
/// changes meanwhile.
Seal MakeSeal(const ResultFile& file, const Seal* earlier = nullptr);
void WriteSeal(const std::string& dataPath, const Seal& seal, bool replace);
/// The seal of a data file, if it has one. Raises when that cannot be read or is damaged itself.
std::optional<Seal> ReadSeal(const std::string& dataPath);

/// Reads the file at the speed of the disk, and looks at no value in it but in what follows
/// the sealed bodies. Raises when it cannot be read.
Comparison Compare(const std::string& dataPath, const Seal& seal);
/// What there is to tell of it.
std::vector<Finding> FindingsOf(const Seal& seal, const Comparison& comparison);

/// The digest of the bytes from `begin` on; nothing when the file ends before they do.
std::optional<std::string> DigestOf(const std::string& path, std::uint64_t begin,
                                    std::uint64_t length);

}  // namespace fieldstore::tool

#endif
