// SPDX-License-Identifier: Apache-2.0
// What python_bench.py compares with: the same work through the interfaces of C++.
//   load CLASS FILE REPEATS     prints the seconds of each load
//   metrics COUNT FILE REPEATS  prints, for each time, those of filling an object and of its commit

#include <malloc.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <string>
#include <vector>

#include "fieldstore/fieldstore.h"

namespace {

using Clock = std::chrono::steady_clock;

double SecondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

void Load(const std::string& className, const std::string& path) {
    const auto start = Clock::now();
    std::shared_ptr<IPOBase> object;
    NewInstance(std::wstring(className.begin(), className.end()), &object);
    object->SetFileName(path);
    fieldstore::CreateStorage(*object, fieldstore::StorageType::ReadBinary);
    fieldstore::LoadOrThrow(*object);
    std::cout << SecondsSince(start) << '\n';
}

void StoreMetrics(int count, const std::string& path) {
    auto start = Clock::now();
    const auto metrics = fieldstore::Create<IPOSolutionMetrics>();
    metrics->DefineValues(1, 0, 1, IPOSolutionMetrics::eReplace);
    std::vector<double> value(1);
    for (int i = 0; i < count; ++i) {
        value[0] = i * 0.5;
        metrics->AddValues(1, 0, static_cast<std::uint32_t>(i), 0, value);
    }
    metrics->AddEdge(1, {1, 2});
    std::cout << SecondsSince(start) << ' ';
    auto& storage = fieldstore::Storage(metrics);
    storage.SetFileName(path);
    fieldstore::Control(storage).SetDurability(IPOStorageControl::eUnsynced);
    start = Clock::now();
    fieldstore::CreateStorage(storage, fieldstore::StorageType::WriteBinary);
    fieldstore::CommitOrThrow(storage);
    std::cout << SecondsSince(start) << '\n';
    std::filesystem::remove(path);
}

}  // namespace

int main(int count, char** arguments) {
    constexpr int expected = 5;
    if (count != expected) return EXIT_FAILURE;
    const std::string what = arguments[1], second = arguments[2], path = arguments[3];
    try {
        for (int i = 0; i < std::atoi(arguments[4]); ++i) {
            malloc_trim(0);  // as arrays of NumPy get new memory each time
            if (what == "load")
                Load(second, path);
            else
                StoreMetrics(std::atoi(second.c_str()), path);
        }
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
