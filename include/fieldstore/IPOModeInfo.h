// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_IPOMODEINFO_H
#define FIELDSTORE_IPOMODEINFO_H

#include <complex>
#include <cstdint>
#include <vector>

#include "fieldstore/export.h"

/// Modal voltages and currents per frequency and port (class "POModeInfo", file "modeinfo.dat",
/// text by default, every commit appends).
///
/// A frequency is stored as its whole number of units (hertz, say): 2.75 becomes 2. The list of
/// frequencies, and with it every lookup by frequency index, is filled by a load or a copy, not by
/// AddModeData.
class FIELDSTORE_INTERFACE IPOModeInfo {
public:
    /// A mode value, voltage or current.
    using Complex = std::complex<double>;

    IPOModeInfo(const IPOModeInfo&) = delete;
    IPOModeInfo& operator=(const IPOModeInfo&) = delete;
    virtual ~IPOModeInfo() = default;

    /// Stores the modes of one frequency and port, replacing those stored under the same key.
    ///
    /// `groups` lists the mode indices of each mode group; together they must be exactly 0..n-1
    /// (a mode listed twice keeps its last group). `values` gives at least n mode values, such as
    /// propagation constants. `data` gives n vectors of modal data: the first half voltages, the
    /// second half currents; an odd last entry belongs to neither.
    /// Returns false and changes nothing when the indices or lengths do not fit, or the frequency
    /// is not a number or beyond 64-bit integers.
    virtual bool AddModeData(double frequency, int port, const std::vector<Complex>& values,
                             const std::vector<std::vector<int>>& groups,
                             const std::vector<std::vector<Complex>>& data) = 0;

    /// The current part of the modes of one frequency and port as a flat row-major matrix.
    ///
    /// `modeRows` true: row i is mode i, as long as its data. False: n x n with mode i in column i;
    /// entries beyond n are left out and missing ones are zero. Empty when nothing is stored there.
    virtual std::vector<Complex> GetCurrentMatrix(int frequencyIndex, int port,
                                                  bool modeRows) const = 0;

    /// The distinct frequencies in ascending order, as whole numbers, as of the last load or copy.
    virtual std::vector<double> GetFrequencies() const = 0;

    /// The value of each mode of one frequency and port, in mode order; empty when none is stored.
    virtual std::vector<Complex> GetModeValues(int frequencyIndex, int port) const = 0;

    /// The number of entries of GetFrequencies().
    virtual std::int64_t GetFrequencyCount() const = 0;

    /// The number of distinct port numbers over all frequencies, including those just added.
    virtual int GetPortCount() const = 0;

    /// The voltage part of the modes; otherwise as GetCurrentMatrix().
    virtual std::vector<Complex> GetVoltageMatrix(int frequencyIndex, int port,
                                                  bool modeRows) const = 0;

protected:
    IPOModeInfo() = default;
};

#endif
