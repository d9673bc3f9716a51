// SPDX-License-Identifier: Apache-2.0
#include "tool/Copy.h"

#include <algorithm>
#include <fstream>

#include "streams/FileNames.h"
#include "tool/Error.h"
#include "tool/Progress.h"

namespace fieldstore::tool {

void CopyBytes(const std::string& path, std::uint64_t begin, std::uint64_t end, std::ostream& out) {
    constexpr std::uint64_t step = std::uint64_t{1} << 20;
    std::ifstream in(platform::PathOf(path), std::ios::binary);
    in.seekg(static_cast<std::streamoff>(begin));
    std::vector<char> buffer(static_cast<std::size_t>(std::min(step, end - begin)));
    const Progress progress("Copying " + path, path, end);
    for (std::uint64_t at = begin; at < end;) {
        const auto count = static_cast<std::streamsize>(std::min(step, end - at));
        if (!in.read(buffer.data(), count))
            throw Error(path, "cannot be read any further", "Is it being written?", at);
        out.write(buffer.data(), count);
        at += static_cast<std::uint64_t>(count);
    }
}

void CopyBodies(const ResultFile& file, bool withVersion, std::ostream& out) {
    CopyBytes(file.path, withVersion ? 0 : file.begin, file.WholeEnd(), out);
    if (file.text && !file.bodies.empty())
        out << '\n';  // a load takes a number only with the separator behind it
}

}  // namespace fieldstore::tool
