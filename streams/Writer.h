// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_WRITER_H
#define FIELDSTORE_WRITER_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace fieldstore {

/// The process that is writing a file, as the side files of a commit name it.
struct Writer {
    std::string host;  // letters, digits, "-" and "_" only
    std::int64_t process = 0;
    std::uint64_t start =
        0;  // of the process, which its number alone does not tell from a later one

    static Writer ThisProcess();
    enum class State { Runs, Gone, OnAnotherHost };
    /// Whether it still runs, which only its own machine can tell.
    State Now() const;
};

/// Decimal digits and nothing else, as a number; nothing for other texts and larger numbers.
std::optional<std::uint64_t> ParseDecimal(std::string_view digits);

/// What the name of a file that is to replace another has after that file's name, for the nth such
/// file of a writer.
std::string ReplacementSuffix(const Writer& writer, int number);

/// Such a name taken apart.
struct ReplacementName {
    std::string_view target;       // the name of the file that was to be replaced
    std::optional<Writer> writer;  // nothing in the names of older versions
};
/// Nothing for a name that is none.
std::optional<ReplacementName> ParseReplacementName(std::string_view name);

}  // namespace fieldstore

#endif
