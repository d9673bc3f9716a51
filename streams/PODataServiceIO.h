// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_PODATASERVICEIO_H
#define FIELDSTORE_PODATASERVICEIO_H

#include <complex>
#include <cstdint>
#include <string>

#include "fieldstore/IStreamer.h"
#include "streams/POStreamIO.h"

/// The stream of an object whose data are exchanged through a data service. It is inert on purpose:
/// primitives are accepted without moving data, so that an object's serialisation can run over it,
/// and the exchange itself is left to the owner. Containers and raw blocks raise "Bad stream;", for
/// the stream keeps its placeholder input and is never good.
class PODataServiceIO : public POStreamIO {
public:
    PODataServiceIO(const std::string& name, InputPreparer readCallback);

    void Open(EDirection, int) override {}
    void Close() override {}
    void Destroy() override {}
    using POStreamIO::Seek;
    /// Raises "PODataServiceIO::Seek: Not implemented.".
    void Seek(std::uint64_t position) override;
    bool Exists() override { return true; }
    std::uint64_t Tell() override { return 0; }

    using POStreamIO::Read;
    void Read(std::string&, const std::string&, int) override {}
    void Read(std::complex<double>&) override {}
    void Read(double&) override {}
    void Read(std::int64_t&) override {}
    void Read(std::uint64_t&) override {}
    void Read(unsigned int&) override {}
    void Read(int&) override {}
    void Read(char&) override {}

    using POStreamIO::Write;
    void Write(const std::string&, const std::string&) override {}
    void Write(const std::complex<double>&, const std::string&) override {}
    void Write(const double&, const std::string&) override {}
    void Write(std::int64_t, const std::string&) override {}
    void Write(std::uint64_t, const std::string&) override {}
    void Write(unsigned int, const std::string&) override {}
    void Write(int, const std::string&) override {}
    void Write(char, const std::string&) override {}
};

#endif
