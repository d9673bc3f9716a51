// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_FUZZ_SUPPORT_H
#define FIELDSTORE_FUZZ_SUPPORT_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "fieldstore/fieldstore.h"

/// Every target defines it; the fuzzer calls it with changed inputs, the replay driver with files.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fieldstore::fuzz {

/// Ends the process when a rule does not hold: the fuzzer keeps the input then.
void Require(bool holds, const char* rule);

/// The bytes of an input, consumed from the front; they are zero where it is too short.
class Input {
public:
    Input(const std::uint8_t* data, std::size_t size)
        : left(reinterpret_cast<const char*>(data), size) {}
    std::uint8_t Byte();
    /// A number of two bytes.
    std::size_t Number();
    std::string_view Rest() const { return left; }

private:
    std::string_view left;
};

/// A file that lies in memory and has a path, so that no test writes to a disk.
class MemoryFile {
public:
    MemoryFile();
    ~MemoryFile();
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    const std::string& Path() const { return path; }
    void Fill(std::string_view content) const;
    std::string Content() const;

private:
    int descriptor;
    std::string path;
};

/// A class and the mode of its file.
struct Kind {
    std::string name;
    bool text;

    bool HasVersionLine() const;
};
/// One of the 18 combinations.
Kind KindOf(std::uint8_t selector);
/// One of the eight whose commits append.
Kind AppendingKindOf(std::uint8_t selector);

/// Loads a file into an object as a host does.
int Load(IPOBase& object, const MemoryFile& file, bool text);
/// Stores an object in a file, behind what an appending class finds there.
int Commit(IPOBase& object, const MemoryFile& file, bool text);
/// What a commit to an empty file writes; nothing when it fails.
std::optional<std::string> Stored(IPOBase& object, bool text);

/// Calls the getters of an object whose data came from a file.
void UseLoaded(IPOBase& object);
/// Requires that an object that was loaded can be stored and loaded again in both modes without a
/// change, and copied.
void RequireStable(IPOBase& object, const Kind& kind);

}  // namespace fieldstore::fuzz

#endif
