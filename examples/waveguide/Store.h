// SPDX-License-Identifier: Apache-2.0
#ifndef WAVEGUIDE_STORE_H
#define WAVEGUIDE_STORE_H

#include <fieldstore/fieldstore.h>

#include <exception>
#include <memory>
#include <string>
#include <vector>

#include "Failure.h"

namespace waveguide {

/// A directory with one file per class of result object.
///
/// Every trouble with the files becomes a Failure (Status::Store) that names the file, the cause
/// and the remedy.
class Store {
public:
    /// The store in a directory that exists, to read from or to append to.
    static Store Open(const std::string& directory);

    /// An empty store for writing. Creates the directory, but not its parents; results that are
    /// there already are an error, or are deleted when `replace` is set.
    static Store Create(const std::string& directory, bool replace);

    const std::string& Directory() const { return directory_; }

    /// Where the file lies that tells what the numbers of types mean.
    std::string LabelsPath() const { return directory_ + "/labels.json"; }

    /// An object of the class, pointed at its file in the directory.
    template <typename Interface>
    std::shared_ptr<Interface> NewObject() const {
        auto object = fieldstore::Create<Interface>();
        fieldstore::Storage(object).SetDirectory(directory_ + "/");
        return object;
    }

    /// An empty object whose storage can be written.
    ///
    /// Call it before filling the object: an object that holds data tries to write them when it
    /// is destroyed, and waits minutes for a file that cannot be opened.
    template <typename Interface>
    std::shared_ptr<Interface> ForWriting(
        fieldstore::Locking locking = fieldstore::Locking::Off) const {
        auto object = NewObject<Interface>();
        PrepareWriting(fieldstore::Storage(object), locking);
        return object;
    }

    template <typename Interface>
    void Commit(const std::shared_ptr<Interface>& object) const {
        CommitChecked(fieldstore::Storage(object));
    }

    /// Fills an object from its file.
    template <typename Interface>
    void Load(const std::shared_ptr<Interface>& object) const {
        LoadChecked(fieldstore::Storage(object));
    }

    template <typename Interface>
    std::shared_ptr<Interface> Loaded() const {
        auto object = NewObject<Interface>();
        Load(object);
        return object;
    }

    /// The result of `read(store)`. Data may load and still contradict themselves; what the
    /// library or the caller then raises becomes a Failure.
    template <typename Read>
    auto Reading(Read read) const {
        try {
            return read(*this);
        } catch (const Failure&) {
            throw;
        } catch (const std::exception& error) {
            FailContradiction(error.what());
        }
    }

private:
    explicit Store(std::string directory);

    /// The objects of all nine classes, empty.
    std::vector<std::shared_ptr<IPOBase>> AllObjects() const;

    std::string PathOf(IPOBase& object) const;
    void CheckWritable() const;
    void DeleteResults(bool replace) const;
    void PrepareWriting(IPOBase& object, fieldstore::Locking locking) const;
    void CommitChecked(IPOBase& object) const;
    void LoadChecked(IPOBase& object) const;
    [[noreturn]] void FailContradiction(const std::string& message) const;

    std::string directory_;
};

}  // namespace waveguide

#endif
