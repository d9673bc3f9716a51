// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_SLICE_H
#define FIELDSTORE_TOOL_SLICE_H

#include <array>
#include <cstdint>
#include <limits>
#include <map>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "objects/Field.h"
#include "tool/Walk.h"

namespace fieldstore::tool {

/// Integers from one to another, both included; all of them at first.
struct Range {
    std::int64_t least = std::numeric_limits<std::int64_t>::min();
    std::int64_t most = std::numeric_limits<std::int64_t>::max();

    bool Has(std::int64_t value) const { return least <= value && value <= most; }
};

/// Reads N, A:B, A: or :B. Raises for anything else, naming the option.
Range ParseRange(const std::string& option, const std::string& text);
/// The same of frequencies, whose numbers may have fractions, exponents and units from Hz to THz;
/// one without a unit has that of the other end, or else Hz. As keys, so cut to whole Hz.
Range ParseFrequencies(const std::string& option, const std::string& text);

/// The part of a field's keys that a slice asks for.
class KeyFilter {
public:
    KeyFilter() = default;

    /// Whether it lets anything out.
    bool IsActive() const { return active; }
    template <typename Key>
    bool Has(const Key& key) const {
        bool has = true;
        ForLeaves(key, [&](const auto& part, std::size_t i) {
            const bool isId = (ids >> i & 1U) != 0;
            const auto value = isId ? static_cast<std::int64_t>(static_cast<std::uint32_t>(part))
                                    : static_cast<std::int64_t>(part);
            has = has && ranges[i].Has(value);
        });
        return has;
    }

private:
    friend class Slice;
    static constexpr std::size_t kMostParts = 3;
    std::array<Range, kMostParts> ranges{};
    unsigned ids = 0;  // a bit per part
    bool active = false;
};

/// Which entries are wanted, by the named parts of their keys; at first all.
///
/// It lets an entry out when its key has such a part with another value. Fields whose keys have no
/// such part stay whole.
class Slice {
public:
    void Ask(const std::string& part, const Range& range) { wanted[part] = range; }

    bool IsEmpty() const { return wanted.empty(); }
    /// What is asked of the keys of a field. Requires: a field whose entries have keys.
    KeyFilter Of(const Field& field) const;
    /// Whether the keys of a field have all the parts that are asked for.
    bool Names(const Field& field) const;
    /// The options that made it, for messages: --frequency, --port.
    std::string Options() const;
    const std::map<std::string, Range>& Parts() const { return wanted; }

private:
    std::map<std::string, Range> wanted;
};

}  // namespace fieldstore::tool

#endif
