// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_RAW_TYPE_H
#define FIELDSTORE_RAW_TYPE_H

#include <complex>

namespace fieldstore {

/// Whether the elements of a vector lie in memory as they stand in a binary stream.
template <typename T>
inline constexpr bool kIsRawType = false;
template <>
inline constexpr bool kIsRawType<bool> = true;
template <>
inline constexpr bool kIsRawType<char> = true;
template <>
inline constexpr bool kIsRawType<unsigned char> = true;
template <>
inline constexpr bool kIsRawType<short> = true;
template <>
inline constexpr bool kIsRawType<unsigned short> = true;
template <>
inline constexpr bool kIsRawType<int> = true;
template <>
inline constexpr bool kIsRawType<unsigned int> = true;
template <>
inline constexpr bool kIsRawType<long> = true;
template <>
inline constexpr bool kIsRawType<unsigned long> = true;
template <>
inline constexpr bool kIsRawType<long long> = true;
template <>
inline constexpr bool kIsRawType<unsigned long long> = true;
template <>
inline constexpr bool kIsRawType<float> = true;
template <>
inline constexpr bool kIsRawType<double> = true;
template <>
inline constexpr bool kIsRawType<std::complex<float>> = true;
template <>
inline constexpr bool kIsRawType<std::complex<double>> = true;

}  // namespace fieldstore

#endif
