// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_RESCUE_H
#define FIELDSTORE_TOOL_RESCUE_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tool/Bodies.h"
#include "tool/ResultFile.h"
#include "tool/Seal.h"

namespace fieldstore::tool {

/// Bytes of a file that no kept body has.
struct LostRange {
    std::uint64_t begin;
    std::uint64_t end;
    AnyBody entries;        // what --entries saves of the body that begins there
    std::size_t saved = 0;  // how many these are
};

/// The bodies of an appended file that can be kept although one before them is damaged.
struct Rescue {
    std::vector<BodyPlace> bodies;
    std::vector<LostRange> lost;

    std::size_t Entries() const;
    std::uint64_t LostBytes() const;
};

/// With a seal: the bodies that are as they were sealed, wherever those before them have moved
/// them, and the whole ones appended since. Raises when there is none.
Rescue RescueBySeal(const ResultFile& file, const Seal& seal);
/// Without one: the whole bodies in front, and those behind the damage that are bodies beyond
/// doubt. Requires: a class that appends; kind and mode that are known.
Rescue RescueByRecognition(const ResultFile& file);
/// Fills in what can be saved of the entries in the lost ranges of a text file, in order, up to the
/// first that is not as the library writes it. Raises for a class whose entries mean nothing alone.
void SaveEntries(const ResultFile& file, Rescue& rescue);

/// Writes head, kept bodies and saved entries in their order in the file.
void CopyRescued(const ResultFile& file, const Rescue& rescue, std::ostream& out);

}  // namespace fieldstore::tool

#endif
