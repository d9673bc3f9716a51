// SPDX-License-Identifier: Apache-2.0
#include "LabelsFile.h"

#include <fstream>

namespace waveguide {
namespace {

constexpr const char* beforeModes = R"({
  "schema": 1,
  "comment": "Written by waveguide solve; docs/waveguide.md describes the data.",
  "matrixTypes": {
    "0": {"name": "Re Z", "unit": "ohm"},
    "1": {"name": "Im Z", "unit": "ohm"},
    "2": {"name": "Re Y", "unit": "S"},
    "3": {"name": "Im Y", "unit": "S"}
  },
  "entityTypes": {
    "1": {"name": "run"},
    "2": {"name": "pass"},
    "3": {"name": "element"},
    "4": {"name": "mode"},
    "5": {"name": "node"}
  },
  "valueTypes": {
    "11": {"name": "geometry", "components": ["shape", "width [m]", "height [m]", "radius [m]",
                                              "ridge width [m]", "ridge gap [m]"]},
    "12": {"name": "sweep", "components": ["first [Hz]", "last [Hz]", "points"]},
    "13": {"name": "settings", "components": ["length [m]", "loss tangent", "modes", "order",
                                              "tolerance", "converged"]},
    "14": {"name": "nodes, sum over the passes"},
    "15": {"name": "nodes, most of a pass"},
    "16": {"name": "nodes, mean over the passes"},
    "21": {"name": "size", "components": ["elements", "nodes", "unknowns", "change"]},
    "22": {"name": "error indicator, sum"},
    "23": {"name": "error indicator, largest"},
    "31": {"name": "error indicator"},
    "41": {"name": "cutoff", "unit": "rad/m"},
    "51": {"name": "longitudinal field", "components": [)";

}  // namespace

void WriteLabels(const Store& store, const std::vector<Mode>& modes) {
    std::ofstream file(store.LabelsPath());
    file << beforeModes;
    for (std::size_t m = 0; m < modes.size(); ++m)
        file << (m == 0 ? "\"" : ", \"") << ShortName(modes[m]) << '"';
    file << "]}\n  }\n}\n";
    if (!file.flush())
        throw Failure(Status::Store, store.LabelsPath(), "writing failed",
                      "make room on the file system and check that it can be written");
}

}  // namespace waveguide
