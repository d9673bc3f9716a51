// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_VISIBLE_H
#define FIELDSTORE_TOOL_VISIBLE_H

#include <string>

namespace fieldstore::tool {

/// A text from a file, a file's name or a message without what a terminal would obey: control
/// characters, line ends and marks of the writing direction as \\x1b or \\u202e, bytes that are no
/// UTF-8 as \\xff. All that people are shown goes through it, so that nothing can fake a line.
std::string Visible(const std::string& text);

}  // namespace fieldstore::tool

#endif
