// SPDX-License-Identifier: Apache-2.0
#include "tool/formats/Vtu.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <limits>
#include <map>
#include <ostream>
#include <set>
#include <system_error>
#include <utility>
#include <variant>

#include "streams/FileNames.h"
#include "tool/Error.h"
#include "tool/LoadedFile.h"
#include "tool/Terminal.h"
#include "tool/formats/VtuFile.h"
#include "tool/formats/VtuMesh.h"

namespace fieldstore::tool {
namespace {

/// What the entities of a type are.
enum class Role { Node, Element, Edge, Other };

constexpr std::array<const char*, 3> kRoleNames{"node", "element", "edge"};

Role RoleNamed(const std::string& name) {
    return static_cast<Role>(std::find(kRoleNames.begin(), kRoleNames.end(), name) -
                             kRoleNames.begin());
}

/// Roles by entity type: those of the command line, else those that labels name.
class Roles {
public:
    Roles(const Labels& labels, const std::vector<std::string>& given) {
        for (const auto& [type, label] : labels.All(Labels::eEntityTypes))
            roles[type] = RoleNamed(label.name);
        std::set<int> told;
        for (const auto& text : given) {
            const auto [role, type] = Parsed(text);
            if (!told.insert(type).second)
                throw Error("", "--entity names type " + std::to_string(type) + " twice",
                            "Name it once.");
            roles[type] = role;
        }
    }
    Role Of(int combination) const {
        const auto found = roles.find(EntityTypeOf(combination));
        return found == roles.end() ? Role::Other : found->second;
    }

private:
    static std::pair<Role, int> Parsed(const std::string& text) {
        const auto equals = text.find('=');
        const Role role = RoleNamed(text.substr(0, equals));
        int type = -1;
        if (equals != std::string::npos) {
            const char* const end = text.data() + text.size();
            if (std::from_chars(text.data() + equals + 1, end, type).ptr != end) type = -1;
        }
        if (role == Role::Other || type < 0)
            throw Error("", "--entity " + text + " is not understood",
                        "Say what a type is, as in --entity node=4 --entity element=3.");
        return {role, type};
    }

    std::map<int, Role> roles;
};

/// The values of a type at an index, by ascending entity.
using Column = std::vector<std::pair<std::uint32_t, const Doubles*>>;
/// By type.
using Columns = std::map<int, Column>;

std::map<std::uint32_t, Columns> ColumnsByIndex(const SolutionMetricsBody& body) {
    std::map<std::uint32_t, Columns> byIndex;
    for (const auto& [key, values] : body.values) {
        const auto index = static_cast<std::uint32_t>(key.second.first);
        const auto entity = static_cast<std::uint32_t>(key.second.second);
        byIndex[index][key.first].emplace_back(entity, &values);
    }
    for (auto& [index, columns] : byIndex)
        for (auto& [type, column] : columns) std::sort(column.begin(), column.end());
    return byIndex;
}

/// The numbers of each entity; raises when they are not as many everywhere.
std::size_t ComponentsOf(int type, const Column& column) {
    constexpr std::size_t most = 1000;  // an entity without values takes as many
    const std::size_t count = column.front().second->size();
    for (const auto& entry : column)
        if (entry.second->size() != count)
            throw Error("", "values of type " + std::to_string(type) + " differ in number",
                        "Run fieldstore check.");
    if (count > most)
        throw Error("", "an entity has more than 1000 values of type " + std::to_string(type),
                    "Use --format npy.");
    return count;
}

void PutNumbers(std::ostream& out, const double* numbers, std::uint64_t count) {
    out.write(reinterpret_cast<const char*>(numbers),
              static_cast<std::streamsize>(count * sizeof(double)));
}

/// Makes the files of one object.
class Picture {
public:
    Picture(const SolutionMetricsBody& body, const Labels& named, const VtuOptions& options)
        : labels(named), roles(named, options.entities), mesh(body), byIndex(ColumnsByIndex(body)) {
        for (const auto& [index, columns] : byIndex)
            for (const auto& [type, column] : columns) ComponentsOf(type, column);
    }

    void TakeElements(const AssemblyInfoBody& assembly) { mesh.TakeElements(assembly); }
    bool HasValues() const { return !byIndex.empty(); }

    /// The indices with values of nodes and cells; all, when there are no such values.
    std::vector<std::uint32_t> Indices() const {
        std::vector<std::uint32_t> placed, all;
        for (const auto& [index, columns] : byIndex) {
            all.push_back(index);
            const bool any = std::any_of(columns.begin(), columns.end(), [this](const auto& entry) {
                return RowsOf(entry.first) != nullptr;
            });
            if (any) placed.push_back(index);
        }
        return placed.empty() ? all : placed;
    }

