// SPDX-License-Identifier: Apache-2.0
#include "core/ErrorLog.h"

#include <algorithm>
#include <iostream>

#include "streams/Platform.h"

namespace fieldstore {

std::string ErrorLogPathFor(const std::string& dataPath) {
    const auto dot = dataPath.rfind('.');
    if (dot == std::string::npos) return {};
    std::string path = dataPath.substr(0, dot + 1) + "err";
    std::replace(path.begin(), path.end(), '\\', '/');
    return path;
}

void AppendToErrorLog(const std::string& logPath, const std::string& line) {
    const std::string text = line + "\n";
    if (!logPath.empty() && platform::AppendText(logPath, text)) return;
    std::cerr.write(text.data(), static_cast<std::streamsize>(text.size()));
    std::cerr.flush();
}

}  // namespace fieldstore
