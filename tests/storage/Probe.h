// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TESTS_STORAGE_PROBE_H
#define FIELDSTORE_TESTS_STORAGE_PROBE_H

#include <functional>
#include <memory>

#include "core/POBase.h"

namespace support {

/// A class whose steps a test can watch and make fail.
class Probe : public POBase {
public:
    static constexpr fieldstore::ClassTraits kTraits{"Probe",
                                                     "probe.dat",
                                                     fieldstore::kAppending,
                                                     eReadBinary,
                                                     eWriteBinary,
                                                     false,
                                                     "Unknown error committing Probe object."};

    Probe() : POBase(kTraits) {}
    ~Probe() override { CommitBeforeDestruction(); }

    int CopyFrom(std::shared_ptr<IPOBase>) override { return 1; }
    void ClearData() override { value = 0; }
    bool ValidateData() override { return true; }
    void SetFlags(std::uint32_t flags) { persistFlags = flags; }
    void Change() { modified = true; }
    bool IsModified() const { return modified; }

    void OnLock(std::shared_ptr<ILocker>) override { whenLocking(); }
    int GetStorageType(int direction) override {
        if (direction == 0) whenReading();
        return POBase::GetStorageType(direction);
    }
    void UseLocker(std::shared_ptr<ILocker> another) { storage.locker = std::move(another); }
    using POBase::SerializeIndex;

    std::function<void()> whileWriting = [] {};
    std::function<void()> whileReading = [] {};
    std::function<void()> whenLocking = [] {};
    std::function<void()> whenReading = [] {};
    int value = 5;

protected:
    void SerializeData(IStreamer::EDirection direction) override {
        int stored = value;
        if (direction == IStreamer::eRead) whileReading();
        SerializeValue(direction, stored);
        if (direction == IStreamer::eRead)
            value += stored;
        else
            whileWriting();
    }
};

}  // namespace support

#endif
