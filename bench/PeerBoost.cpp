// SPDX-License-Identifier: Apache-2.0
#include <boost/archive/binary_iarchive.hpp>
#include <boost/archive/binary_oarchive.hpp>
#include <boost/archive/text_iarchive.hpp>
#include <boost/archive/text_oarchive.hpp>
#include <boost/serialization/complex.hpp>
#include <boost/serialization/map.hpp>
#include <boost/serialization/set.hpp>
#include <boost/serialization/utility.hpp>
#include <boost/serialization/vector.hpp>

#include "FileStreams.h"

namespace bench {
namespace {

struct BoostBinary : ArchivePeer<boost::archive::binary_oarchive, boost::archive::binary_iarchive> {
    static constexpr const char* kName = "boost";
};

struct BoostText : ArchivePeer<boost::archive::text_oarchive, boost::archive::text_iarchive> {
    static constexpr const char* kName = "boost";
};

}  // namespace

void AddBoost(std::vector<Case>& cases) {
    AddCases<BoostBinary>(BinaryWorkloads(), cases);
    AddCases<BoostText>(TextWorkloads(), cases);
}

}  // namespace bench