    void Write(std::uint32_t index, const std::vector<std::uint32_t>& indices,
               std::ostream& out) const {
        VtuFile file(mesh.NodeIds().size(), mesh.CellIds().size());
        const std::vector<double> time{static_cast<double>(index)};
        file.Add(VtuFile::eFieldData, "TimeValue", time);
        file.Add(VtuFile::ePoints, "Points", mesh.Coordinates(), 3);
        file.Add(VtuFile::eCells, "connectivity", mesh.Connectivity());
        file.Add(VtuFile::eCells, "offsets", mesh.Offsets());
        file.Add(VtuFile::eCells, "types", mesh.Types());
        file.Add(VtuFile::ePointData, "node", mesh.NodeIds());
        file.Add(VtuFile::eCellData, mesh.HasElements() ? "element" : "edge", mesh.CellIds());
        std::array<std::set<std::string>, 5> names{
            {{"TimeValue"}, {}, {}, {"node"}, {"element", "edge"}}};
        for (const auto& [other, columns] : byIndex) {
            // Values without a file of their own, such as those of the run, belong to all.
            const bool isCommon = !std::binary_search(indices.begin(), indices.end(), other);
            if (other != index && !isCommon) continue;
            for (const auto& [type, column] : columns) AddColumn(file, names, type, other, column);
        }
        file.Write(out);
    }

    /// What may be unexpected in the files, a line each.
    std::vector<std::string> Notes() const {
        std::vector<std::string> notes;
        std::set<int> unplaced;
        std::string partly;
        std::uint64_t strays = 0;
        for (const auto& [index, columns] : byIndex) {
            std::uint64_t fewest = mesh.CellIds().size();
            for (const auto& [type, column] : columns) {
                const auto* rows = RowsOf(type);
                if (rows == nullptr && roles.Of(type) != Role::Other) unplaced.insert(type);
                if (rows == nullptr) continue;
                const std::uint64_t found = CountIn(*rows, column);
                strays += column.size() - found;
                if (rows == &mesh.CellIds()) fewest = std::min(fewest, found);
            }
            if (fewest < mesh.CellIds().size())
                partly += (partly.empty() ? "" : ", ") + std::to_string(index);
        }
        std::transform(unplaced.begin(), unplaced.end(), std::back_inserter(notes),
                       [this](int type) { return UnplacedNote(type); });
        if (strays != 0)
            notes.push_back(Counted(strays, "value is", "values are") +
                            " left out, of nodes or cells that the mesh does not have");
        if (!partly.empty())
            notes.push_back("at index " + partly +
                            " not every cell has values; they may be those of another mesh");
        return notes;
    }

    bool PlacesAny() const {
        return std::any_of(byIndex.begin(), byIndex.end(), [this](const auto& columns) {
            return std::any_of(
                columns.second.begin(), columns.second.end(),
                [this](const auto& column) { return RowsOf(column.first) != nullptr; });
        });
    }

private:
    using Rows = std::vector<std::uint32_t>;

    /// The ids that the values of a type stand beside; null for field data.
    const Rows* RowsOf(int type) const {
        const Role role = roles.Of(type);
        if (role == Role::Node) return &mesh.NodeIds();
        return role == (mesh.HasElements() ? Role::Element : Role::Edge) ? &mesh.CellIds()
                                                                         : nullptr;
    }

    std::string UnplacedNote(int type) const {
        const auto role = static_cast<std::size_t>(roles.Of(type));
        return "type " + std::to_string(type) + " is in the field data: there are no " +
               kRoleNames[role] + "s among the cells";
    }

    static std::uint64_t CountIn(const Rows& rows, const Column& column) {
        return static_cast<std::uint64_t>(
            std::count_if(column.begin(), column.end(), [&rows](const auto& entry) {
                return std::binary_search(rows.begin(), rows.end(), entry.first);
            }));
    }

    void AddColumn(VtuFile& file, std::array<std::set<std::string>, 5>& names, int type,
                   std::uint32_t index, const Column& column) const {
        const TypeLabel* label = labels.Find(Labels::eValueTypes, type);
        const std::string number = "type" + std::to_string(type);
        const auto* rows = RowsOf(type);
        const auto section = rows == nullptr           ? VtuFile::eFieldData
                             : rows == &mesh.NodeIds() ? VtuFile::ePointData
                                                       : VtuFile::eCellData;
        VtuFile::Array array;
        array.name = label == nullptr ? number : label->Text();
        if (!names[section].insert(array.name).second)
            array.name += " (" + number + ", index " + std::to_string(index) + ")";
        array.type = "Float64";
        const std::size_t components = ComponentsOf(type, column);
        array.components = components;
        if (label != nullptr) array.componentNames = label->components;
        array.tuples = rows == nullptr ? column.size() : rows->size();
        array.bytes = array.tuples * array.components * sizeof(double);
        array.put = [rows, &column, components](std::ostream& out) {
            rows == nullptr ? PutAll(out, column) : PutBeside(out, *rows, column, components);
        };
        if (rows == nullptr && column.size() > 1) AddEntities(file, array.name, column);
        file.Add(section, std::move(array));
    }

