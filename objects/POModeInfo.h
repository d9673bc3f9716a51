// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_POMODEINFO_H
#define FIELDSTORE_POMODEINFO_H

#include <map>
#include <utility>

#include "core/POBase.h"
#include "fieldstore/IPOModeInfo.h"
#include "objects/Field.h"

namespace fieldstore {

struct ModeInfoLayout {
    static constexpr ClassTraits kTraits{"POModeInfo",
                                         "modeinfo.dat",
                                         kAppending,
                                         IPOBase::eReadText,
                                         IPOBase::eWriteText,
                                         false,
                                         "Unknown error committing POModeInfo object."};

    template <typename Self, typename V>
    static void Visit(Self& self, V& visit) {
        visit(
            Field{"modes", {{{"frequency"}, {"port"}, {"modes"}, {"group"}, {"value"}, {"data"}}}},
            self.modes);
    }
};

}  // namespace fieldstore

/// Body: one map per commit, from (frequency key, port) to the records of the modes. A load takes
/// the first record list of each key.
///
/// Modes that were added since the last load or copy are held and committed, but getters by index
/// find only those whose frequency was there then.
class POModeInfo final : public POBase, public IPOModeInfo {
public:
    POModeInfo() : POBase(fieldstore::ModeInfoLayout::kTraits) {}
    ~POModeInfo() override { CommitBeforeDestruction(); }

    bool AddModeData(double frequency, int port, const std::vector<Complex>& values,
                     const std::vector<std::vector<int>>& groups,
                     const std::vector<std::vector<Complex>>& data) override;
    std::vector<Complex> GetCurrentMatrix(int frequencyIndex, int port,
                                          bool modeRows) const override;
    std::vector<double> GetFrequencies() const override { return frequencies; }
    std::vector<Complex> GetModeValues(int frequencyIndex, int port) const override;
    std::int64_t GetFrequencyCount() const override;
    int GetPortCount() const override;
    std::vector<Complex> GetVoltageMatrix(int frequencyIndex, int port,
                                          bool modeRows) const override;

    /// Shows the data held to a visitor, field by field as a commit would write them.
    template <typename V>
    void VisitData(V& visit) const {
        fieldstore::ModeInfoLayout::Visit(held, visit);
    }

    int CopyFrom(std::shared_ptr<IPOBase> source) override;
    void LogError(const std::string& message) override;
    void ClearData() override { held = Body(); }
    bool ValidateData() override;

protected:
    void SerializeData(IStreamer::EDirection direction) override;
    void SkipBody() override { ReadBody(); }

private:
    using ModeKey = std::pair<std::int64_t, int>;  // frequency key, port
    /// ((group, mode value), modal data)
    using ModeRecord = std::pair<std::pair<int, Complex>, std::vector<Complex>>;
    using Records = std::vector<ModeRecord>;
    struct Body {
        std::map<ModeKey, Records> modes;
    };
    enum class Part { Voltage, Current };

    /// Null when there are none.
    const Records* Find(int frequencyIndex, int port) const;
    std::vector<Complex> Matrix(int frequencyIndex, int port, bool modeRows, Part part) const;
    Body ReadBody();

    Body held;
    std::vector<double> frequencies;  // as of the last load or copy
};

#endif
