// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_TERMINAL_H
#define FIELDSTORE_TOOL_TERMINAL_H

#include <chrono>
#include <cstdint>
#include <exception>
#include <string>
#include <utility>
#include <vector>

#include "tool/Error.h"
#include "tool/Visible.h"

namespace fieldstore::tool {

/// As the numbers that a terminal knows them by.
enum class Colour { Red = 31, Green = 32, Yellow = 33 };

/// The text in a colour where the results go to a terminal and NO_COLOR is not set.
std::string Painted(const std::string& text, Colour colour);

/// A line to the person at the terminal: standard error, where results do not go.
void Say(const std::string& line);
void Say(const Error& error);

/// Nobody reads the standard output any more, as in "fieldstore dump FILE | head": the end, and
/// nothing to talk about.
struct ClosedPipe : std::exception {
    const char* what() const noexcept override { return "the standard output is closed"; }
};
/// Raises ClosedPipe, or an Error with these texts when the standard output took less than all.
void FlushOutput(const std::string& cause = "cannot be written",
                 const std::string& remedy = "Is the disk full?");

/// Asks on the terminal; false when there is none.
bool Confirmed(const std::string& question);

/// Rows of cells in columns as wide as their widest cell; rows may have fewer cells than others. A
/// row of one cell is a line of its own. Columns move closer where the lines get too long.
class Table {
public:
    void Add(std::vector<std::string> cells) { rows.push_back(std::move(cells)); }
    std::string Text(const std::string& indent = "") const;

private:
    std::vector<std::vector<std::string>> rows;
};

/// A size for people: 512 B, 1.5 KiB.
std::string ReadableSize(std::uint64_t bytes);
/// A time for people: 5 s, 3 h 12 min.
std::string ReadableTime(std::chrono::seconds time);
/// A number with its noun: 1 body, 2 bodies.
std::string Counted(std::uint64_t count, const std::string& one, const std::string& many);

}  // namespace fieldstore::tool

#endif
