// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_POVERSION_H
#define FIELDSTORE_POVERSION_H

#include <string>
#include <utility>

/// The version text that a storage may carry as its first line, after a "!". Hosts choose it; the
/// library interprets nothing and has no default.
class POVersion {
public:
    explicit POVersion(std::string versionText) : text(std::move(versionText)) {}
    POVersion(const POVersion&) = default;
    POVersion& operator=(const POVersion&) = default;
    virtual ~POVersion() = default;

    const std::string& Text() const { return text; }
    void SetText(std::string versionText) { text = std::move(versionText); }

    /// Whether the line for this text, written in that mode, would be read back.
    bool IsWritable(bool textMode, char lineEnd) const;

    /// The most characters of a version line, in text mode its end included.
    static constexpr int kMaxLineLength = 256;

private:
    std::string text;
};

#endif
