// SPDX-License-Identifier: Apache-2.0
#include "tool/ReadBodies.h"

#include <algorithm>
#include <array>
#include <utility>

#include "core/ObjectStorage.h"
#include "core/POVersion.h"
#include "tool/Error.h"
#include "tool/Progress.h"

namespace fieldstore::tool {
namespace {

[[noreturn]] void RaiseReadError(const std::string& path) {
    throw Error(path, "cannot be read to its end", "Is the disk or the network in order?");
}

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
Any BodyAt(std::size_t kind, std::index_sequence<I...> /*kinds*/) {
    constexpr std::array<Any (*)(), sizeof...(I)> makers{
        [] { return Any(std::in_place_index<I>); }...};
    return makers[kind]();
}

}  // namespace

template <typename Any>
Any NewBody(std::size_t kind) {
    return BodyAt<Any>(kind, std::make_index_sequence<std::variant_size_v<Any>>());
}
template AnyStreamed NewBody(std::size_t kind);
template AnyBody NewBody(std::size_t kind);

template <typename Any>
Any ReadBodies(ResultFile& file, const Reading& reading,
               const std::function<void(Any& body, const Layout& layout)>& visit,
               const Slice& slice) {
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

template AnyBody ReadBodies(ResultFile& file, const Reading& reading,
                            const std::function<void(AnyBody&, const Layout&)>& visit,
                            const Slice& slice);
template AnyStreamed ReadBodies(ResultFile& file, const Reading& reading,
                                const std::function<void(AnyStreamed&, const Layout&)>& visit,
                                const Slice& slice);

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

}  // namespace fieldstore::tool
