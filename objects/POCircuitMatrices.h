// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_POCIRCUITMATRICES_H
#define FIELDSTORE_POCIRCUITMATRICES_H

#include <cstdint>
#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "core/ClassTraits.h"
#include "core/POBase.h"
#include "fieldstore/IPOBase.h"
#include "fieldstore/IPOCircuitMatrices.h"
#include "fieldstore/IStreamer.h"
#include "objects/Field.h"

namespace fieldstore {

struct CircuitMatricesLayout {
    static constexpr ClassTraits kTraits{"POCircuitMatrices",
                                         "circuitmatrices.dat",
                                         kAppending,
                                         IPOBase::eReadBinary,
                                         IPOBase::eWriteBinary,
                                         false,
                                         "Unknown error committing POCircuitMatrices object."};

    template <typename Self, typename V>
    static void Visit(Self& self, V& visit) {
        visit(Field{"matrices", {{{"frequency"}, {"type"}, {"values"}}}}, self.matrices);
    }
};

}  // namespace fieldstore

/// Body: one map per commit, from (frequency key, matrix type) to the values. A load takes the last
/// values of each key.
///
/// Matrices that were set since the last load or copy are held and committed, but getters by index
/// find only those whose frequency was there then.
class POCircuitMatrices final : public POBase, public IPOCircuitMatrices {
public:
    POCircuitMatrices() : POBase(fieldstore::CircuitMatricesLayout::kTraits) {}
    ~POCircuitMatrices() override { CommitBeforeDestruction(); }

    bool SetMatrix(double frequency, int matrixType, int ignored1, int ignored2,
                   const std::vector<double>& values) override;
    Matrix GetMatrix(int frequencyIndex, int matrixType, bool asStored) override;
    std::vector<double> GetFrequencies() override { return frequencies; }
    double GetFrequency(int index) override;
    std::int64_t GetFrequencyCount() override;

    /// Shows the data held to a visitor, field by field as a commit would write them.
    template <typename V>
    void VisitData(V& visit) const {
        fieldstore::CircuitMatricesLayout::Visit(data, visit);
    }

    int CopyFrom(std::shared_ptr<IPOBase> source) override;
    void ClearData() override;
    bool ValidateData() override { return true; }

protected:
    void SerializeData(IStreamer::EDirection direction) override;
    void SkipBody() override { ReadBody(); }

private:
    using MatrixKey = std::pair<std::int64_t, int>;  // frequency key, matrix type
    struct Body {
        std::map<MatrixKey, std::vector<double>> matrices;
    };

    Body ReadBody();

    Body data;
    std::vector<double> frequencies;  // as of the last load or copy
};

#endif
