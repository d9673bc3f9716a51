// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_RESULT_FILE_H
#define FIELDSTORE_TOOL_RESULT_FILE_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tool/BodyReader.h"
#include "tool/Catalog.h"

namespace fieldstore::tool {

/// Whole: bodies to the last byte. Torn: whole bodies, then bytes that are none, or a body that the
/// file ends in. Unreadable: neither.
enum class State { Whole, Torn, Unreadable };
const char* NameOf(State state);

/// Where a whole body stands, and how many entries it has.
struct BodyPlace {
    std::uint64_t begin;
    std::uint64_t end;
    std::size_t entries;
};

/// What a file is, found out by reading all of it; a picture of that moment. Any file but a whole
/// one has a fault.
struct ResultFile {
    std::string path;
    std::uint64_t size = 0;
    State state = State::Unreadable;
    std::size_t kind = 0;  // of its bodies; of no meaning when unreadable and guessed
    bool guessed = false;  // the class: neither the name nor an option tells it
    bool named = false;    // the class: by an option
    LastNumber lastNumber = LastNumber::Ended;
    bool text = false;
    std::optional<std::string> version;
    std::uint64_t begin = 0;        // of what follows the version line
    std::vector<BodyPlace> bodies;  // the whole ones
    int blockCount = 0;             // of a DOF list in blocks
    std::vector<int> savedBlocks;   // the whole blocks of a list that is not
    std::size_t savedEntries = 0;   // theirs
    std::optional<Fault> fault;     // what ends them, when not the end of the file

    const Kind& Info() const { return Kinds()[kind]; }
    const char* Mode() const { return text ? "text" : "binary"; }
    std::string ClassName() const { return std::string(Info().ClassName()); }
    /// Entries of the whole bodies, and of saved blocks.
    std::size_t Entries() const;
    /// Where the whole bodies end.
    std::uint64_t WholeEnd() const { return bodies.empty() ? begin : bodies.back().end; }
};

/// Raises the file's fault as an error. Requires: a file that is not whole.
[[noreturn]] void RaiseFault(const ResultFile& file, const std::string& remedy);

}  // namespace fieldstore::tool

#endif
