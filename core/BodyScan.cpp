// SPDX-License-Identifier: Apache-2.0
#include "core/BodyScan.h"

#include <algorithm>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "core/FlagScope.h"
#include "core/ObjectStorage.h"
#include "fieldstore/IPOBase.h"
#include "streams/StreamErrors.h"

namespace fieldstore {

BodyScan::BodyScan(POBase& storedObject) : object(storedObject), version(storedObject.version) {
    const int type =
        object.RequireStream().IsTextMode() ? IPOBase::eReadText : IPOBase::eReadBinary;
    auto input = ObjectStorage::MakeStream(type, object.storage.Identifier());
    output = std::exchange(object.storage.stream, std::move(input));
}

BodyScan::~BodyScan() {
    object.storage.stream = std::move(output);
    std::swap(object.version, version);
}

std::uint64_t BodyScan::EndOfWhole() {
    if (!SkipBodies() && object.versionTaken) {
        // The line may have been the beginning of a body after all.
        const FlagScope withoutVersion(object.ignoreVersion);
        SkipBodies();
    }
    return wholeEnd;
}

/// Returns whether the bodies reach to the end of the file; `wholeEnd` grows to where they reach.
bool BodyScan::SkipBodies() {
    object.versionTaken = false;
    try {
        object.OpenInput();
        object.ReadVersion();
        for (;;) {
            const bool another =
                object.HasAnotherBody();  // past the white space behind a text body
            wholeEnd = std::max(wholeEnd, object.RequireStream().Tell());
            if (!another) return true;
            object.SkipBody();
            object.RequireIntactBody();
        }
    } catch (const std::system_error&) {
        throw;
    } catch (const InputNotOpened&) {
        throw;
    } catch (const std::runtime_error&) {
        if (object.RequireStream().HasReadError()) throw;
        return false;
    }
}

}  // namespace fieldstore
