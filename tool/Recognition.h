// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_RECOGNITION_H
#define FIELDSTORE_TOOL_RECOGNITION_H

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include "tool/Bodies.h"
#include "tool/BodyReader.h"
#include "tool/ResultFile.h"

namespace fieldstore::tool {

/// Finds bodies behind a damaged one, whose length nobody knows any more. Nothing marks where a
/// body begins; so one is taken for a body only when what it repeats and counts cannot be chance:
///
/// - Modes and matrices: every count and frequency is at least 1 and below 2^52, no list is empty,
///   and every double is zero or of ordinary size. In binary the bits of such doubles are zero or
///   beyond 2^52, so they can be neither counts nor frequencies, nor the other way round.
/// - Metrics: the body repeats the definitions of the one before the damage.
/// - Assembly info, binary: the same elements stand four times, with their number.
/// - In text, besides: it is character by character what the library writes for these data. A
///   matrix must directly follow an undamaged one, as values and counts look alike.
class Recognition {
public:
    /// `damaged` is what can still be read of the body in which the damage lies.
    Recognition(const ResultFile& file, const AnyBody& damaged);

    /// The first recognised body that begins behind a byte; raises when the file cannot be read.
    std::optional<BodyPlace> Next(std::uint64_t behind);
    /// Whether a recognised body may begin too early, into what ends at a byte: its first fields,
    /// which nothing repeats, are damaged.
    bool MayLackBeginning(const BodyPlace& body, std::uint64_t end) const;
    /// Whether a body that lost bytes follow up to `next` ends where it seems to. Damage may have
    /// moved its end; then those bytes do not begin as a body does.
    bool EndsForSure(const BodyPlace& body, std::uint64_t next) const;
    /// The body that begins at a byte, if it is one.
    std::optional<BodyPlace> At(std::uint64_t begin);

private:
    using Definitions = std::map<int, std::pair<int, int>>;

    std::optional<BodyPlace> NextBinary(std::uint64_t behind);
    std::optional<BodyPlace> NextText(std::uint64_t behind);
    std::uint64_t MostEffort() const;
    bool MayBegin(const char* bytes, std::uint64_t begin, std::uint64_t available) const;
    bool IsBeyondDoubt(const AnyBody& any, const Layout& layout) const;
    bool IsAsWritten(const AnyBody& any, const Layout& layout) const;

    const ResultFile& file;
    Definitions definitions;
    std::uint64_t effort = 0;  // bytes read for what turned out to be no body
};

/// What can be read of a body that begins at a byte; the rest is as in a new one.
AnyBody ReadDamaged(const ResultFile& file, std::uint64_t begin);

/// Compares bytes of two files from given positions on; returns how many of `count` are the same.
std::uint64_t SameBytes(const std::string& a, std::uint64_t fromA, const std::string& b,
                        std::uint64_t fromB, std::uint64_t count);

}  // namespace fieldstore::tool

#endif
