// SPDX-License-Identifier: Apache-2.0
#include "reliability/fuzz/Support.h"
#include "tests/samples/Samples.h"

// Loads a file of any class in both modes. The first byte chooses, the rest is the file.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace fieldstore::fuzz;
    Input input(data, size);
    const Kind kind = KindOf(input.Byte());
    static const MemoryFile file;
    file.Fill(input.Rest());
    const auto object = samples::New(kind.name);
    const int result = Load(*object, file, kind.text);
    Require(result == 0 || result == 1, "a file that is there is no missing one");
    if (result != 0) return 0;
    UseLoaded(*object);
    RequireStable(*object, kind);
    return 0;
}
