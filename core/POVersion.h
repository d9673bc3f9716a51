// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_POVERSION_H
#define FIELDSTORE_POVERSION_H

#include <optional>
#include <string>
#include <utility>

#include "streams/POStreamIO.h"

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

    /// Writes the line when there is a text and the output stands at its beginning. Raises "Bad
    /// stream." when it cannot tell where it stands.
    void WriteLine(POStreamIO& output, const std::string& lineEnd) const;
    /// The text, when the next bytes are a version line. A body may begin with anything, so
    /// whatever fails only means that they are not; the input is then anywhere, and may be at its
    /// end.
    static std::optional<std::string> ReadLine(POStreamIO& input, const std::string& lineEnd);

private:
    std::string text;
};

#endif
