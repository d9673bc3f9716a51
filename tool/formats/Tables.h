// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_FORMATS_TABLES_H
#define FIELDSTORE_TOOL_FORMATS_TABLES_H

#include <functional>
#include <ostream>
#include <string>

#include "tool/Bodies.h"
#include "tool/Error.h"

namespace fieldstore::tool {

/// The files of a format that wants several, in a directory of the person's choice. "" and "-" are
/// standard output, which takes one file alone.
class FileSet {
public:
    FileSet(std::string directoryPath, bool replaceFiles)
        : directory(std::move(directoryPath)), replace(replaceFiles) {}

    /// Writes one file of the set, made with its directory.
    void Write(const std::string& name, const std::function<void(std::ostream&)>& write) const;
    /// Writes the only file of a set: to the output itself when that is no directory.
    void WriteSingle(const std::string& name,
                     const std::function<void(std::ostream&)>& write) const;

private:
    bool IsDirectory() const;
    std::string directory;
    bool replace;
};

/// Raises that a format has no form for the class of a body.
template <typename Body>
[[noreturn]] void RefuseClass(const std::string& format) {
    throw Error("", "there is no " + format + " of " + Body::kTraits.name,
                "fieldstore dump --help lists the formats of each class.");
}

// Each raises for a class that the format has no form for.
void DumpCsv(const AnyBody& body, std::ostream& out);
void DumpVtk(const AnyBody& body, std::ostream& out);
void DumpNpy(const AnyBody& body, const FileSet& files);
void DumpMtx(const AnyBody& body, const FileSet& files);

/// The shortest text that reads back as the same number.
std::string NumberText(double value);

}  // namespace fieldstore::tool

#endif
