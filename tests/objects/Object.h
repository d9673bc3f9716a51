// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_TESTS_OBJECTS_OBJECT_H
#define FIELDSTORE_TESTS_OBJECTS_OBJECT_H

#include <complex>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "fieldstore/fieldstore.h"
#include "tests/support.h"

namespace support {

using Complex = std::complex<double>;
using Ints = std::vector<int>;
using Reals = std::vector<double>;

/// An object of a class with its own directory, seen through its interface.
template <typename Interface>
struct Object {
    Object() : typed(fieldstore::Create<Interface>()), base(fieldstore::Storage(typed)) {
        base.SetDirectory(directory.Path());
    }
    ~Object() { base.CreateStorageInterface(IPOBase::eWriteDataService, false); }
    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;

    Interface* operator->() { return typed.get(); }
    int Store(IPOBase::EStorageType type = IPOBase::eWriteDefault) {
        base.CreateStorageInterface(type, true);
        return base.Commit(true);
    }
    int StoreAndLoad() {
        const int stored = Store();
        return stored != 0 ? stored : base.Load();
    }
    std::string Stored() { return ReadFile(directory / base.GetFileName()); }

    TempDirectory directory;
    std::shared_ptr<Interface> typed;
    IPOBase& base;
};

inline std::string Integers(std::initializer_list<int> values) {
    Bytes bytes;
    for (const int value : values) bytes.I32(value);
    return bytes;
}

inline std::string Vector(std::initializer_list<int> values) {
    return std::string(Bytes().I64(static_cast<std::int64_t>(values.size()))) + Integers(values);
}

inline std::string Count(std::int64_t number) {
    return Bytes().I64(number);
}

inline std::string RealVector(std::initializer_list<double> values) {
    Bytes bytes;
    bytes.I64(static_cast<std::int64_t>(values.size()));
    for (const double value : values) bytes.F64(value);
    return bytes;
}

inline std::string MetricsBytes() {
    return Integers({9, 1, 2, 3, -294967296}) + Count(1) + Integers({12, 2, 3}) + Count(1) +
           Integers({12, 0, 0}) + RealVector({1.5, 2.5}) + Count(2) + Integers({1}) + Vector({2}) +
           Integers({2}) + Vector({1}) + Count(2) + Integers({1}) + RealVector({0, 0, 0}) +
           Integers({2}) + RealVector({1, 0, 0.5}) + Count(1) + Integers({1}) + Vector({1, 2});
}

}  // namespace support

#endif
