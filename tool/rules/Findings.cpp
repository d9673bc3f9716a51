// SPDX-License-Identifier: Apache-2.0
#include "tool/rules/Findings.h"

namespace fieldstore::tool {

void Findings::Add(std::uint64_t offset, const std::string& rule, const std::string& detail,
                   bool problem) {
    if (problem) ++problems;
    Rule& known = rules[rule];
    known.problem = problem;
    if (known.count++ < limit)
        shown.push_back({offset, body, problem, rule + detail});
    else if (known.count == limit + 1)
        known.firstHidden = offset;
}

std::vector<Finding> Findings::List() const {
    auto list = shown;
    for (const auto& [text, rule] : rules) {
        if (rule.count > limit)
            list.push_back(
                {rule.firstHidden, 0, rule.problem,
                 text + ": " + std::to_string(rule.count - limit) + " more from here on"});
    }
    return list;
}

}  // namespace fieldstore::tool
