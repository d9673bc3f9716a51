// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_RAW_TYPE_H
#define FIELDSTORE_RAW_TYPE_H

#include <complex>

namespace fieldstore {

/// Whether the elements of a vector lie in memory as they stand in a binary stream.
template <typename T>
inline constexpr bool IsRawType = false;
template <>
inline constexpr bool IsRawType<bool> = true;
template <>
inline constexpr bool IsRawType<char> = true;
template <>
inline constexpr bool IsRawType<unsigned char> = true;
template <>
inline constexpr bool IsRawType<short> = true;
template <>
inline constexpr bool IsRawType<unsigned short> = true;
template <>
inline constexpr bool IsRawType<int> = true;
template <>
inline constexpr bool IsRawType<unsigned int> = true;
template <>
inline constexpr bool IsRawType<long> = true;
template <>
inline constexpr bool IsRawType<unsigned long> = true;
template <>
inline constexpr bool IsRawType<long long> = true;
template <>
inline constexpr bool IsRawType<unsigned long long> = true;
template <>
inline constexpr bool IsRawType<float> = true;
template <>
inline constexpr bool IsRawType<double> = true;
template <>
inline constexpr bool IsRawType<std::complex<float>> = true;
template <>
inline constexpr bool IsRawType<std::complex<double>> = true;

}  // namespace fieldstore

#endif
