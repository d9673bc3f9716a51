// SPDX-License-Identifier: Apache-2.0
#ifndef FIELDSTORE_CONTAINER_TYPES_H
#define FIELDSTORE_CONTAINER_TYPES_H

#include <complex>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

// The 34 container types of IStreamer: SEQ for vectors, sets and maps, PAIR for pairs.
// clang-format off
#define FIELDSTORE_CONTAINER_TYPES(SEQ, PAIR) \
    SEQ(std::map<std::pair<int, std::pair<int, int>>, std::vector<double>>) \
    SEQ(std::map<std::pair<std::int64_t, int>, std::vector<double>>) \
    SEQ(std::map<std::pair<int, int>, std::vector<double>>) \
    SEQ(std::map<std::pair<std::int64_t, int>, std::vector<std::pair<std::pair<int, std::complex<double>>, std::vector<std::complex<double>>>>>) \
    SEQ(std::map<std::pair<std::int64_t, int>, std::vector<std::pair<int, std::vector<std::complex<double>>>>>) \
    SEQ(std::map<int, std::set<int>>) \
    SEQ(std::map<int, std::vector<std::vector<std::complex<double>>>>) \
    SEQ(std::map<int, std::vector<std::vector<int>>>) \
    SEQ(std::map<std::int64_t, std::map<int, std::vector<std::vector<std::complex<double>>>>>) \
    SEQ(std::map<std::int64_t, std::map<int, std::vector<std::vector<int>>>>) \
    SEQ(std::map<int, std::vector<double>>) \
    SEQ(std::map<int, std::vector<int>>) \
    SEQ(std::map<int, std::pair<int, int>>) \
    SEQ(std::map<int, int>) \
    SEQ(std::set<std::pair<int, int>>) \
    SEQ(std::set<int>) \
    SEQ(std::vector<std::pair<std::pair<int, std::complex<double>>, std::vector<std::complex<double>>>>) \
    SEQ(std::vector<std::pair<int, std::vector<std::complex<double>>>>) \
    SEQ(std::vector<std::vector<std::pair<int, double>>>) \
    SEQ(std::vector<std::vector<std::complex<double>>>) \
    SEQ(std::vector<std::pair<int, double>>) \
    SEQ(std::vector<std::complex<double>>) \
    SEQ(std::vector<std::vector<int>>) \
    SEQ(std::vector<double>) \
    SEQ(std::vector<std::uint64_t>) \
    SEQ(std::vector<int>) \
    SEQ(std::vector<char>) \
    PAIR(std::pair<std::pair<int, std::complex<double>>, std::vector<std::complex<double>>>) \
    PAIR(std::pair<int, std::vector<std::complex<double>>>) \
    PAIR(std::pair<int, std::complex<double>>) \
    PAIR(std::pair<int, std::pair<int, int>>) \
    PAIR(std::pair<int, double>) \
    PAIR(std::pair<std::int64_t, int>) \
    PAIR(std::pair<int, int>)
// clang-format on

/// Declares the operations of a class over IStreamer for the list above.
#define FIELDSTORE_DECLARE_SEQUENCE(...)                                            \
    void Read(__VA_ARGS__& value) override;                                         \
    void Write(const __VA_ARGS__& value, int perLine, const std::string& separator, \
               const std::string& lineEnd) override;
#define FIELDSTORE_DECLARE_PAIR(...)                                        \
    void Read(__VA_ARGS__& value) override;                                 \
    void Write(const __VA_ARGS__& value, const std::string& firstSeparator, \
               const std::string& secondSeparator) override;

/// Defines them, as operations of FIELDSTORE_STREAM_CLASS, by the rules of ContainerEncoding.h.
#define FIELDSTORE_DEFINE_SEQUENCE(...)                                        \
    void FIELDSTORE_STREAM_CLASS::Read(__VA_ARGS__& value) {                   \
        fieldstore::ReadContainer(*this, value);                               \
    }                                                                          \
    void FIELDSTORE_STREAM_CLASS::Write(const __VA_ARGS__& value, int perLine, \
                                        const std::string& separator,          \
                                        const std::string& lineEnd) {          \
        fieldstore::WriteContainer(*this, value, perLine, separator, lineEnd); \
    }
#define FIELDSTORE_DEFINE_PAIR(...)                                                \
    void FIELDSTORE_STREAM_CLASS::Read(__VA_ARGS__& value) {                       \
        fieldstore::ReadContainer(*this, value);                                   \
    }                                                                              \
    void FIELDSTORE_STREAM_CLASS::Write(const __VA_ARGS__& value,                  \
                                        const std::string& firstSeparator,         \
                                        const std::string& secondSeparator) {      \
        fieldstore::WriteContainer(*this, value, firstSeparator, secondSeparator); \
    }

#endif
