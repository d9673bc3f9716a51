// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_FIELDSTORE_H
#define FIELDSTORE_FIELDSTORE_H

#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>

// IWYU pragma: begin_exports
#include "fieldstore/IPOBase.h"
#include "fieldstore/IPOStorageControl.h"
#include "fieldstore/NewInstance.h"
#include "fieldstore/classes.h"
#include "fieldstore/version.h"
// IWYU pragma: end_exports

/// Convenience for C++ hosts on top of NewInstance; header only.
namespace fieldstore {

/// The storage types by what they mean; the values are those of IPOBase::EStorageType.
enum class StorageType : int {
    ReadDefault = IPOBase::eReadDefault,
    WriteDefault = IPOBase::eWriteDefault,
    ReadText = IPOBase::eReadText,
    WriteText = IPOBase::eWriteText,
    ReadBinary = IPOBase::eReadBinary,
    WriteBinary = IPOBase::eWriteBinary,
    ReadDataService = IPOBase::eReadDataService,
    WriteDataService = IPOBase::eWriteDataService
};

/// Whether a commit keeps other writers out with a lock file.
enum class Locking : bool { Off = false, On = true };

/// The class name that NewInstance knows for an interface.
template <typename Interface>
struct ClassName;

#define FIELDSTORE_CLASS_NAME(Name)                      \
    template <>                                          \
    struct ClassName<IPO##Name> {                        \
        static constexpr const char* value = "PO" #Name; \
    };
FIELDSTORE_CLASSES(FIELDSTORE_CLASS_NAME)
#undef FIELDSTORE_CLASS_NAME

/// The type of NewInstance, for hosts that look it up at run time.
using NewInstanceFunction = int(const std::wstring& className, std::shared_ptr<IPOBase>* instance);

/// Creates an object by class name through `newInstance`, seen as `Interface`.
/// Raises std::runtime_error naming the class when it is unknown or does not have the interface.
template <typename Interface>
std::shared_ptr<Interface> CreateWith(NewInstanceFunction* newInstance) {
    const std::string name = ClassName<Interface>::value;
    std::shared_ptr<IPOBase> object;
    newInstance(std::wstring(name.begin(), name.end()), &object);
    auto typed = std::dynamic_pointer_cast<Interface>(object);
    if (!typed) throw std::runtime_error("Cannot create a " + name + " object.");
    return typed;
}

/// Creates the object whose interface is `Interface`, as in Create<IPOModeInfo>().
/// Raises std::runtime_error naming the class.
template <typename Interface>
std::shared_ptr<Interface> Create() {
    return CreateWith<Interface>(&NewInstance);
}

/// The storage side of an object created by Create(): commit, load, file name and so on.
/// Raises std::invalid_argument for null or an object of another library.
template <typename Interface>
IPOBase& Storage(const std::shared_ptr<Interface>& object) {
    auto* base = dynamic_cast<IPOBase*>(object.get());
    if (base == nullptr) throw std::invalid_argument("Not a persistent object.");
    return *base;
}

/// How safe the commits of an object are, and why something failed.
/// Raises std::invalid_argument for an object of another library.
inline IPOStorageControl& Control(IPOBase& object) {
    auto* control = dynamic_cast<IPOStorageControl*>(&object);
    if (control == nullptr) throw std::invalid_argument("Not a persistent object.");
    return *control;
}

namespace detail {

/// A path as the library takes it: in UTF-8, also where the system's own names are wider.
inline std::string NameOf(const std::filesystem::path& path) {
    const auto name = path.u8string();  // of char8_t since C++20
    return std::string(name.begin(), name.end());
}

}  // namespace detail

/// Sets the directory of an object's file, given with or without a separator at its end; "" is the
/// current one. Raises std::runtime_error naming it when it is not there or is no directory.
inline void SetDirectory(IPOBase& object, const std::filesystem::path& directory) {
    std::error_code error;
    if (!directory.empty() && !std::filesystem::is_directory(directory, error))
        throw std::runtime_error("There is no directory " + detail::NameOf(directory) + ".");
    const bool bare = directory.empty() || !directory.has_filename();
    object.SetDirectory(detail::NameOf(directory) + (bare ? "" : "/"));
}

/// Builds storage as IPOBase::CreateStorageInterface does.
/// Raises std::runtime_error with the reason, which names the file, when that fails.
inline void CreateStorage(IPOBase& object, StorageType type, Locking locking = Locking::Off) {
    const auto storageType = static_cast<IPOBase::EStorageType>(type);
    if (object.CreateStorageInterface(storageType, locking == Locking::On) != 0)
        throw std::runtime_error(Control(object).GetLastError());
}

/// Commits as IPOBase::Commit does. Raises std::runtime_error with the reason when that fails; what
/// holds then is told there.
inline void CommitOrThrow(IPOBase& object, bool force = false) {
    if (object.Commit(force) != 0) throw std::runtime_error(Control(object).GetLastError());
}

/// Loads as IPOBase::Load does, a missing file being a failure like any other. Raises
/// std::runtime_error with the reason when that fails; what holds then is told there.
inline void LoadOrThrow(IPOBase& object) {
    if (object.Load() != 0) throw std::runtime_error(Control(object).GetLastError());
}

}  // namespace fieldstore

#endif
