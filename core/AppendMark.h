// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_APPEND_MARK_H
#define FIELDSTORE_APPEND_MARK_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "streams/Platform.h"
#include "streams/Writer.h"

namespace fieldstore {

/// A small file that stands while a body is appended under the lock. Whoever takes the lock and
/// finds it knows that a writer died, or the machine did, and that the end of the data may be torn.
///
/// It lies next to the data, or, where no file can be made there, next to the lock marker; then
/// several data files may share its place, and it counts only for the one that it names. What it
/// holds, a line each: the data's length in bytes, "host ", "boot ", "process " and "start " of the
/// writer, and "data " with the path of the data.
///
/// A commit gives 0 only after its mark is gone for good, so whatever follows the length of a mark
/// was never acknowledged. After the death of a process it is what was written so far, and whole
/// bodies in it are kept. After a power cut it may be anything: a file system may have lengthened
/// the file before the data came, and zeros read as bodies. The same holds for an append that many
/// processes make at once, each at its place; a mark of one names no run of the machine.
struct AppendRecord {
    std::uint64_t length;  // of the data before the append; kUnknownLength for an empty mark
    std::optional<Writer>
        writer;        // nothing in the marks of older versions, which hold the length only
    std::string boot;  // of the writer's machine; "" when unknown
    std::string dataPath;

    static constexpr std::uint64_t kUnknownLength = ~std::uint64_t{0};
    /// In place of the run of the machine; no run has this name, so older versions of the library
    /// take what follows the length for worth nothing as well.
    static constexpr const char* kOneStep = "none: one step";

    /// That of this process for these data.
    static AppendRecord Now(std::uint64_t length, std::string dataPath);
    /// The same for an append that counts as a whole or not at all.
    static AppendRecord OfOneStep(std::uint64_t length, std::string dataPath);
    /// Whether what is behind the length is worth nothing: the append is one step, or the power may
    /// have gone since, as the writer's machine is another one, or was started again.
    bool EndsData() const;

    std::string Text() const;
    /// Nothing when the text is no mark's. An empty one is: its writer died before it wrote.
    static std::optional<AppendRecord> Parse(std::string_view text);
};

/// What is at the place of a mark.
struct AppendMark {
    enum class Kind { Nothing, Mark, Other };
    Kind kind = Kind::Nothing;
    AppendRecord record{};  // of a mark

    /// Raises std::filesystem::filesystem_error when the system cannot tell. A place whose name is
    /// too long has nothing.
    static AppendMark At(const std::string& path);
    /// Whether it is a mark of these data, whose whole path is given. One that lies beside them is,
    /// even when they were moved together.
    bool CountsFor(const std::string& dataPath, bool besideData) const {
        return kind == Kind::Mark && (besideData || record.dataPath == dataPath);
    }
};

}  // namespace fieldstore

#endif
