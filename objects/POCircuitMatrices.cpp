// SPDX-License-Identifier: Apache-2.0
#include "objects/POCircuitMatrices.h"

#include <cmath>
#include <cstddef>
#include <limits>

#include "core/FrequencyKey.h"

using namespace fieldstore;

namespace {

/// A matrix is never refused, so a frequency without a key takes the nearest one.
std::int64_t NearestFrequencyKey(double frequency) {
    using Limits = std::numeric_limits<std::int64_t>;
    if (const auto key = FrequencyKey(frequency)) return *key;
    return frequency > 0 ? Limits::max() : Limits::min();
}

}  // namespace

bool POCircuitMatrices::SetMatrix(double frequency, int matrixType, int, int,
                                  const std::vector<double>& values) {
    data.matrices.insert_or_assign({NearestFrequencyKey(frequency), matrixType}, values);
    modified = true;
    return true;
}

IPOCircuitMatrices::Matrix POCircuitMatrices::GetMatrix(int frequencyIndex, int matrixType,
                                                        bool asStored) {
    constexpr std::int64_t outside = -1;
    const bool listed = frequencyIndex >= 0 && frequencyIndex < GetFrequencyCount();
    const auto key = listed ? NearestFrequencyKey(GetFrequency(frequencyIndex)) : outside;
    const auto found = data.matrices.find({key, matrixType});
    if (found == data.matrices.end()) return {};
    const std::vector<double>& stored = found->second;
    // Half a value more keeps the root of a perfect square from being rounded down.
    const double root = std::sqrt(static_cast<double>(stored.size()) + 0.5);
    Matrix matrix;
    matrix.dimension = static_cast<int>(root);
    if (asStored) matrix.values = stored;
    if (asStored || matrix.dimension == 0) return matrix;

    const auto columns = static_cast<std::size_t>(matrix.dimension);
    const std::size_t rows = stored.size() / columns;
    matrix.values.resize(rows * columns);
    for (std::size_t row = 0; row < rows; ++row)
        for (std::size_t column = 0; column < columns; ++column)
            matrix.values[column * rows + row] = stored[row * columns + column];
    return matrix;
}

double POCircuitMatrices::GetFrequency(int index) {
    if (index < 0 || index >= GetFrequencyCount()) return 0.0;
    return frequencies[static_cast<std::size_t>(index)];
}

std::int64_t POCircuitMatrices::GetFrequencyCount() {
    return static_cast<std::int64_t>(frequencies.size());
}

int POCircuitMatrices::CopyFrom(std::shared_ptr<IPOBase> source) {
    return CopyFromSameClass<POCircuitMatrices>(source, [this](const POCircuitMatrices& other) {
        data = other.data;
        frequencies = other.frequencies;
    });
}

void POCircuitMatrices::ClearData() {
    data = Body();
    frequencies.clear();
}

POCircuitMatrices::Body POCircuitMatrices::ReadBody() {
    Body body;
    SerializeBody<CircuitMatricesLayout>(IStreamer::eRead, body);
    return body;
}

void POCircuitMatrices::SerializeData(IStreamer::EDirection direction) {
    if (direction == IStreamer::eWrite)
        return SerializeBody<CircuitMatricesLayout>(direction, data);
    ReadBodies([this] {
        Body body = ReadBody();
        for (auto& [key, values] : body.matrices)
            data.matrices.insert_or_assign(key, std::move(values));
    });
    frequencies = DistinctFrequencies(data.matrices);
}
