// SPDX-License-Identifier: Apache-2.0
#include "tool/HostLoad.h"

#include <memory>

#include "fieldstore/fieldstore.h"
#include "tool/Error.h"
#include "tool/Progress.h"

namespace fieldstore::tool {
namespace {

std::shared_ptr<IPOBase> MakeObject(const ResultFile& file) {
    const std::string name = file.ClassName();
    std::shared_ptr<IPOBase> object;
    NewInstance(std::wstring(name.begin(), name.end()), &object);
    object->SetDirectory("");
    object->SetFileName(file.path);
    object->CreateStorageInterface(file.text ? IPOBase::eReadText : IPOBase::eReadBinary, false);
    return object;
}

}  // namespace

int LoadResult(const ResultFile& file) {
    const Progress progress("Loading " + file.path, file.path, file.size);
    const auto object = MakeObject(file);
    auto* list = dynamic_cast<IPODOFList*>(object.get());
    if (list == nullptr || !file.Info().blocked) return object->Load();
    // A blocked list is loaded a block at a time; the first and the last one speak for all, whose
    // blocks have been read already.
    for (const int block : {-1, 0, file.blockCount - 1}) {
        list->SetSelectedBlock(block);
        if (const int result = object->Load(); result != 0) return result;
    }
    return 0;
}

void RequireLoads(const ResultFile& file, const std::string& shownPath) {
    if (LoadResult(file) == 0) return;
    throw Error(shownPath, "a host could not load the result, so nothing is written",
                "fieldstore check tells what is wrong with the data.");
}

void StoreLoaded(const ResultFile& file, TemporaryFile& target) {
    const auto object = MakeObject(file);
    {
        const Progress progress("Loading " + file.path, file.path, file.size);
        if (object->Load() != 0)
            throw Error(file.path, "a host cannot load it", "Run: fieldstore check " + file.path);
    }
    const Progress progress("Storing the data of " + file.path, target.Path(), file.size);
    object->SetFileName(target.Path());
    object->CreateStorageInterface(file.text ? IPOBase::eWriteText : IPOBase::eWriteBinary, false);
    if (object->Commit(true) != 0)
        throw Error(target.Path(), "the loaded data cannot be stored",
                    "Make room on that file system.");
    target.TakeReplacement();
}

}  // namespace fieldstore::tool
