// SPDX-License-Identifier: Apache-2.0
#include "tool/WritersKeptOut.h"

#include <algorithm>

#include "core/AppendMark.h"
#include "core/SideFiles.h"
#include "streams/FileNames.h"
#include "tool/Error.h"
#include "tool/OutputFile.h"
#include "tool/System.h"

namespace fieldstore::tool {

WritersKeptOut::WritersKeptOut(const std::string& dataPath, const std::string& lockDirectory)
    : path(dataPath) {
    AddName(dataPath, lockDirectory);
    const auto behind = NameBehindLinks(dataPath);
    if (behind != dataPath) AddName(behind, lockDirectory);
    if (!lockDirectory.empty()) return;
    for (const auto& mark : marks) {
        const auto place = AppendMarkPathFor(mark.first);
        if (!mark.second || AppendMark::At(place).kind != AppendMark::Kind::Mark) continue;
        throw Error(place,
                    "an append is at work under a lock that is not next to the data, or its writer "
                    "died",
                    "The next commit puts the file right; or name the directory of the writers' "
                    "locks with --lock-directory.");
    }
}

void WritersKeptOut::AddName(const std::string& dataPath, const std::string& lockDirectory) {
    const auto marker = MarkerPathFor(dataPath, lockDirectory);
    for (const auto& base : {dataPath, marker}) {
        const auto [place, isNew] = marks.try_emplace(base);
        if (isNew) place->second = system::StateOf(AppendMarkPathFor(base));
        if (isNew && base == marker) locks.emplace_back(dataPath, lockDirectory);
    }
}

bool WritersKeptOut::AppendBegan() const {
    return std::any_of(marks.begin(), marks.end(), [](const auto& mark) {
        return system::StateOf(AppendMarkPathFor(mark.first)) != mark.second;
    });
}

void WritersKeptOut::RequireNoAppend() const {
    if (AppendBegan())
        throw Error(path, "a writer has appended to the file meanwhile",
                    "Nothing was changed. Name the directory of the writers' locks with "
                    "--lock-directory.");
}

void WritersKeptOut::Release() {
    const std::string data = platform::WholePath(path);
    for (const auto& [base, standing] : marks) {
        const auto place = AppendMarkPathFor(base);
        if (standing && AppendMark::At(place).CountsFor(data, base != LockPathFor(base)))
            platform::Remove(place);
    }
    for (HeldLock& lock : locks) lock.Release();
}

}  // namespace fieldstore::tool
