// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_TEMPORARY_FILE_H
#define FIELDSTORE_TOOL_TEMPORARY_FILE_H

#include <functional>
#include <optional>
#include <ostream>
#include <string>

#include "streams/Platform.h"
#include "tool/RemovedOnSignal.h"

namespace fieldstore::tool {

/// A temporary file that goes with the object: named and open at first, without a name after
/// Remove() or ForgetName(), and then of no more use.
///
/// It stays open, since in a directory of several people its name may come to mean another file
/// between two openings.
class TemporaryFile {
public:
    /// Makes an empty file whose name begins with `prefix`. Raises when it cannot.
    explicit TemporaryFile(const std::string& prefix);
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    const std::string& Path() const { return path; }
    const platform::File& File() const { return file; }
    /// Returns when its content is on the disk; what else, File() tells.
    bool Sync() const { return file.Sync(); }
    /// The same file once more, whatever has become of its name, and without what it held. Raises
    /// when the system refuses.
    platform::File OpenEmptied() const;
    /// Has `write` give the content, in place of what there was; raises when it did not get there
    /// whole.
    void Fill(const std::function<void(std::ostream&)>& write) const;
    /// An object of the library has put a file of its own in this one's place: goes on with that
    /// one. Raises when it cannot be the object's.
    void TakeReplacement();
    /// Raises when the name means another file by now.
    void RequireOwnName() const;
    /// Raises when the file cannot be removed, unlike the destructor.
    void Remove();

protected:
    /// The name is no longer a temporary file's.
    void ForgetName();

private:
    std::string path;
    std::optional<RemovedOnSignal> removal;
    mutable platform::File file;
};

}  // namespace fieldstore::tool

#endif
