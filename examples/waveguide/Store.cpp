// SPDX-License-Identifier: Apache-2.0
#include "Store.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

namespace waveguide {
namespace {

namespace fs = std::filesystem;

constexpr const char* solveAgain =
    "run `waveguide solve` again, with --force for the same directory";

[[noreturn]] void Fail(const std::string& where, const std::string& cause,
                       const std::string& remedy) {
    throw Failure(Status::Store, where, cause, remedy);
}

/// Opens and closes a file for writing; 0 or the system's error number.
int TryOpen(const std::string& path, int flags) {
    const int file = open(path.c_str(), flags | O_WRONLY | O_CLOEXEC, 0666);
    if (file < 0) return errno;
    close(file);
    return 0;
}

std::string LockPath(const std::string& path) {
    return fs::path(path).replace_extension("lck").string();
}

}  // namespace

Store::Store(std::string directory) : directory_(std::move(directory)) {
    while (directory_.size() > 1 && directory_.back() == '/') directory_.pop_back();
}

Store Store::Open(const std::string& directory) {
    Store store(directory);
    std::error_code ignored;
    if (!fs::exists(store.directory_, ignored))
        Fail(store.directory_, "the store directory does not exist",
             "check the path, or make the store with `waveguide solve`");
    if (!fs::is_directory(store.directory_, ignored))
        Fail(store.directory_, "this is not a directory", "name the directory of the store");
    return store;
}

Store Store::Create(const std::string& directory, bool replace) {
    std::error_code error;
    fs::create_directory(directory, error);
    if (error && !fs::exists(directory))
        Fail(directory, "the store directory cannot be created (" + error.message() + ")",
             "create its parent directory, or choose one that you may write to");
    Store store = Open(directory);
    store.CheckWritable();
    store.DeleteResults(replace);
    return store;
}

std::vector<std::shared_ptr<IPOBase>> Store::AllObjects() const {
    const auto base = [](const auto& object) { return std::dynamic_pointer_cast<IPOBase>(object); };
    return {base(NewObject<IPOModeInfo>()),        base(NewObject<IPODOFMap>()),
            base(NewObject<IPOCircuitMatrices>()), base(NewObject<IPOMeshTree>()),
            base(NewObject<IPODOFList>()),         base(NewObject<IPOBinaryTree>()),
            base(NewObject<IPOPortCircuitDOFs>()), base(NewObject<IPOSolutionMetrics>()),
            base(NewObject<IPOAssemblyInfo>())};
}

std::string Store::PathOf(IPOBase& object) const {
    return directory_ + "/" + object.GetFileName();
}

void Store::CheckWritable() const {
    // Trying is the one test that is right for every user and file system.
    const std::string probe = directory_ + "/.probe-" + std::to_string(getpid());
    const int error = TryOpen(probe, O_CREAT | O_EXCL);
    if (error != 0)
        Fail(directory_,
             std::string("the store directory cannot be written to (") + std::strerror(error) + ")",
             "make it writable, or choose another directory");
    unlink(probe.c_str());
}

void Store::DeleteResults(bool replace) const {
    for (const auto& object : AllObjects()) {
        const std::string path = PathOf(*object);
        if (!fs::exists(path) && !fs::exists(LockPath(path))) continue;
        if (!replace)
            Fail(path, "the directory already holds results",
                 "choose another directory, or replace them with --force");
        if (fs::is_directory(path)) Fail(path, "a directory is in the way", "remove it");
        object->DeleteStorage();
    }
    if (!fs::exists(LabelsPath())) return;
    if (!replace)
        Fail(LabelsPath(), "the file is in the way",
             "choose another directory, or replace it with --force");
    std::error_code error;
    if (!fs::remove(LabelsPath(), error))
        Fail(LabelsPath(), "the file cannot be removed (" + error.message() + ")", "remove it");
}

void Store::PrepareWriting(IPOBase& object, fieldstore::Locking locking) const {
    const std::string path = PathOf(object);
    CheckWritable();
    const int error = TryOpen(path, 0);
    if (error != 0 && error != ENOENT)
        Fail(path, std::string("the file cannot be written (") + std::strerror(error) + ")",
             "correct its permissions, or remove it");
    object.SetVersion("waveguide 1");
    fieldstore::CreateStorage(object, fieldstore::StorageType::WriteDefault, locking);
}

void Store::CommitChecked(IPOBase& object) const {
    if (object.Commit(false) == 0) return;
    // Unsaved data would be written again when the object is destroyed, with all the waiting for
    // a lock or a file once more; a load drops them, whether or not it succeeds.
    object.Load();
    const std::string path = PathOf(object);
    const std::string lock = LockPath(path);
    if (fs::exists(lock))
        Fail(path, "another process holds the lock " + lock,
             "wait for it to end; remove the lock if no process is left that writes here");
    Fail(path, "writing failed", "make room on the file system and check that it can be written");
}

void Store::LoadChecked(IPOBase& object) const {
    const int result = object.Load();
    if (result == 0) return;
    if (result == 2) Fail(PathOf(object), "the file is missing or cannot be read", solveAgain);
    Fail(PathOf(object), "the file is damaged or incomplete", solveAgain);
}

void Store::FailContradiction(const std::string& message) const {
    Fail(directory_, "the stored data contradict themselves (" + message + ")", solveAgain);
}

}  // namespace waveguide
