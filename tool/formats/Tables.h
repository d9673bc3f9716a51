// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_FORMATS_TABLES_H
#define FIELDSTORE_TOOL_FORMATS_TABLES_H

#include <functional>
#include <ostream>
#include <string>
#include <utility>

#include "tool/Bodies.h"
#include "tool/Error.h"
#include "tool/Labels.h"
#include "tool/StreamedBodies.h"

namespace fieldstore::tool {

/// The files of a format that wants several, in a directory of the person's choice. "" and "-" are
/// standard output, which takes one file alone.
class FileSet {
public:
    FileSet(std::string directoryPath, bool replaceFiles)
        : directory(std::move(directoryPath)), replace(replaceFiles) {}

    /// Writes one file of the set, made with its directory.
    void Write(const std::string& name, const std::function<void(std::ostream&)>& write) const;
    /// Where a file of that name belongs; makes the directory.
    std::string PathOf(const std::string& name) const;
    bool Replaces() const { return replace; }
    /// Writes the only file of a set: to the output itself when that is no directory.
    void WriteSingle(const std::string& name,
                     const std::function<void(std::ostream&)>& write) const;

private:
    bool IsDirectory() const;
    std::string directory;
    bool replace;
};

/// A format has no form for a class.
class NoForm : public Error {
public:
    using Error::Error;
};

/// Raises that a format has no form for the class of a body.
template <typename Body>
[[noreturn]] void RefuseClass(const std::string& format) {
    throw NoForm("", "there is no " + format + " of " + Body::kTraits.name,
                 "fieldstore dump --help lists the formats of each class.");
}

// Each raises for a class that the format has no form for.
void DumpCsv(const AnyStreamed& data, const Labels& labels, std::ostream& out);
void DumpNpy(const AnyStreamed& data, const Labels& labels, const FileSet& files);
void DumpMtx(const AnyBody& body, const Labels& labels, const FileSet& files);

/// The shortest text that reads back as the same number.
std::string NumberText(double value);

}  // namespace fieldstore::tool

#endif
