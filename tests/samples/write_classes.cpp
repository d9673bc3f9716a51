// SPDX-License-Identifier: Apache-2.0
// Writes what distinguishes the classes into the file that is named, for whatever is no C++.
#include <fstream>

#include "objects/Classes.h"

int main(int count, char** arguments) {
    if (count != 2) return 2;
    std::ofstream out(arguments[1]);
    const char* separator = "{\n";
    for (const auto* traits : fieldstore::kAllTraits) {
        const bool text = traits->writeType == IPOBase::eWriteText;
        const bool appends = (traits->persistFlags & fieldstore::kAppend) != 0;
        out << separator << "  \"" << traits->name << "\": {\"file\": \"" << traits->fileName
            << "\", \"mode\": \"" << (text ? "text" : "binary") << std::boolalpha
            << "\", \"appends\": " << appends << ", \"versionLine\": " << traits->versionLine
            << "}";
        separator = ",\n";
    }
    out << "\n}\n";
    return out.flush() ? 0 : 1;
}
