// SPDX-License-Identifier: Apache-2.0
#include "Loading.h"

#include <exception>
#include <locale>
#include <mutex>
#include <sstream>
#include <stdexcept>

#include "Arrays.h"
#include "Classes.h"
#include "Signals.h"
#include "fieldstore/fieldstore.h"
#include "tool/BodyWriter.h"
#include "tool/Inspection.h"
#include "tool/LoadedFile.h"
#include "tool/Progress.h"
#include "tool/ResultFile.h"

namespace fieldstore::python {
namespace {

/// Runs what reads a file as the tool does, without the interpreter's lock. Raises what it raises.
template <typename Action>
void RunAsTool(const Action& action) {
    static std::mutex oneAtATime;  // the progress bar, which is kept silent, is one for all
    std::exception_ptr error;
    RunReleased([&] {
        const std::lock_guard lock(oneAtATime);
        const tool::Progress::Silence silence;
        try {
            action();
        } catch (...) {
            error = std::current_exception();
        }
    });
    if (error) std::rethrow_exception(error);
}

tool::Slice SliceOf(const LoadedObject::Keys& keys) {
    tool::Slice slice;
    for (const auto& [part, wanted] : keys) {
        if (const auto* ends = std::get_if<1>(&wanted))
            slice.Ask(part, {ends->first, ends->second});
        else if (part == "frequency")
            slice.Ask(part, tool::ParseFrequencies(part, std::get<0>(wanted)));
        else
            slice.Ask(part, tool::ParseRange(part, std::get<0>(wanted)));
    }
    return slice;
}

bool HasEntries(const tool::AnyBody& body) {
    return std::visit([](const auto& part) { return part.Entries() != 0; }, body);
}

std::string BytesOf(const tool::AnyBody& body) {
    const auto out = std::make_shared<std::ostringstream>();
    out->imbue(std::locale::classic());
    tool::BodyWriter writer(out, false);
    writer.Write(body);
    out->flush();
    return out->str();
}

}  // namespace

LoadedObject::LoadedObject(const std::string& className, const std::string& path, bool inTextMode,
                           std::optional<int> block)
    : object(MakeReadable(className)), text(inTextMode) {
    object->SetDirectory("");
    object->SetFileName(path);
    if (auto* list = dynamic_cast<IPODOFList*>(object.get()); list != nullptr && block)
        list->SetSelectedBlock(*block);
    RunReleased([&] {
        result =
            object->CreateStorageInterface(text ? IPOBase::eReadText : IPOBase::eReadBinary, false);
        if (result == 0) result = object->Load();
    });
}

LoadedObject LoadedObject::Sliced(const std::string& className, const std::string& path,
                                  const Keys& keys) {
    tool::Slice slice;
    try {
        slice = SliceOf(keys);
    } catch (const tool::Error& error) {
        throw std::invalid_argument(error.what());
    }
    LoadedObject loaded(MakeReadable(className), false);
    bool found = false;
    RunAsTool([&] {
        const auto file = tool::LoadWhole(path, className, slice);
        loaded.text = file.file.text;
        const tool::AnyBody body = file.InMemory();
        found = HasEntries(body);
        if (!found) return;
        const std::string bytes = BytesOf(body);
        loaded.result = Control(*loaded.object).ReadBytes(false, bytes.data(), bytes.size());
    });
    if (!found) throw py::key_error("There is no such entry.");
    return loaded;
}

std::string LoadedObject::Reason() const {
    return Control(*object).GetLastError();
}

int LoadedObject::BlockCount() const {
    auto* list = dynamic_cast<IPODOFList*>(object.get());
    return list == nullptr ? -1 : list->GetBlockCount();
}

int LoadedObject::ExtraWidth() const {
    const auto* list = dynamic_cast<PODOFList*>(object.get());
    return list == nullptr ? -1 : list->GetExtraWidth();
}

py::tuple LoadedObject::BasisCounts(int list) const {
    auto& assembly = dynamic_cast<IPOAssemblyInfo&>(*object);
    IPOAssemblyInfo::BasisCounts counts;
    {
        const py::gil_scoped_release released;
        counts = list == 1   ? assembly.GetNodeBasisCounts1()
                 : list == 2 ? assembly.GetNodeBasisCounts2()
                             : assembly.GetNodeBasisCounts3();
    }
    Filled<int> nodes(counts.size()), functions(counts.size());
    for (const auto& [node, count] : counts) {
        nodes.Add(node);
        functions.Add(count);
    }
    return py::make_tuple(nodes.Take(), functions.Take());
}

py::dict InspectFile(const std::string& path, const std::string& className) {
    std::optional<tool::ResultFile> file;
    RunAsTool([&] { file = tool::Inspect(path, className); });
    py::list bodies;
    for (const auto& body : file->bodies)
        bodies.append(py::make_tuple(body.begin, body.end, body.entries));
    using namespace py::literals;
    return py::dict(
        "state"_a = tool::NameOf(file->state), "class"_a = file->ClassName(),
        "guessed"_a = file->guessed, "text"_a = file->text, "blocked"_a = file->Info().blocked,
        "size"_a = file->size,
        "version"_a = file->version ? py::object(py::bytes(*file->version)) : py::none(),
        "bodies"_a = bodies,
        "fault"_a = file->fault ? py::object(py::make_tuple(file->fault->offset,
                                                            std::string(file->fault->what())))
                                : py::none());
}

}  // namespace fieldstore::python
