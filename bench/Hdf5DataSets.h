// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_BENCH_HDF5_DATA_SETS_H
#define FIELDSTORE_BENCH_HDF5_DATA_SETS_H

#include <hdf5.h>

#include <complex>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace bench {

/// Any identifier of the library, with the call that closes it.
class Handle {
public:
    Handle(hid_t id, herr_t (*close)(hid_t)) : id_(id), close_(close) {
        if (id_ < 0) throw std::runtime_error("HDF5 refused an object.");
    }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    ~Handle() { close_(id_); }

    operator hid_t() const { return id_; }

private:
    hid_t id_;
    herr_t (*close_)(hid_t);
};

inline void Check(herr_t result) {
    if (result < 0) throw std::runtime_error("HDF5 failed.");
}

inline hid_t NativeType(double) {
    return H5T_NATIVE_DOUBLE;
}
inline hid_t NativeType(int) {
    return H5T_NATIVE_INT;
}
inline hid_t NativeType(std::int64_t) {
    return H5T_NATIVE_INT64;
}
inline hid_t NativeType(std::uint64_t) {
    return H5T_NATIVE_UINT64;
}

/// How the elements of a list of `T` are stored: a complex number is two doubles.
template <typename T>
struct Stored {
    using Number = T;
    static constexpr hsize_t kWidth = 1;
};
template <>
struct Stored<std::complex<double>> {
    using Number = double;
    static constexpr hsize_t kWidth = 2;
};

template <typename T>
void WriteDataSet(hid_t file, const std::string& name, const std::vector<T>& values) {
    const hsize_t sizes[] = {values.size(), Stored<T>::kWidth};
    const hid_t type = NativeType(typename Stored<T>::Number());
    const Handle space(H5Screate_simple(Stored<T>::kWidth == 1 ? 1 : 2, sizes, nullptr), H5Sclose);
    const Handle set(
        H5Dcreate2(file, name.c_str(), type, space, H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT),
        H5Dclose);
    Check(H5Dwrite(set, type, H5S_ALL, H5S_ALL, H5P_DEFAULT, values.data()));
}

template <typename T>
void ReadDataSet(hid_t file, const std::string& name, std::vector<T>& values) {
    const Handle set(H5Dopen2(file, name.c_str(), H5P_DEFAULT), H5Dclose);
    const Handle space(H5Dget_space(set), H5Sclose);
    hsize_t sizes[2] = {0, 0};
    if (H5Sget_simple_extent_dims(space, sizes, nullptr) < 1)
        throw std::runtime_error("Not a list.");
    values.resize(sizes[0]);
    const hid_t type = NativeType(typename Stored<T>::Number());
    Check(H5Dread(set, type, H5S_ALL, H5S_ALL, H5P_DEFAULT, values.data()));
}

}  // namespace bench

#endif
