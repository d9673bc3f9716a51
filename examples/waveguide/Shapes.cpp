// SPDX-License-Identifier: Apache-2.0
#include "Shapes.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <map>
#include <sstream>
#include <stdexcept>

#include "Refine.h"

namespace waveguide {
namespace {

/// Lines from the first to the last corner with every corner among them, at most `step` apart.
std::vector<double> GridLines(const std::vector<double>& corners, double step) {
    std::vector<double> lines = {corners.front()};
    for (std::size_t i = 1; i < corners.size(); ++i) {
        const double length = corners[i] - corners[i - 1];
        const int parts = std::max(1, static_cast<int>(std::ceil(length / step - 1e-9)));
        for (int k = 1; k <= parts; ++k) lines.push_back(corners[i - 1] + length * k / parts);
    }
    return lines;
}

/// Two triangles for every cell whose middle is `inside`. The diagonals alternate, so that no
/// corner of the section is cut off by a single triangle in every mesh.
Mesh GridMesh(const std::vector<double>& xs, const std::vector<double>& ys,
              const std::function<bool(double, double)>& inside) {
    Mesh mesh;
    const std::size_t columns = xs.size();
    for (const double y : ys) {
        for (const double x : xs) mesh.points.push_back({x, y});
    }
    for (std::size_t j = 0; j + 1 < ys.size(); ++j) {
        for (std::size_t i = 0; i + 1 < columns; ++i) {
            if (!inside(0.5 * (xs[i] + xs[i + 1]), 0.5 * (ys[j] + ys[j + 1]))) continue;
            const std::size_t a = j * columns + i;
            const std::size_t b = a + 1;
            const std::size_t c = b + columns;
            const std::size_t d = a + columns;
            if ((i + j) % 2 == 0) {
                mesh.triangles.insert(mesh.triangles.end(), {{a, b, c}, {a, c, d}});
            } else {
                mesh.triangles.insert(mesh.triangles.end(), {{a, b, d}, {b, c, d}});
            }
        }
    }
    return mesh;
}

/// Six triangles round the centre, halved until the wall has about pi times `divisions` edges.
Mesh DiscMesh(double radius, int divisions) {
    Mesh mesh;
    mesh.wallRadius = radius;
    mesh.points.push_back({0, 0});
    const double sixth = std::acos(-1.0) / 3;
    for (std::size_t k = 0; k < 6; ++k) {
        const double angle = sixth * static_cast<double>(k);
        mesh.points.push_back({radius * std::cos(angle), radius * std::sin(angle)});
        mesh.triangles.push_back({0, k + 1, (k + 1) % 6 + 1});
    }
    for (int size = 2; size < divisions; size *= 2) mesh = RefineUniformly(mesh);
    return mesh;
}

}  // namespace

Mesh StructuredMesh(const Section& section, int divisions) {
    const double width = section.width;
    const double height = section.height;
    const double step = std::max(width, height) / divisions;
    const auto grid = [step](const std::vector<double>& xs, const std::vector<double>& ys,
                             const std::function<bool(double, double)>& inside) {
        return CheckedMesh(GridMesh(GridLines(xs, step), GridLines(ys, step), inside),
                           "structured mesh");
    };
    switch (section.shape) {
        case Shape::Rectangle:
            return grid({0, width}, {0, height}, [](double, double) { return true; });
        case Shape::Circle:
            return DiscMesh(section.radius, divisions);
        case Shape::Ridged: {
            const double left = 0.5 * (width - section.ridgeWidth);
            const double right = width - left;
            const double gap = section.ridgeGap;
            return grid({0, left, right, width}, {0, gap, height},
                        [=](double x, double y) { return y < gap || x < left || x > right; });
        }
        case Shape::LShape:
            return grid({0, width / 2, width}, {0, height / 2, height},
                        [=](double x, double y) { return x < width / 2 || y < height / 2; });
        case Shape::Other:
            break;
    }
    throw std::invalid_argument("No structured mesh for this shape.");
}

std::string Describe(const Section& section) {
    std::ostringstream text;
    const double width = section.width * 1e3;
    const double height = section.height * 1e3;
    switch (section.shape) {
        case Shape::Rectangle:
            text << "rectangle, " << width << " mm x " << height << " mm";
            break;
        case Shape::Circle:
            text << "circle, radius " << section.radius * 1e3 << " mm";
            break;
        case Shape::Ridged:
            text << "ridged rectangle, " << width << " mm x " << height << " mm, ridge "
                 << section.ridgeWidth * 1e3 << " mm wide, gap " << section.ridgeGap * 1e3 << " mm";
            break;
        case Shape::LShape:
            text << "L-shape, " << width << " mm x " << height << " mm without one quarter";
            break;
        case Shape::Other:
            text << "from a mesh file";
            break;
    }
    return text.str();
}

}  // namespace waveguide
