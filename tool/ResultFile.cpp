// SPDX-License-Identifier: Apache-2.0
#include "tool/ResultFile.h"

#include <array>
#include <numeric>

#include "tool/Error.h"

namespace fieldstore::tool {

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

}  // namespace fieldstore::tool
