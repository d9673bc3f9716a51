// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_SIDE_FILES_H
#define FIELDSTORE_SIDE_FILES_H

#include <string>

namespace fieldstore {

// The files that the library puts next to a data file, but for the error log (core/ErrorLog.h) and
// what is to replace the file (streams/Writer.h).

/// The marker of a writer's lock: everything from the path's last "." on replaced, wherever that
/// "." stands.
inline std::string LockPathFor(const std::string& path) {
    return path.substr(0, path.rfind('.')) + ".lck";
}

/// The mark of an append (core/AppendMark.h) next to a data file, or next to a lock marker.
inline std::string AppendMarkPathFor(const std::string& path) {
    return path + ".undo";
}

}  // namespace fieldstore

#endif
