// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_IPOCIRCUITMATRICES_H
#define FIELDSTORE_IPOCIRCUITMATRICES_H

#include <cstdint>
#include <vector>

#include "fieldstore/export.h"

/// Square circuit matrices per frequency and matrix type (class "POCircuitMatrices", file
/// "circuitmatrices.dat", binary by default, every commit appends; the later body wins).
///
/// A frequency is stored as its whole number of units; not-a-number becomes the smallest 64-bit
/// integer, values beyond 64 bits the nearest one. The list of frequencies, and with it every
/// lookup by index, is filled by a load or a copy, not by SetMatrix.
class FIELDSTORE_INTERFACE IPOCircuitMatrices {
public:
    /// A square matrix as GetMatrix() gives it.
    struct Matrix {
        std::vector<double> values;  ///< row after row, or transposed
        int dimension = 0;           ///< number of rows
    };

    IPOCircuitMatrices(const IPOCircuitMatrices&) = delete;
    IPOCircuitMatrices& operator=(const IPOCircuitMatrices&) = delete;
    virtual ~IPOCircuitMatrices() = default;

    /// Stores a matrix of d x d values, row after row, replacing the one stored under the same
    /// frequency and type. The two arguments after the type are ignored. Returns true.
    virtual bool SetMatrix(double frequency, int matrixType, int ignored1, int ignored2,
                           const std::vector<double>& values) = 0;

    /// The matrix of one frequency and type: `asStored` row after row as given, otherwise
    /// transposed. The dimension is the whole part of the square root of the number of values;
    /// values beyond whole rows are left out of the transposed form. Without such a matrix the
    /// values are empty and the dimension is 0.
    virtual Matrix GetMatrix(int frequencyIndex, int matrixType, bool asStored) = 0;

    /// The distinct frequencies in ascending order, as whole numbers, as of the last load or copy.
    virtual std::vector<double> GetFrequencies() = 0;

    /// Entry `index` of GetFrequencies(), or 0 when it is outside.
    virtual double GetFrequency(int index) = 0;

    /// The number of entries of GetFrequencies().
    virtual std::int64_t GetFrequencyCount() = 0;

protected:
    IPOCircuitMatrices() = default;
};

#endif
