// SPDX-License-Identifier: Apache-2.0
#include <vector>

#include "reliability/fuzz/StandardNumbers.h"
#include "reliability/fuzz/Support.h"

using namespace fieldstore::fuzz;

namespace {

/// Text of a number, cut at every place: where the text ends counts. Each cut lies in memory of its
/// own, so that the sanitizer sees a look beyond it.
void ReadText(std::string_view text) {
    constexpr std::size_t most = 64;
    for (std::size_t length = text.size(); length + most > text.size(); --length) {
        const std::vector<char> cut(text.begin(),
                                    text.begin() + static_cast<std::ptrdiff_t>(length));
        Require(ReadsAsStandard({cut.data(), length}), "text is read as the standard reads it");
        if (length == 0) return;
    }
}

/// Every eight bytes are a double; what is written for it is read back.
void WriteDoubles(std::string_view bytes) {
    double value = 0;
    for (; bytes.size() >= sizeof value; bytes.remove_prefix(sizeof value)) {
        std::memcpy(&value, bytes.data(), sizeof value);
        const StandardText text(value);
        Require(WritesAsStandard(value, text), "a double is written as the standard writes it");
        Require(WritesShortestAsStandard(value), "the shortest text is that of the standard");
        ReadText(text.View());
    }
}

}  // namespace

// Doubles and their text, against the standard conversions. The first byte chooses.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    input.Byte() % 2 == 0 ? ReadText(input.Rest()) : WriteDoubles(input.Rest());
    return 0;
}
