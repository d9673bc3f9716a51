// SPDX-License-Identifier: Apache-2.0
#include <cereal/archives/binary.hpp>
#include <cereal/types/complex.hpp>
#include <cereal/types/map.hpp>
#include <cereal/types/set.hpp>
#include <cereal/types/utility.hpp>
#include <cereal/types/vector.hpp>

#include "FileStreams.h"

namespace bench {
namespace {

struct Cereal : ArchivePeer<cereal::BinaryOutputArchive, cereal::BinaryInputArchive> {
    static constexpr const char* kName = "cereal";
};

}  // namespace

void AddCereal(std::vector<Case>& cases) {
    AddCases<Cereal>(BinaryWorkloads(), cases);
}

}  // namespace bench
