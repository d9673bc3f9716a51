// SPDX-License-Identifier: Apache-2.0
// The bookmark index and its block.

#include "core/POIndex.h"
#include "tests/support.h"

namespace {

using support::Bytes;
using support::Raised;

std::vector<char> Block(const std::string& bytes) {
    return {bytes.begin(), bytes.end()};
}

TEST(Index, BuildsABlockOfFixedSize) {
    POIndex index;
    std::vector<char> block;
    EXPECT_EQ(index.BuildIndex(block, 3, 6), 50u);
    EXPECT_EQ(block, Block(Bytes().I32(3).I32(6).Zeros(42)));
    EXPECT_EQ(Raised([&] { index.BuildIndex(block, 1, 0); }), "Index parameters already defined.");
    EXPECT_EQ(Raised([&] { index.BuildIndex(block, 0, 1); }), "Index parameters already defined.");

    std::vector<char> larger(9, 'x');
    index.WriteIndexFront(larger);
    EXPECT_EQ(larger, Block(Bytes().I32(3).I32(6).Text("x")));

    index.SetBookmark("b", 1);
    index.SetBookmark("b", 258);
    index.SetBookmark("apple", -1);
    EXPECT_EQ(index.BuildIndex(block, -1, 0), 50u);
    EXPECT_EQ(
        block,
        Block(
            Bytes().I32(3).I32(6).Text("apple").Zeros(1).I64(-1).Text("b").Zeros(5).I64(258).Zeros(
                14)));

    index.SetBookmark("banana", 0);
    EXPECT_EQ(Raised([&] { index.BuildIndex(block, -1, 0); }), "Bookmark string too long.");
    index.SetBookmark("c", 0);
    EXPECT_EQ(Raised([&] { index.BuildIndex(block, -1, 0); }), "Index size exceeded.");
    index.ClearBookmarks();
    EXPECT_EQ(index.GetBookmarkCount(), 0);
    EXPECT_EQ(index.GetIndexSize(), 50);
    EXPECT_EQ(Raised([&] { index.GetBookmark("b"); }), "Invalid index string.");
}

TEST(Index, ParsesABlockOrSaysWhatIsWrong) {
    const auto entry = [](const std::string& name, std::int64_t position) {
        return std::string(Bytes().Text(name).Zeros(3 - name.size()).I64(position));
    };
    const auto front = [](int entries, int width) {
        return std::string(Bytes().I32(entries).I32(width));
    };
    struct Case {
        std::string block;
        std::string error;
        int bookmarks;
    };
    const Case cases[] = {
        {front(2, 3) + entry("0", 40) + entry("1", 80), "", 2},
        {front(2, 3) + entry("0", 40) + entry("", 0), "", 1},
        {front(2, 3) + entry("", 0) + entry("1", 80), "", 0},
        {front(1, 3) + entry("abc", 9), "", 1},  // the zero byte is missing
        {front(2, 3) + entry("0", 40) + entry("0", 80), "Duplicate index entry.", 1},
        {std::string(7, '\0'), "Invalid index front data.", 0},
        {"", "Invalid index front data.", 0},
        {front(0, 3), "Invalid index data.", 0},
        {front(2, -1), "Invalid index data.", 0},
        {front(1, 3) + entry("0", 40) + "x", "Index size mismatch.", 0},
        {front(2147483647, 2147483647), "Index size mismatch.", 0},
        {front(1 << 29, 8), "Index size mismatch.", 0}};  // 2^33 + 8, in 32 bits 8
    for (const Case& c : cases) {
        POIndex index;
        index.SetBookmark("old", 1);
        EXPECT_EQ(Raised([&] { index.ParseIndex(Block(c.block)); }), c.error);
        if (c.error != "Invalid index front data.") {
            EXPECT_EQ(index.GetBookmarkCount(), c.bookmarks) << c.error;
        }
    }
    POIndex index;
    index.ParseIndex(Block(front(2, 3) + entry("0", 40) + entry("1", 80)));
    EXPECT_EQ(index.GetBookmark("1"), 80);
    std::vector<char> block;
    EXPECT_EQ(Raised([&] { index.BuildIndex(block, 2, 3); }), "Index parameters already defined.");
}

}  // namespace