    /// Which entities the values of an array in the field data belong to.
    static void AddEntities(VtuFile& file, const std::string& name, const Column& column) {
        VtuFile::Array array;
        array.name = name + " of entity";
        array.type = "UInt32";
        array.tuples = column.size();
        array.bytes = column.size() * sizeof(std::uint32_t);
        array.put = [&column](std::ostream& out) {
            for (const auto& entry : column)
                out.write(reinterpret_cast<const char*>(&entry.first), sizeof entry.first);
        };
        file.Add(VtuFile::eFieldData, std::move(array));
    }

    static void PutAll(std::ostream& out, const Column& column) {
        for (const auto& entry : column)
            PutNumbers(out, entry.second->data(), entry.second->size());
    }

    static void PutBeside(std::ostream& out, const Rows& rows, const Column& column,
                          std::size_t components) {
        const Doubles missing(components, std::numeric_limits<double>::quiet_NaN());
        auto next = column.begin();
        for (const std::uint32_t row : rows) {
            while (next != column.end() && next->first < row) ++next;
            const bool found = next != column.end() && next->first == row;
            PutNumbers(out, found ? next->second->data() : missing.data(), components);
        }
    }

    const Labels& labels;
    Roles roles;
    VtuMesh mesh;
    std::map<std::uint32_t, Columns> byIndex;
};

void TakeAssembly(const std::string& path, Picture& picture) {
    const AnyBody body = LoadWhole(path, "POAssemblyInfo").InMemory();
    try {
        picture.TakeElements(std::get<AssemblyInfoBody>(body));
    } catch (const Error& error) {
        throw Error(path, error, "Name the assembly of this mesh with --assembly.");
    }
}

void TakeAssembly(const std::string& input, const std::string& named, Picture& picture) {
    if (!named.empty()) return TakeAssembly(named, picture);
    const std::string beside =
        input.substr(0, platform::LastNameIn(input)) + AssemblyInfoBody::kTraits.fileName;
    std::error_code none;
    if (!platform::Exists(beside)) return;
    try {
        TakeAssembly(beside, picture);
    } catch (const Error& error) {
        Say("the elements are left out, the edges are drawn");
        Say(error);
    }
}

void PutCollection(const std::vector<std::uint32_t>& indices, std::ostream& out) {
    out << "<?xml version=\"1.0\"?>\n"
           "<VTKFile type=\"Collection\" version=\"0.1\" byte_order=\"LittleEndian\">\n"
           "  <Collection>\n";
    for (const auto index : indices)
        out << "    <DataSet timestep=\"" << index << "\" part=\"0\" file=\"metrics_" << index
            << ".vtu\"/>\n";
    out << "  </Collection>\n</VTKFile>\n";
}

void Put(const SolutionMetricsBody& body, const std::string& input, const Labels& labels,
         const VtuOptions& options, const FileSet& files) {
    Picture picture = [&] {
        try {
            return Picture(body, labels, options);
        } catch (const Error& error) {
            throw Error(input, error, "");
        }
    }();
    TakeAssembly(input, options.assembly, picture);
    for (const auto& note : picture.Notes()) Say(note);
    if (picture.HasValues() && !picture.PlacesAny())
        Say("all values are in the field data: say which entity types are nodes, elements or edges "
            "with --entity node=4, or in labels.json");
    auto indices = picture.Indices();
    if (indices.empty()) indices.push_back(0);
    const auto write = [&](std::uint32_t index) {
        return [&, index](std::ostream& out) { picture.Write(index, indices, out); };
    };
    if (indices.size() == 1) return files.WriteSingle("metrics.vtu", write(indices.front()));
    for (const auto index : indices)
        files.Write("metrics_" + std::to_string(index) + ".vtu", write(index));
    files.Write("metrics.pvd", [&](std::ostream& out) { PutCollection(indices, out); });
}

template <typename Body>
void Put(const Body& /*body*/, const std::string& /*input*/, const Labels& /*labels*/,
         const VtuOptions& /*options*/, const FileSet& /*files*/) {
    RefuseClass<Body>("vtu");
}

}  // namespace

void DescribeVtu(const CommandLine& command, VtuOptions& options) {
    command
        .Values(
            "--entity", options.entities,
            "vtu: what the entities of a type are, node, element or edge, as in node=4; may\n"
            "be repeated; else labels.json tells. A number, or a range A:B: only these entities")
        .Shows("WHAT=TYPE");
    command.Value("--assembly", options.assembly,
                  "vtu: file of the elements; else assemblyinfo.dat next to the data, if it fits");
}

void DumpVtu(const AnyBody& any, const std::string& input, const Labels& labels,
             const VtuOptions& options, const FileSet& files) {
    std::visit([&](const auto& body) { Put(body, input, labels, options, files); }, any);
}

}  // namespace fieldstore::tool
