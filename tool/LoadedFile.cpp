// SPDX-License-Identifier: Apache-2.0
#include "tool/LoadedFile.h"

#include <memory>
#include <utility>
#include <vector>

#include "tool/Catalog.h"
#include "tool/Inspection.h"
#include "tool/Joining.h"
#include "tool/Progress.h"
#include "tool/ReadBodies.h"

namespace fieldstore::tool {
namespace {

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

LoadedFile LoadWhole(const std::string& path, const std::string& className, const Slice& slice) {
    auto kinds = KindsNamed(path, className);
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

}  // namespace fieldstore::tool
