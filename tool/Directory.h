// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_DIRECTORY_H
#define FIELDSTORE_TOOL_DIRECTORY_H

#include <functional>
#include <string>
#include <vector>

namespace fieldstore::tool {

/// Paths that may be directories, and commands that do to every result file of one what they do to
/// a single file.

/// A path as given, or found in a directory that was given.
struct NamedPath {
    std::string path;
    bool given;             // or at least of a name that only a result file has
    std::string directory;  // in which it was found; empty: the path itself was given
};
/// The files of directories in place of these, sorted; markers, logs and hidden files left out.
std::vector<NamedPath> ExpandPaths(const std::vector<std::string>& paths);

/// The names of the result files in a directory, sorted: those with the default name of a class,
/// whatever their state, and those that are found to be one.
std::vector<std::string> ResultFilesIn(const std::string& directory, const std::string& className);

/// Does `action` with each of these names; what goes wrong with one is said and keeps none of the
/// others. Returns the exit status.
int ForEachName(const std::vector<std::string>& names,
                const std::function<void(const std::string& name)>& action);

/// Does `action` with `input` and `output` or, of directories, with each result file in `input` and
/// one of its name in `output`. Returns the exit status; of a single file, raises.
int ForFileOrDirectory(
    const std::string& input, const std::string& className, const std::string& output,
    const std::function<void(const std::string& input, const std::string& output)>& action);

/// Makes a directory for output, in which files of the same names as in `input` will stand. Raises
/// when it cannot be made or is `input`.
void MakeOutputDirectory(const std::string& directory, const std::string& input);

}  // namespace fieldstore::tool

#endif
