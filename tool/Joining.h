// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TOOL_JOINING_H
#define FIELDSTORE_TOOL_JOINING_H

#include <string>

#include "tool/Bodies.h"
#include "tool/ResultFile.h"
#include "tool/StreamedBodies.h"

/// What a load makes of several bodies, by the rules of each class.
namespace fieldstore::tool {

/// Bodies of a file joined to one, in their order; streamed and of one kind.
struct Joined {
    Joined(std::string filePath, AnyStreamed blank)
        : path(std::move(filePath)), data(std::move(blank)) {}

    /// Raises when no load could join this body to those before.
    void Add(AnyStreamed&& body);

    std::string path;
    AnyStreamed data;
};

/// To be done when all bodies of a file are joined: orders the entries and lets them be read.
/// Raises when no load would succeed.
void FinishJoining(AnyStreamed& data, const ResultFile& file);

/// The same data as a body in memory.
AnyBody InMemory(const AnyStreamed& data);

}  // namespace fieldstore::tool

#endif
