// SPDX-License-Identifier: Apache-2.0
#include "GmshReader.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <string_view>
#include <unordered_map>

#include "Failure.h"

namespace waveguide {
namespace {

const std::string saveAgain = "save the mesh again as ASCII in format 2.2 or 4.1";

/// The file line by line, each line split into its words. Knows where it is for error messages.
class Lines {
public:
    explicit Lines(const std::string& path) : path_(path), file_(path) {
        if (!file_ || file_.peek() == std::ifstream::traits_type::eof())
            throw Failure(Status::Mesh, path, "the mesh file cannot be read or is empty",
                          "check the path and the permissions");
    }

    /// Moves to the next line that is not blank; false at the end of the file.
    bool Next() {
        while (std::getline(file_, text_)) {
            ++number_;
            Split();
            if (!words_.empty()) return true;
        }
        words_.clear();
        return false;
    }

    void RequireLine() {
        if (!Next()) Fail("the file ends too early", "copy or export it again, it is incomplete");
    }

    /// Moves to a line of the section with at least so many words.
    void RequireValues(std::size_t count) {
        RequireLine();
        if (Marker().front() == '$')
            Fail("the section has fewer lines than it announces", saveAgain);
        if (words_.size() < count) Fail("there are fewer values than expected", saveAgain);
    }

    /// The first word of a section's marker line such as "$Nodes".
    std::string_view Marker() const { return words_[0]; }

    std::int64_t Integer(std::size_t word) const { return Number<std::int64_t>(word); }
    double Real(std::size_t word) const { return Number<double>(word); }

    [[noreturn]] void Fail(const std::string& cause, const std::string& remedy) const {
        throw Failure(Status::Mesh, path_ + ", line " + std::to_string(number_), cause, remedy);
    }

private:
    void Split() {
        constexpr std::string_view blanks = " \t\r";
        words_.clear();
        const std::string_view line = text_;
        for (std::size_t from = line.find_first_not_of(blanks); from != line.npos;) {
            const std::size_t to = std::min(line.find_first_of(blanks, from), line.size());
            words_.push_back(line.substr(from, to - from));
            from = line.find_first_not_of(blanks, to);
        }
    }

    template <typename T>
    T Number(std::size_t word) const {
        if (word >= words_.size()) Fail("there are fewer values than expected", saveAgain);
        const std::string_view text = words_[word];
        T value{};
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
        if (error != std::errc() || end != text.data() + text.size())
            Fail("\"" + std::string(text) + "\" is not a number that belongs here", saveAgain);
        return value;
    }

    std::string path_;
    std::ifstream file_;
    std::string text_;
    std::vector<std::string_view> words_;
    std::size_t number_ = 0;
};

class Reader {
public:
    Reader(const std::string& path, double unit) : path_(path), lines_(path), unit_(unit) {}

    Mesh Read() {
        ReadFormat();
        while (lines_.Next()) {
            const std::string marker(lines_.Marker());
            if (marker.front() != '$')
                lines_.Fail("\"" + marker + "\" stands outside any section", saveAgain);
            ReadSection(marker.substr(1));
        }
        return CheckedMesh(std::move(mesh_), path_);
    }

private:
    void ReadSection(const std::string& section) {
        if (section == "Nodes") {
            isVersion2_ ? ReadNodes2() : ReadNodes4();
        } else if (section == "Elements") {
            isVersion2_ ? ReadElements2() : ReadElements4();
        } else {
            return SkipToEnd(section);
        }
        RequireEnd(section);
    }

    void ReadFormat() {
        lines_.RequireLine();
        if (lines_.Marker() != "$MeshFormat")
            lines_.Fail("this is not a Gmsh mesh file: $MeshFormat is missing", saveAgain);
        lines_.RequireValues(3);
        const double version = lines_.Real(0);
        isVersion2_ = version == 2.2;
        if (!isVersion2_ && version != 4.1)
            lines_.Fail("Gmsh format " + std::string(lines_.Marker()) + " is not supported",
                        saveAgain);
        if (lines_.Integer(1) != 0) lines_.Fail("the file is binary", saveAgain);
        RequireEnd("MeshFormat");
    }

    void SkipToEnd(const std::string& section) {
        do lines_.RequireLine();
        while (lines_.Marker() != "$End" + section);
    }

    void RequireEnd(const std::string& section) {
        lines_.RequireLine();
        if (lines_.Marker() != "$End" + section)
            lines_.Fail("the section has more lines than it announces", saveAgain);
    }

