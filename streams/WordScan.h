// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_WORD_SCAN_H
#define FIELDSTORE_WORD_SCAN_H

#include <cstdint>

namespace fieldstore {

/// Moves over words of text, which white space ends, many bytes at a time. A scan goes on over
/// several pieces of one text.
class WordScan {
public:
    /// Requires: at least one word.
    explicit WordScan(std::uint64_t words) : left(words) {}

    /// Scans a piece; returns its end, or where the last word ends when it ends in the piece.
    const char* Over(const char* begin, const char* end);

    bool Done() const { return left == 0; }
    /// Whether the text so far ends inside a word.
    bool InWord() const { return inWord; }
    /// Whether a word had a character that no number has.
    bool MetForeign() const { return foreign; }

private:
    std::uint64_t left;
    bool inWord = false;
    bool foreign = false;
};

}  // namespace fieldstore

#endif
