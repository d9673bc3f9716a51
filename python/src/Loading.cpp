// SPDX-License-Identifier: Apache-2.0
#include "Loading.h"

#include <exception>
#include <mutex>

#include "Arrays.h"
#include "Classes.h"
#include "Signals.h"
#include "fieldstore/fieldstore.h"
#include "tool/Inspection.h"
#include "tool/Progress.h"
#include "tool/ResultFile.h"

namespace fieldstore::python {

LoadedObject::LoadedObject(const std::string& className, const std::string& path, bool text,
                           std::optional<int> block)
    : object(MakeObject(className)) {
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
    static std::mutex oneAtATime;  // the progress bar, which is kept silent, is one for all
    std::optional<tool::ResultFile> file;
    std::exception_ptr error;
    RunReleased([&] {
        const std::lock_guard lock(oneAtATime);
        const tool::Progress::Silence silence;
        try {
            file = tool::Inspect(path, className);
        } catch (...) {
            error = std::current_exception();
        }
    });
    if (error) std::rethrow_exception(error);
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
