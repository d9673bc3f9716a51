// SPDX-License-Identifier: Apache-2.0
#include "reliability/fuzz/Support.h"
#include "tests/samples/Samples.h"

using namespace fieldstore::fuzz;

namespace {

bool Loads(IPOBase& object, const Kind& kind, std::string_view content) {
    static const MemoryFile file;
    file.Fill(content);
    return Load(object, file, kind.text) == 0;
}

/// Digits that follow others at once would make one number of two.
bool TakesMore(const Kind& kind, std::string_view content) {
    constexpr std::string_view space = " \t\n\v\f\r";
    return !kind.text || content.empty() || space.find(content.back()) != space.npos;
}

}  // namespace

// Merges the bodies of two files of an appending class. The first byte chooses class and mode, the
// next two say where the rest is cut into the two files.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const Kind kind = AppendingKindOf(input.Byte());
    const std::size_t cut = input.Number() % (input.Rest().size() + 1);
    const std::string_view first = input.Rest().substr(0, cut);
    const std::string_view second = input.Rest().substr(cut);

    const auto both = samples::New(kind.name);
    const bool bothLoad = Loads(*both, kind, input.Rest());
    if (bothLoad) RequireStable(*both, kind);
    const auto added = samples::New(kind.name);
    if (!Loads(*added, kind, second)) return 0;
    if (kind.name == "POCircuitMatrices" && Loads(*samples::New(kind.name), kind, first))
        Require(bothLoad, "circuit matrices that load apart load together");

    const auto body = Stored(*added, kind.text);
    if (!body) return 0;  // its version text, of a binary file, cannot stand in text
    const MemoryFile file;
    file.Fill(first);
    const bool appended = Commit(*added, file, kind.text) == 0;
    Require(appended == TakesMore(kind, first), "a commit appends to any file that is ended");
    std::string expected(first);
    if (!appended) {
        Require(file.Content() == expected, "a commit that fails leaves what was in the file");
        return 0;
    }
    // Only the first body of a file may follow a version line.
    if (kind.HasVersionLine() && !first.empty()) {
        added->SetVersion("");
        expected += Stored(*added, kind.text).value_or("");
    } else {
        expected += *body;
    }
    Require(file.Content() == expected, "a commit leaves what was in the file");
    Load(*samples::New(kind.name), file, kind.text);
    return 0;
}
