// SPDX-License-Identifier: Apache-2.0
#include "tool/ResultFile.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <numeric>

#include "core/ObjectStorage.h"
#include "core/POVersion.h"
#include "fieldstore/fieldstore.h"
#include "tool/Error.h"
#include "tool/Joining.h"
#include "tool/Progress.h"
#include "tool/SideFiles.h"
#include "tool/Terminal.h"

namespace fieldstore::tool {
namespace fs = std::filesystem;
namespace {

/// A way in which a file may be meant.
struct Reading {
    std::size_t kind;
    bool text;
    bool versioned;           // its first line is taken for a version line
    std::uint64_t begin = 0;  // of the first body to be read
};

// Zero bytes read as bodies without data in some classes. A file system may leave millions of them
// behind a crash; a host never writes that many.
constexpr std::size_t kMostEmptyBodies = 1000;

template <typename Any>
bool IsEmpty(const Any& any) {
    return std::visit([](const auto& body) { return body.Entries() == 0; }, any);
}

/// Ends the bodies where a long run of empty ones begins.
bool DropEmptyRun(ResultFile& file) {
    if (file.bodies.size() <= kMostEmptyBodies) return false;
    const auto run = file.bodies.end() - static_cast<std::ptrdiff_t>(kMostEmptyBodies);
    if (std::any_of(run, file.bodies.end(), [](const BodyPlace& body) { return body.entries; }))
        return false;
    const std::uint64_t begin = run->begin;
    file.bodies.erase(run, file.bodies.end());
    file.fault.emplace(begin, false, "nothing but bodies without data, as zero bytes give them");
    return true;
}

[[noreturn]] void RaiseReadError(const std::string& path) {
    throw Error(path, "cannot be read to its end", "Is the disk or the network in order?");
}

/// Notes what can be saved of a list that is torn among its blocks.
void NoteBlocks(ResultFile& file, const BlockedDOFListBody& list) {
    file.blockCount = list.announced;
    file.savedEntries = list.Entries();
    for (const auto& entry : list.blocks) file.savedBlocks.push_back(entry.first);
}

/// Up to where the bodies of a file may be believed: all of it, but for an append that a power cut
/// ended.
std::uint64_t LastVouched(const ResultFile& file) {
    if (!file.Info().Appends()) return file.size;
    ObjectStorage storage;
    storage.fileName = file.path;
    return std::min(storage.AcknowledgedLength().value_or(file.size), file.size);
}

template <typename Any, std::size_t... I>
Any NewBody(std::size_t kind, std::index_sequence<I...> /*kinds*/) {
    constexpr std::array<Any (*)(), sizeof...(I)> makers{
        [] { return Any(std::in_place_index<I>); }...};
    return makers[kind]();
}
/// A new body of a kind, in memory or streamed.
template <typename Any>
Any NewBody(std::size_t kind) {
    return NewBody<Any>(kind, std::make_index_sequence<std::variant_size_v<Any>>());
}

/// Reads bodies until the file ends or something is wrong; both end up in `file`. Returns the body
/// that came last, which may lack something. `visit` may be empty.
template <typename Any>
Any ReadBodies(ResultFile& file, const Reading& reading,
               const std::function<void(Any& body, const Layout& layout)>& visit,
               const Slice& slice = {}) {
    POStreamFileIO stream(reading.text, file.path, POStreamIO::InputPreparer([](auto&) {}));
    stream.AcceptEmptyVectorAtEnd();
    stream.OpenInput();
    if (!stream.IsGood()) throw Error(file.path, "cannot be opened", "Check its permissions.");
    file.kind = reading.kind;
    file.text = reading.text;
    Any any;
    if (reading.versioned) file.version = POVersion::ReadLine(stream, "\n");
    if (reading.versioned && !file.version) return any;
    if (reading.begin != 0) stream.Seek(reading.begin);
    file.begin = stream.Tell();
    const Progress progress("Reading " + file.path, file.path, file.size);
    const auto lastVouched = LastVouched(file);
    BodyReader reader(stream, file.size, slice, file.lastNumber);
    try {
        for (;;) {
            if (reading.text) stream.SkipWhiteSpace();
            const std::uint64_t here = stream.Tell();
            if (here >= file.size && (file.Info().Appends() || !file.bodies.empty())) break;
            if (here >= file.size) throw Fault(here, true, "the file ends before its body");
            if (here >= lastVouched)
                throw Fault(here, true,
                            "the rest was being appended when the power went, or one of several "
                            "ranks died");
            if (!file.Info().Appends() && !file.bodies.empty())
                throw Fault(here, false,
                            std::to_string(file.size - here) + " bytes follow the body");
            any = NewBody<Any>(file.kind);
            const Layout layout = std::visit([&](auto& body) { return reader.Read(body); }, any);
            if (const auto* list = std::get_if<BlockedDOFListBody>(&any))
                file.blockCount = list->announced;
            const auto entries = std::visit([](auto& body) { return body.Entries(); }, any);
            file.bodies.push_back({layout.begin, layout.end, entries});
            if (IsEmpty(any) && DropEmptyRun(file)) break;
            if (visit) visit(any, layout);
        }
    } catch (const std::ios_base::failure&) {
        RaiseReadError(file.path);
    } catch (const Fault& fault) {
        // What the disk does not give says nothing about what is on it.
        if (stream.HasReadError()) RaiseReadError(file.path);
        file.fault = fault;
        const auto* list = std::get_if<BlockedDOFListBody>(&any);
        if (list != nullptr && file.bodies.empty()) NoteBlocks(file, *list);
    }
    return any;
}

/// How well a reading explains the file; the larger the better.
int Rank(const ResultFile& file) {
    const bool data = file.Entries() != 0;
    if (!file.fault) return data ? 5 : 4;
    if (data) return 3;
    return file.fault->cut ? 2 : 1;
}

/// How far a reading made sense.
std::uint64_t Reach(const ResultFile& file) {
    return file.fault ? file.fault->offset : file.WholeEnd();
}

State StateOf(int rank, bool guessed) {
    if (rank >= 4) return State::Whole;
    // Too little of a guess: almost any bytes could be the beginning of something.
    return rank == 3 || (rank == 2 && !guessed) ? State::Torn : State::Unreadable;
}

/// What the first bytes tell of how a file may be read.
struct Front {
    bool text;         // it begins with a number
    bool textVersion;  // or with a version line, of either mode
    bool binaryVersion;

