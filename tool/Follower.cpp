// SPDX-License-Identifier: Apache-2.0
#include "tool/Follower.h"

#include "tool/BodyReader.h"
#include "tool/Error.h"
#include "tool/Inspection.h"
#include "tool/ReadBodies.h"
#include "tool/System.h"

namespace fieldstore::tool {
void Follower::Forget() {
    known.reset();
    offset = 0;
    bodies = 0;
    damageTold = false;
}

/// The first bodies tell; a file that is only begun is looked at again.
bool Follower::FindOutKind() {
    try {
        ResultFile file = Inspect(path, name);
        if (file.bodies.empty()) return false;
        offset = file.begin;
        known = std::move(file);
        return true;
    } catch (const Error&) {
        return false;  // gone or being written; the next change tells more
    }
}

void Follower::Look(const Listener& listener) {
    using Clock = std::chrono::steady_clock;
    const auto found = system::StateOf(path);
    if (!found || !found->isFile) {
        if (present) listener.remark("is gone");
        present = false;
        return Forget();
    }
    const system::FileState& now = *found;
    const bool same = present && seen.IsSame(now);
    if (same && seen.IsUnchanged(now) && !again) return;
    // A body that grows slowly is not read from its beginning each time.
    if (again && Clock::now() - lastTime < 2 * lastEffort) return;
    const auto size = now.size;
    const bool rewritten = known && !known->Info().Appends() && !seen.IsUnchanged(now);
    if (known && (!same || size < offset || rewritten)) {
        listener.remark("was replaced");
        Forget();
    }
    const bool changed = !present || !seen.IsUnchanged(now);
    seen = now;
    present = true;
    again = changed;  // once more when it has come to rest
    lastTime = Clock::now();
    if (!known && !FindOutKind()) {
        lastEffort = Clock::now() - lastTime;
        return;
    }
    if (offset >= size) return;
    try {
        const ResultFile rest =
            ReadFrom(*known, offset, size, [&](const AnyBody& body, const Layout& layout) {
                offset = layout.end;
                listener.body(body, ++bodies);
            });
        const bool damaged = rest.fault && !rest.fault->cut && known->Info().Appends();
        if (damaged && !damageTold)
            listener.remark("byte " + std::to_string(rest.fault->offset) + ": " +
                            rest.fault->what() + "; fieldstore repair keeps the whole bodies");
        damageTold = damaged;
    } catch (const Error&) {
        again = true;  // it was moved or removed meanwhile
    }
    lastEffort = Clock::now() - lastTime;
}

}  // namespace fieldstore::tool
