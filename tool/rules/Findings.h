// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_FINDINGS_H
#define FIELDSTORE_TOOL_FINDINGS_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace fieldstore::tool {

/// Something about a file. A problem makes data unusable or unlikely to be what was stored; a note
/// is good to know.
struct Finding {
    std::uint64_t offset;
    std::size_t body;  // from 1; 0 for the whole file
    bool problem;
    std::string text;
};

/// What was found; of many findings of one rule the first ones, and their number. Findings are of
/// the body that was begun last, and of the whole file before the first and after EndBodies().
class Findings {
public:
    explicit Findings(std::size_t shownPerRule) : limit(shownPerRule) {}
    void BeginBody() { ++body; }
    void EndBodies() { body = 0; }
    /// `rule` is the constant part of the text.
    void Problem(std::uint64_t offset, const std::string& rule, const std::string& detail = "") {
        Add(offset, rule, detail, true);
    }
    void Note(std::uint64_t offset, const std::string& rule, const std::string& detail = "") {
        Add(offset, rule, detail, false);
    }
    std::size_t Problems() const { return problems; }
    /// In the order in which they came, with a line for those not shown.
    std::vector<Finding> List() const;

private:
    struct Rule {
        std::size_t count = 0;
        std::uint64_t firstHidden = 0;
        bool problem = false;
    };
    void Add(std::uint64_t offset, const std::string& rule, const std::string& detail,
             bool problem);

    std::size_t limit;
    std::size_t body = 0;
    std::size_t problems = 0;
    std::vector<Finding> shown;
    std::map<std::string, Rule> rules;
};

}  // namespace fieldstore::tool

#endif