    void AddNode(std::int64_t id, std::size_t firstWord) {
        const double z = lines_.Real(firstWord + 2);
        if (!numbers_.emplace(id, mesh_.points.size()).second)
            lines_.Fail("node " + std::to_string(id) + " occurs twice", saveAgain);
        mesh_.points.push_back(
            {unit_ * lines_.Real(firstWord), unit_ * lines_.Real(firstWord + 1)});
        heights_.push_back(unit_ * z);
    }

    void ReadNodes2() {
        lines_.RequireValues(1);
        for (std::int64_t left = lines_.Integer(0); left > 0; --left) {
            lines_.RequireValues(4);
            AddNode(lines_.Integer(0), 1);
        }
    }

    void ReadNodes4() {
        lines_.RequireValues(4);
        for (std::int64_t blocks = lines_.Integer(0); blocks > 0; --blocks) {
            lines_.RequireValues(4);
            std::vector<std::int64_t> ids;
            for (std::int64_t left = lines_.Integer(3); left > 0; --left) {
                lines_.RequireValues(1);
                ids.push_back(lines_.Integer(0));
            }
            // A parametric block has further coordinates behind x, y and z.
            for (const std::int64_t id : ids) {
                lines_.RequireValues(3);
                AddNode(id, 0);
            }
        }
    }

    void ReadElements2() {
        lines_.RequireValues(1);
        for (std::int64_t left = lines_.Integer(0); left > 0; --left) {
            lines_.RequireValues(3);
            const std::int64_t tags = lines_.Integer(2);
            if (tags < 0 || tags > 1000) lines_.Fail("the number of tags is wrong", saveAgain);
            if (IsTriangle(lines_.Integer(1))) AddTriangle(3 + static_cast<std::size_t>(tags));
        }
    }

    void ReadElements4() {
        lines_.RequireValues(4);
        for (std::int64_t blocks = lines_.Integer(0); blocks > 0; --blocks) {
            lines_.RequireValues(4);
            const bool triangles = IsTriangle(lines_.Integer(2));
            for (std::int64_t left = lines_.Integer(3); left > 0; --left) {
                lines_.RequireValues(1);
                if (triangles) AddTriangle(1);
            }
        }
    }

    /// Whether elements of a Gmsh type make up the section; false for those that are passed over.
    bool IsTriangle(std::int64_t type) const {
        switch (type) {
            case 2:
                return true;
            case 1:   // line
            case 15:  // point
                return false;
            case 3:
                lines_.Fail("the mesh has quadrangles", "mesh with triangles (no recombination)");
            case 8:
            case 9:
                lines_.Fail("the mesh has curved elements",
                            "mesh with order 1; this program adds edge nodes itself");
            case 4:
            case 5:
            case 6:
            case 7:
                lines_.Fail("the mesh has volume elements", "mesh the cross-section only");
            default:
                lines_.Fail("element type " + std::to_string(type) + " is not supported",
                            "mesh the cross-section with triangles of order 1");
        }
    }

    void AddTriangle(std::size_t firstWord) {
        Triangle triangle{};
        for (std::size_t k = 0; k < 3; ++k) {
            const std::int64_t id = lines_.Integer(firstWord + k);
            const auto found = numbers_.find(id);
            if (found == numbers_.end())
                lines_.Fail("node " + std::to_string(id) + " is not defined", saveAgain);
            triangle[k] = found->second;
        }
        CheckPlane(triangle);
        mesh_.triangles.push_back(triangle);
    }

    void CheckPlane(const Triangle& triangle) const {
        const std::size_t origin =
            mesh_.triangles.empty() ? triangle[0] : mesh_.triangles.front()[0];
        for (const std::size_t corner : triangle) {
            const double size = Distance(mesh_.points[triangle[0]], mesh_.points[triangle[1]]);
            if (std::abs(heights_[corner] - heights_[origin]) > 1e-6 * size)
                lines_.Fail("the triangles do not lie in one plane z = constant",
                            "move the cross-section into the x-y plane");
        }
    }

    std::string path_;
    Lines lines_;
    double unit_;
    bool isVersion2_ = false;
    Mesh mesh_;
    std::vector<double> heights_;  ///< z per point
    std::unordered_map<std::int64_t, std::size_t> numbers_;
};

}  // namespace

Mesh ReadGmsh(const std::string& path, double unit) {
    return Reader(path, unit).Read();
}

}  // namespace waveguide
