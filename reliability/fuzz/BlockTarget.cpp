// SPDX-License-Identifier: Apache-2.0
#include <stdexcept>
#include <vector>

#include "core/POIndex.h"
#include "core/POVersion.h"
#include "reliability/fuzz/Support.h"
#include "tests/samples/Samples.h"

using namespace fieldstore::fuzz;

namespace {

void UseBlock(IPODOFList& list) {
    int counts[4] = {};
    IPODOFList::Flat records[4], extra;
    IPODOFList::Ids ids[3];
    list.ExtractBlock(&counts[0], records[0], &counts[1], records[1], ids[0], extra, &counts[2],
                      records[2], ids[1], &counts[3], records[3], ids[2]);
    list.GetBlockDOFCount(0);
    samples::Describe(dynamic_cast<IPOBase&>(list));
}

/// A DOF list in blocks: its header, the block that two bytes choose, and some more.
void ReadBlockedList(Input input) {
    const auto chosen = static_cast<int>(input.Number());
    static const MemoryFile file;
    file.Fill(input.Rest());
    for (const int block : {-1, chosen, 0, 1}) {
        const auto object = samples::New("PODOFList");
        auto& list = dynamic_cast<IPODOFList&>(*object);
        list.SetSelectedBlock(block);
        if (Load(*object, file, false) != 0) continue;
        UseBlock(list);
        const MemoryFile copy;
        if (Commit(*object, copy, false) != 0) continue;  // a part of a list
        list.SetSelectedBlock(0);
        Require(Load(*object, copy, false) == 0, "what was stored in blocks loads");
    }
}

/// A bookmark index: what a parsed one is built to is parsed to the same.
void ReadIndex(Input input) {
    const auto parse = [](POIndex& index, const std::vector<char>& block) {
        try {
            index.ParseIndex(block);
            return true;
        } catch (const std::runtime_error&) {
            return false;
        }
    };
    POIndex index;
    if (!parse(index, {input.Rest().begin(), input.Rest().end()})) return;
    std::vector<char> built, again;
    try {
        index.BuildIndex(built, -1, 0);
    } catch (const std::runtime_error&) {
        return;  // a name without the zero byte at its end is read and not written
    }
    Require(built.size() == input.Rest().size(), "an index keeps its size");
    POIndex second;
    Require(parse(second, built), "an index that was built is parsed");
    second.BuildIndex(again, -1, 0);
    Require(built == again, "an index keeps its bookmarks");
}

/// A version text that a host may choose: it is stored and read back, or the commit fails.
void StoreVersion(Input input) {
    const std::uint8_t selector = input.Byte();
    const Kind kind{selector % 2 == 0 ? "POBinaryTree" : "POSolutionMetrics",
                    selector / 2 % 2 != 0};
    const std::string text(input.Rest());
    const auto object = samples::New(kind.name);
    samples::Fill(*object);
    object->SetVersion(text);
    const MemoryFile file;
    const bool stored = Commit(*object, file, kind.text) == 0;
    const bool writable = POVersion(text).IsWritable(kind.text, '\n');
    Require(stored == writable, "a version text is stored exactly when it can be read back");
    if (!stored) object->SetVersion("");  // or its destructor fails to commit it once more
    if (!stored) return;
    const auto loaded = samples::New(kind.name);
    Require(Load(*loaded, file, kind.text) == 0, "a file with a version line loads");
    Require(Stored(*loaded, kind.text) == file.Content(), "a version text is read back");
}

}  // namespace

// The parts of files that stand beside the data: blocks of a DOF list with their index, the index
// alone, and the version line. The first byte chooses.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    constexpr int parts = 3;
    switch (input.Byte() % parts) {
        case 0:
            ReadBlockedList(input);
            break;
        case 1:
            ReadIndex(input);
            break;
        default:
            StoreVersion(input);
    }
    return 0;
}