    explicit Front(const std::string& path) {
        constexpr std::size_t most = 64;
        std::string bytes(most, '\0');
        std::ifstream file(path, std::ios::binary);
        file.read(bytes.data(), most);
        bytes.resize(static_cast<std::size_t>(file.gcount()));
        const auto number = bytes.find_first_not_of(" \t\n\v\f\r");
        text = number == std::string::npos ||
               std::string_view("+-0123456789").find(bytes[number]) != std::string_view::npos;
        textVersion = !bytes.empty() && bytes.front() == '!';
        binaryVersion = bytes.size() > sizeof(int) && bytes[sizeof(int)] == '!';
    }
    bool Allows(const Reading& reading) const {
        if (reading.versioned) return reading.text ? textVersion : binaryVersion;
        return text || !reading.text;
    }
};

std::vector<Reading> ReadingsOf(const std::vector<std::size_t>& kinds) {
    std::vector<Reading> readings;
    for (const bool versioned : {true, false}) {
        for (const bool text : {false, true}) {
            for (const std::size_t kind : kinds) {
                if (versioned && !Kinds()[kind].traits->versionLine) continue;
                if (text && Kinds()[kind].blocked) continue;
                readings.push_back({kind, text, versioned});
            }
        }
    }
    return readings;
}

void RequireFile(const std::string& path) {
    std::error_code error;
    const auto status = fs::status(path, error);
    if (!fs::exists(status)) throw Error(path, "there is no such file", "Check the path.");
    if (fs::is_directory(status))
        throw Error(
            path, "is a directory",
            "Name a file in it; ls, check, diff, dump, convert and compact take directories.");
    if (!fs::is_regular_file(status))
        throw Error(path, "is not a regular file", "Copy what it gives to a file first.");
    if (access(path.c_str(), R_OK) != 0)
        throw Error(path, std::string("cannot be read: ") + std::strerror(errno),
                    "Check its permissions.");
}

/// Reads a file in each way in which it may be meant, and tells what it is by the one that explains
/// it best. `read(file, reading)` reads, and returns what to do when that is the best one so far.
template <typename Read>
ResultFile BestReading(ResultFile best, std::vector<std::size_t> kinds, const Read& read) {
    RequireFile(best.path);
    best.size = fs::file_size(best.path);
    best.guessed = kinds.empty();
    if (kinds.empty()) kinds = AllKinds();
    best.kind = kinds.front();
    const ResultFile blank = best;
    int bestRank = 0;
    const Front front(best.path);
    for (const Reading& reading : ReadingsOf(kinds)) {
        if (!front.Allows(reading)) continue;
        ResultFile file = blank;
        const auto keep = read(file, reading);
        if (reading.versioned && !file.version) continue;
        const int rank =
            blank.size == 0 && (blank.guessed || !file.Info().Appends()) ? 1 : Rank(file);
        const bool farther = rank == bestRank && Reach(file) > Reach(best);
        if (rank > bestRank || farther) {
            bestRank = rank;
            best = std::move(file);
            keep();
        }
        if (bestRank == 5) break;
    }
    best.state = StateOf(bestRank, best.guessed);
    if (best.size == 0 && best.state == State::Unreadable)
        best.fault.emplace(0, true, "it is empty");
    return best;
}

std::shared_ptr<IPOBase> MakeObject(const ResultFile& file) {
    const std::string name = file.ClassName();
    std::shared_ptr<IPOBase> object;
    NewInstance(std::wstring(name.begin(), name.end()), &object);
    object->SetDirectory("");
    object->SetFileName(file.path);
    object->CreateStorageInterface(file.text ? IPOBase::eReadText : IPOBase::eReadBinary, false);
    return object;
}

void RequireNotTorn(const ResultFile& file) {
    if (file.state != State::Torn) return;
    RaiseFault(file, "Save its whole bodies first: fieldstore repair " + file.path + " -o OUT");
}

/// Visitor that looks for a field whose keys have all that a slice asks for.
struct SliceFits {
    const Slice& slice;
    bool fits = false;
    template <typename T>
    void operator()(const Field& field, const T& /*value*/) {
        fits = fits || slice.Names(field);
    }
};

/// Of these kinds the ones whose keys a slice can choose among.
std::vector<std::size_t> KindsOfSlice(const std::vector<std::size_t>& kinds, const Slice& slice) {
    std::vector<std::size_t> fitting;
    for (const std::size_t kind : kinds) {
        const AnyBody body = NewBody<AnyBody>(kind);
        SliceFits visitor{slice};
        std::visit([&visitor](const auto& fields) { fields.Visit(fields, visitor); }, body);
        if (slice.IsEmpty() || visitor.fits) fitting.push_back(kind);
    }
    return fitting;
}

}  // namespace

const char* NameOf(State state) {
    constexpr std::array names{"whole", "torn", "unreadable"};
    return names[static_cast<std::size_t>(state)];
}

std::size_t ResultFile::Entries() const {
    return std::accumulate(
               bodies.begin(), bodies.end(), std::size_t{0},
               [](std::size_t sum, const BodyPlace& body) { return sum + body.entries; }) +
           savedEntries;
}

ResultFile Inspect(const std::string& path, const std::string& className, LastNumber lastNumber) {
    const auto kinds = className.empty() ? KindsOfFileName(fs::path(path).filename().string())
                                         : KindsOfClass(className);
    ResultFile unread;
    unread.path = path;
    unread.named = !className.empty();
    unread.lastNumber = lastNumber;
    return BestReading(unread, kinds, [](ResultFile& file, const Reading& reading) {
        ReadBodies<AnyBody>(file, reading, {});
        return [] {};
    });
}

void RaiseFault(const ResultFile& file, const std::string& remedy) {
    const auto name = std::string(file.Info().ClassName());
    if (file.state == State::Unreadable && file.size == 0)
        throw Error(file.path, "the file is empty", "Let the solver write it again.");
    if (file.guessed && file.state == State::Unreadable)
        throw Error(file.path, "not a result file of any class",
                    "If it is one, name its class with --class.");
    if (file.state == State::Unreadable) {
        throw Error(
            file.path,
            "not a file of class " + name + ", neither text nor binary: " + file.fault->what(),
            file.named ? "Is it of another class, or damaged from its beginning on?"
                       : "Name the right class with --class.",
            file.fault->offset);
    }
    throw Error(file.path, file.fault->what(), remedy, file.fault->offset);
}

ResultFile InspectReadable(const std::string& path, const std::string& className) {
    ResultFile file = Inspect(path, className);
    if (file.state == State::Unreadable) RaiseFault(file, "");
    return file;
}

ResultFile InspectWhole(const std::string& path, const std::string& className) {
    ResultFile file = InspectReadable(path, className);
    RequireNotTorn(file);
    return file;
}

void ForEachBody(const ResultFile& file, const BodyVisitor& visit) {
    if (file.bodies.empty()) return;
    ResultFile again;
    again.path = file.path;
    again.size = file.bodies.back().end;
    again.lastNumber = file.lastNumber;
    ReadBodies<AnyBody>(again, {file.kind, file.text, file.version.has_value()}, visit);
    if (again.fault || again.bodies.size() != file.bodies.size())
        throw Error(file.path, "does not give the same as before", "Is it being written?");
}

ResultFile ReadFrom(const ResultFile& known, std::uint64_t begin, std::uint64_t end,
                    const BodyVisitor& visit, AnyBody* last) {
    ResultFile rest;
    rest.path = known.path;
    rest.size = end;
    rest.lastNumber = known.lastNumber;
    AnyBody any = ReadBodies<AnyBody>(rest, {known.kind, known.text, false, begin}, visit);
    if (last != nullptr) *last = std::move(any);
    return rest;
}

AnyBody SavedBlocks(const ResultFile& file) {
    ResultFile again;
    again.path = file.path;
    again.size = file.size;
    AnyBody any = ReadBodies<AnyBody>(again, {file.kind, file.text, file.version.has_value()}, {});
    auto& list = std::get<BlockedDOFListBody>(any);
    if (list.blocks.empty()) throw Error(file.path, "no block is whole", "");
    for (int number = 0; number < list.blocks.rbegin()->first; ++number) list.blocks[number];
    return any;
}

int LoadResult(const ResultFile& file) {
    const Progress progress("Loading " + file.path, file.path, file.size);
    const auto object = MakeObject(file);
    auto* list = dynamic_cast<IPODOFList*>(object.get());
    if (list == nullptr || !file.Info().blocked) return object->Load();
    // A blocked list is loaded a block at a time; the first and the last one speak for all, whose
    // blocks have been read already.
    for (const int block : {-1, 0, file.blockCount - 1}) {
        list->SetSelectedBlock(block);
        if (const int result = object->Load(); result != 0) return result;
    }
    return 0;
}

void RequireLoads(const ResultFile& file, const std::string& shownPath) {
    if (LoadResult(file) == 0) return;
    throw Error(shownPath, "a host could not load the result, so nothing is written",
                "fieldstore check tells what is wrong with the data.");
}

void StoreLoaded(const ResultFile& file, TemporaryFile& target) {
    const auto object = MakeObject(file);
    {
        const Progress progress("Loading " + file.path, file.path, file.size);
        if (object->Load() != 0)
            throw Error(file.path, "a host cannot load it", "Run: fieldstore check " + file.path);
    }
    const Progress progress("Storing the data of " + file.path, target.Path(), file.size);
    object->SetFileName(target.Path());
    object->CreateStorageInterface(file.text ? IPOBase::eWriteText : IPOBase::eWriteBinary, false);
    if (object->Commit(true) != 0)
        throw Error(target.Path(), "the loaded data cannot be stored",
                    "Make room on that file system.");
    target.TakeReplacement();
}

LoadedFile LoadWhole(const std::string& path, const std::string& className, const Slice& slice) {
    auto kinds = className.empty() ? KindsOfFileName(fs::path(path).filename().string())
                                   : KindsOfClass(className);
    // Where nothing tells the class, all of the file has to be looked at.
    const bool guessed = kinds.empty();
    if (guessed) kinds = {InspectWhole(path).kind};
    const std::string name(Kinds()[kinds.front()].ClassName());
    kinds = KindsOfSlice(kinds, slice);
    if (kinds.empty())
        throw NoSuchKey(path, "a " + name + " has no such key: " + slice.Options(),
                        "Select by what its tables show; --block wants a list stored in blocks.");
    LoadedFile loaded;
    ResultFile unread;
    unread.path = path;
    unread.named = !className.empty();
    loaded.file = BestReading(unread, kinds, [&](ResultFile& file, const Reading& reading) {
        const auto joined = std::make_shared<Joined>(path, NewBody<AnyStreamed>(reading.kind));
        ReadBodies<AnyStreamed>(
            file, reading, [&](AnyStreamed& body, const Layout&) { joined->Add(std::move(body)); },
            slice);
        return [&loaded, joined] { loaded.data = std::move(joined->data); };
    });
    loaded.file.guessed = guessed;
    if (loaded.file.state == State::Unreadable) RaiseFault(loaded.file, "");
    RequireNotTorn(loaded.file);
    FinishJoining(loaded.data, loaded.file);
    return loaded;
}

AnyBody LoadedFile::InMemory() const {
    const Progress progress("Loading " + file.path, file.path, file.size);
    return tool::InMemory(data);
}

std::vector<NamedPath> ExpandPaths(const std::vector<std::string>& paths) {
    std::vector<NamedPath> expanded;
    for (const auto& path : paths) {
        std::error_code none, gone;
        if (!fs::is_directory(path, none)) {
            expanded.push_back({path, true, ""});
            continue;
        }
        std::vector<std::string> found;
        for (const auto& entry : fs::directory_iterator(path, none)) {
            const auto name = entry.path().filename().string();
            if (entry.is_regular_file(gone) && name.front() != '.' && !IsSideFile(name))
                found.push_back(entry.path().string());
        }
        if (none)
            throw Error(path, "the directory cannot be read: " + none.message(),
                        "Check its permissions.");
        std::sort(found.begin(), found.end());
        for (auto& file : found)
            expanded.push_back(
                {file, !KindsOfFileName(fs::path(file).filename().string()).empty(), path});
    }
    return expanded;
}

}  // namespace fieldstore::tool
