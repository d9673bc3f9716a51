// SPDX-License-Identifier: Apache-2.0
#include "core/ResultCode.h"

#include <cstdlib>

namespace fieldstore {

int ParseErrorCode(const std::string& message) {
    const std::string prefix = "Error ";
    const auto start = message.find(prefix);
    if (start == std::string::npos || message.find(':') == std::string::npos) return 0;
    return std::strtol(message.c_str() + start + prefix.size(), nullptr, 10) == 1 ? 1 : 0;
}

}  // namespace fieldstore
