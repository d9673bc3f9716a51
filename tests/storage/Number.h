// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TESTS_STORAGE_NUMBER_H
#define FIELDSTORE_TESTS_STORAGE_NUMBER_H

#include <functional>

#include "core/POBase.h"
#include "tests/support.h"

namespace support {

/// An appending or replacing class with one number as its body, and a look at a commit from inside.
class Number : public POBase {
public:
    static constexpr fieldstore::ClassTraits kTraits{"Number",
                                                     "number.dat",
                                                     fieldstore::kAppending,
                                                     eReadBinary,
                                                     eWriteBinary,
                                                     false,
                                                     "Unknown error committing Number object."};

    explicit Number(const std::string& directory, bool appends = true) : POBase(kTraits) {
        if (!appends) persistFlags = fieldstore::kReplacing;
        SetDirectory(directory);
    }
    explicit Number(const TempDirectory& directory, bool appends = true)
        : Number(directory.Path(), appends) {}
    ~Number() override { CommitBeforeDestruction(); }

    int CopyFrom(std::shared_ptr<IPOBase>) override { return 1; }
    void ClearData() override {}
    bool ValidateData() override { return true; }
    void Change() { modified = true; }
    int Store(EStorageType type = eWriteBinary, bool withLock = true) {
        CreateStorageInterface(type, withLock);
        Change();
        const int result = Commit(false);
        modified = false;
        return result;
    }

    int Bodies() const { return bodies; }

    std::function<void()> whileWriting = [] {};

protected:
    void SerializeData(IStreamer::EDirection direction) override {
        if (direction == IStreamer::eRead)
            return ReadBodies([this] {
                SkipBody();
                ++bodies;
            });
        SerializeValue(direction, value);
        whileWriting();
    }
    void SkipBody() override {
        int skipped = 0;
        SerializeValue(IStreamer::eRead, skipped);
    }

private:
    int value = 5;
    int bodies = 0;
};

inline const std::string kNumberBody = Bytes().I32(5);

}  // namespace support

#endif
