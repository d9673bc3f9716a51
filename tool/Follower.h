// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_FOLLOWER_H
#define FIELDSTORE_TOOL_FOLLOWER_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "tool/Bodies.h"
#include "tool/ResultFile.h"
#include "tool/System.h"

namespace fieldstore::tool {

/// Reads a result file as it grows: each body once, when it is whole. Takes no lock and keeps the
/// file open only while it reads.
class Follower {
public:
    struct Listener {
        std::function<void(const AnyBody& body, std::size_t number)> body;
        /// Something that is no body: the file is gone, was replaced, has a damaged tail.
        std::function<void(const std::string& what)> remark;
    };

    Follower(std::string dataPath, std::string className)
        : path(std::move(dataPath)), name(std::move(className)) {}

    const std::string& Path() const { return path; }
    /// Reads what has come since the last time; nothing when the file is not there or not readable.
    void Look(const Listener& listener);

private:
    void Forget();
    bool FindOutKind();

    std::string path;
    std::string name;
    system::FileState seen;
    bool present = false;
    std::optional<ResultFile> known;  // kind and mode, once a body is there
    std::uint64_t offset = 0;         // of what has not been read as whole bodies
    std::size_t bodies = 0;
    bool damageTold = false;
    bool again = false;  // a body may lack its end still
    std::chrono::steady_clock::duration lastEffort{};
    std::chrono::steady_clock::time_point lastTime{};
};

}  // namespace fieldstore::tool

#endif
