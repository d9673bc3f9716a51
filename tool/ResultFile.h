// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_RESULT_FILE_H
#define FIELDSTORE_TOOL_RESULT_FILE_H

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tool/BodyReader.h"
#include "tool/Catalog.h"
#include "tool/Error.h"
#include "tool/Slice.h"
#include "tool/StreamedBodies.h"
#include "tool/TemporaryFile.h"

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

/// Finds out what a file is; "" for the class leaves it to the file's name, and else to trying.
/// Raises when there is no such file or it cannot be read at all.
ResultFile Inspect(const std::string& path, const std::string& className = "",
                   LastNumber lastNumber = LastNumber::Ended);
/// The same for a file that must at least begin with a body; raises what is wrong otherwise.
ResultFile InspectReadable(const std::string& path, const std::string& className = "");
/// And for one that must be whole.
ResultFile InspectWhole(const std::string& path, const std::string& className = "");
/// Raises the file's fault as an error. Requires: a file that is not whole.
[[noreturn]] void RaiseFault(const ResultFile& file, const std::string& remedy);

using BodyVisitor = std::function<void(AnyBody& body, const Layout& layout)>;
/// Reads the whole bodies one after another; `visit` may be empty. Raises when they are not those
/// of before. Requires, as the loads below: a file that is not unreadable.
void ForEachBody(const ResultFile& file, const BodyVisitor& visit);

/// Reads on in a file of known kind and mode, from a byte where a body begins up to `end`. The
/// result has the bodies and the fault found there; `last`, if given, the body that was read last,
/// which may lack something.
ResultFile ReadFrom(const ResultFile& known, std::uint64_t begin, std::uint64_t end,
                    const BodyVisitor& visit = {}, AnyBody* last = nullptr);

/// A torn DOF list in blocks as far as it can be saved: the whole blocks. A lost one before these
/// is empty, so that they keep their numbers. Raises when no block is whole. Requires: such a list.
AnyBody SavedBlocks(const ResultFile& file);

/// The result of loading the file as a host does.
int LoadResult(const ResultFile& file);
/// Raises when a host could not load it.
void RequireLoads(const ResultFile& file, const std::string& shownPath);
/// Loads the file as a host does and stores it anew, as one body. Raises when it does not load.
void StoreLoaded(const ResultFile& file, TemporaryFile& target);

/// The entries of a class have no keys of the kind that a slice asks for.
class NoSuchKey : public Error {
public:
    using Error::Error;
};

/// A file and what a host has after a load of it, or the wanted part of that. The bulk of the data
/// is still in the file.
struct LoadedFile {
    ResultFile file;
    AnyStreamed data;

    /// All of it in memory, in the form of a body.
    AnyBody InMemory() const;
};
/// Finds out what a file is, as InspectWhole() does, and where its entries stand, reading no more
/// than it takes to find the next one. Raises when it is not whole, or with NoSuchKey. What is
/// passed over is not checked.
LoadedFile LoadWhole(const std::string& path, const std::string& className = "",
                     const Slice& slice = {});

/// A path as given, or found in a directory that was given.
struct NamedPath {
    std::string path;
    bool given;             // or at least of a name that only a result file has
    std::string directory;  // in which it was found; empty: the path itself was given
};
/// The files of directories in place of these, sorted; markers, logs and hidden files left out.
std::vector<NamedPath> ExpandPaths(const std::vector<std::string>& paths);

}  // namespace fieldstore::tool

#endif
