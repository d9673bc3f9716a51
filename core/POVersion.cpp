// SPDX-License-Identifier: Apache-2.0
#include "core/POVersion.h"

#include <cstddef>
#include <cstdint>
#include <ios>
#include <stdexcept>

#include "core/Messages.h"
#include "streams/Limits.h"

namespace messages = fieldstore::messages;

bool POVersion::IsWritable(bool textMode, char lineEnd) const {
    const std::size_t around = textMode ? 2 : 1;  // the "!", and in text mode the line end
    if (text.size() + around > fieldstore::kMaxVersionLine) return false;
    if (text.find('\0') != std::string::npos) return false;
    if (!textMode || text.empty()) return true;
    return text.find(lineEnd) == std::string::npos && text.back() != '\r';  // a part of a line end
}

void POVersion::WriteLine(POStreamIO& output, const std::string& lineEnd) const {
    if (text.empty()) return;
    const std::uint64_t position = output.Tell();
    constexpr auto unknown = static_cast<std::uint64_t>(std::streamoff(-1));
    if (position == unknown) throw std::runtime_error(messages::kBadStream);
    if (position == 0) output.Write("!" + text, lineEnd);
}

std::optional<std::string> POVersion::ReadLine(POStreamIO& input, const std::string& lineEnd) {
    const std::uint64_t start = input.Tell();
    std::string line;
    try {
        input.Read(line, lineEnd, fieldstore::kMaxVersionLine);
    } catch (const std::runtime_error&) {
        return std::nullopt;
    }
    if (!input.IsGood() || line.size() < 2 || line.front() != '!') return std::nullopt;
    // A zero byte cuts the line short of what was consumed for it.
    const std::size_t around = input.IsTextMode() ? lineEnd.size() : sizeof(int);
    if (input.Tell() - start != line.size() + around) return std::nullopt;
    // A text file from a system that ends its lines in two characters.
    if (input.IsTextMode() && line.back() == '\r') line.pop_back();
    return line.substr(1);
}
