// SPDX-License-Identifier: Apache-2.0
#include "core/POVersion.h"

bool POVersion::IsWritable(bool textMode, char lineEnd) const {
    const std::size_t around = textMode ? 2 : 1;  // the "!", and in text mode the line end
    if (text.size() + around > kMaxLineLength) return false;
    if (text.find('\0') != std::string::npos) return false;
    return !textMode || text.find(lineEnd) == std::string::npos;
}
