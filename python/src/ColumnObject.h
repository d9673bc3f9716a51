// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_PYTHON_COLUMN_OBJECT_H
#define FIELDSTORE_PYTHON_COLUMN_OBJECT_H

#include <memory>
#include <stdexcept>

#include "ColumnData.h"
#include "core/FrequencyKey.h"
#include "core/POBase.h"
#include "objects/POCircuitMatrices.h"
#include "objects/PODOFMap.h"
#include "objects/POModeInfo.h"

namespace fieldstore::python {

/// An object for reading that loads its class's files straight into columns. It differs from the
/// library's object of that class in how it holds the data; what a load takes from a file, and what
/// it refuses, is the same. `Data` has the members that the layout names.
template <typename Layout, typename Data>
class ColumnObject final : public POBase {
public:
    ColumnObject() : POBase(Layout::kTraits) {}

    /// Shows the data held to a visitor, field by field.
    template <typename V>
    void VisitData(V& visit) const {
        Layout::Visit(data, visit);
    }

    int CopyFrom(std::shared_ptr<IPOBase>) override { return kFailure; }
    void ClearData() override {
        ForEachField([](const Field&, auto& field) { field.Clear(); });
    }
    bool ValidateData() override { return IsValid(data); }

protected:
    void SerializeData(IStreamer::EDirection direction) override {
        if (direction == IStreamer::eWrite) throw std::logic_error("This object is for reading.");
        POStreamFileIO& stream = storage.RequireFile();
        const auto readBody = [&] {
            ForEachField([&stream](const Field&, auto& field) { field.Read(stream); });
            ForEachField([](const Field&, auto& field) { field.EndBody(); });
        };
        if ((persistFlags & kAppend) != 0)
            ReadBodies(readBody);
        else
            readBody();
        ForEachField([](const Field&, auto& field) { field.Settle(); });
    }

private:
    template <typename V>
    void ForEachField(const V& visit) {
        Layout::Visit(data, visit);
    }

    Data data;
};

struct DOFMapData {
    RowColumns rows;
    NumberColumn types;
};
inline bool IsValid(const DOFMapData&) {
    return true;
}

struct MatricesData {
    MatrixColumns matrices;
};
inline bool IsValid(const MatricesData&) {
    return true;
}

struct ModesData {
    ModeColumns modes;
};
inline bool IsValid(const ModesData& data) {
    const auto& frequencies = data.modes.entries.frequencies;
    const auto* const begin = frequencies.Data();
    return EachAsOften(begin, begin + frequencies.Size(), [](std::int64_t key) { return key; });
}

using LoadedDOFMap = ColumnObject<DOFMapLayout, DOFMapData>;
using LoadedMatrices = ColumnObject<CircuitMatricesLayout, MatricesData>;
using LoadedModes = ColumnObject<ModeInfoLayout, ModesData>;

}  // namespace fieldstore::python

#endif
