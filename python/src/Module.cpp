// SPDX-License-Identifier: Apache-2.0
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include "Arrays.h"
#include "Classes.h"
#include "Loading.h"
#include "Writing.h"
#include "core/SideFiles.h"
#include "fieldstore/version.h"

namespace py = pybind11;
using namespace fieldstore::python;

namespace {

std::string Version() {
    return std::to_string(FIELDSTORE_VERSION_MAJOR) + "." +
           std::to_string(FIELDSTORE_VERSION_MINOR) + "." +
           std::to_string(FIELDSTORE_VERSION_PATCH);
}

/// A text with a path in it, which may be any bytes.
py::str Decoded(const std::string& text) {
    return py::reinterpret_steal<py::str>(PyUnicode_DecodeFSDefault(text.c_str()));
}

/// The default file of each class.
py::dict FileNames() {
    py::dict names;
    for (const auto* traits : fieldstore::kAllTraits) names[traits->name] = traits->fileName;
    return names;
}

/// Types like any other; pybind11's own metaclass is for static properties.
py::metaclass PlainType() {
    return py::metaclass(reinterpret_cast<PyObject*>(&PyType_Type));
}

void DefineLoadedObject(py::module_& module) {
    py::class_<LoadedObject>(module, "LoadedObject", PlainType())
        .def(py::init<const std::string&, const std::string&, bool, std::optional<int>>(),
             py::arg("class_name"), py::arg("path"), py::arg("text"), py::arg("block"))
        .def_static("sliced", &LoadedObject::Sliced, py::arg("class_name"), py::arg("path"),
                    py::arg("keys"))
        .def_property_readonly("text", &LoadedObject::IsText)
        .def_property_readonly("result", &LoadedObject::Result)
        .def_property_readonly("reason",
                               [](const LoadedObject& self) { return Decoded(self.Reason()); })
        .def_property_readonly("block_count", &LoadedObject::BlockCount)
        .def_property_readonly("extra_width", &LoadedObject::ExtraWidth)
        .def("basis_counts", &LoadedObject::BasisCounts, py::arg("list"))
        .def("extra_entries",
             [](const py::object& self) {
                 const auto& list = dynamic_cast<PODOFList&>(self.cast<LoadedObject&>().Object());
                 const auto& entries = list.GetExtraEntries();
                 return View(entries.data(), {static_cast<py::ssize_t>(entries.size())}, self);
             })
        .def(
            "field",
            [](const py::object& self, const std::string& name) {
                return FieldOf(self.cast<LoadedObject&>().Object(), name, self);
            },
            py::arg("name"));
}

/// The result of a commit and its reason.
py::tuple Outcome(const std::pair<int, std::string>& outcome) {
    return py::make_tuple(outcome.first, Decoded(outcome.second));
}

void DefineTarget(py::module_& module) {
    py::class_<Target>(module, "Target", PlainType())
        .def(py::init([](std::string path, std::optional<bool> text, bool lock,
                         std::string lockDirectory, bool durable, std::string version) {
                 return Target{std::move(path),          text,    lock,
                               std::move(lockDirectory), durable, std::move(version)};
             }),
             py::arg("path"), py::arg("text"), py::arg("lock"), py::arg("lock_directory"),
             py::arg("durable"), py::arg("version"));
}

void DefineWritableObject(py::module_& module) {
    py::class_<WritableObject>(module, "WritableObject", PlainType())
        .def(py::init<const std::string&>(), py::arg("class_name"))
        .def("add_modes", &WritableObject::AddModes, py::arg("frequencies"), py::arg("port"),
             py::arg("groups"), py::arg("gammas"), py::arg("data"))
        .def("set_matrices", &WritableObject::SetMatrices, py::arg("type"), py::arg("frequencies"),
             py::arg("values"))
        .def("set_dof_map", &WritableObject::SetDOFMap, py::arg("offsets"), py::arg("columns"),
             py::arg("weights"), py::arg("types"))
        .def("set_mesh", &WritableObject::SetMesh, py::arg("ids"), py::arg("pairs"))
        .def("set_records", &WritableObject::SetRecords, py::arg("records"), py::arg("totals"),
             py::arg("header"), py::arg("last_block"), py::arg("in_blocks"), py::arg("extra"))
        .def("set_tree", &WritableObject::SetTree, py::arg("tag"), py::arg("id_count"),
             py::arg("level_count"), py::arg("leaf_count"), py::arg("leaf_counts"),
             py::arg("nodes"), py::arg("node_items"), py::arg("keys"), py::arg("mapped_items"),
             py::arg("auxiliary"))
        .def("set_ports", &WritableObject::SetPorts, py::arg("counts"), py::arg("positions"),
             py::arg("dofs"))
        .def("define_values", &WritableObject::DefineValues, py::arg("entity_type"),
             py::arg("value_type"), py::arg("size"), py::arg("function"))
        .def("add_values", &WritableObject::AddValues, py::arg("entity_type"),
             py::arg("value_type"), py::arg("ids"), py::arg("indices"), py::arg("values"))
        .def("add_nodes", &WritableObject::AddNodes, py::arg("ids"), py::arg("positions"),
             py::arg("neighbors"))
        .def("add_edges", &WritableObject::AddEdges, py::arg("ids"), py::arg("nodes"))
        .def("set_header", &WritableObject::SetHeader, py::arg("id"), py::arg("fields"))
        .def("add_elements", &WritableObject::AddElements, py::arg("elements"), py::arg("nodes"))
        .def_property_readonly("appends", &WritableObject::Appends)
        .def(
            "commit",
            [](WritableObject& self, const Target& target) { return Outcome(self.Commit(target)); },
            py::arg("target"))
        .def(
            "bytes",
            [](WritableObject& self, const Target& target) {
                const auto [start, body] = self.Bytes(target);
                return py::make_tuple(py::bytes(start), py::bytes(body));
            },
            py::arg("target"))
        .def(
            "append_parts",
            [](WritableObject& self, const Target& target, const std::vector<Part>& parts) {
                return Outcome(self.AppendParts(target, parts));
            },
            py::arg("target"), py::arg("parts"));
}

}  // namespace

PYBIND11_MODULE(_fieldstore, module) {
    module.doc() = "The library behind the package fieldstore; use that.";
    module.attr("__version__") = Version();
    module.attr("FILE_NAMES") = FileNames();
    DefineLoadedObject(module);
    DefineTarget(module);
    DefineWritableObject(module);
    module.def("inspect", &InspectFile, py::arg("path"), py::arg("class_name"));
    module.def("even_length", &EvenLength, py::arg("ends"), py::arg("begin"), py::arg("end"));
    module.def("any_negative_id", &AnyNegativeId, py::arg("keys"), py::arg("begin"),
               py::arg("end"));
    module.def("lock_path", &fieldstore::LockPathFor, py::arg("path"));
}
