// SPDX-License-Identifier: Apache-2.0
// One operation on a result file, for a driver that makes its system calls fail.
//
//   fault_host commit|append CLASS MODE FILE KEY SIZE TRIES    (append: with a lock)
//   fault_host load CLASS MODE FILE HASH TRIES                 (HASH: of the data expected)
//   fault_host delete CLASS MODE FILE TRIES
//   fault_host hash CLASS MODE FILE                            (prints it)
//
// The status alone tells the outcome, since writing may be what fails: 10 * result of the first try
// + result of the last. Results are those of the library, 3 for a load with wrong data, 4 for an
// exception, 5 when no storage could be built. A try follows another only when that failed.
#include <cstdint>
#include <iostream>

#include "reliability/campaigns/Bodies.h"
#include "tests/samples/Samples.h"

namespace {

constexpr int kWrongData = 3;
constexpr int kRaised = 4;
constexpr int kNoStorage = 5;

/// FNV-1a.
std::uint64_t HashOf(IPOBase& object) {
    std::uint64_t hash = 14695981039346656037U;
    for (const char c : samples::Describe(object))
        hash = (hash ^ static_cast<unsigned char>(c)) * 1099511628211U;
    return hash;
}

template <typename Operation>
int Outcome(int tries, Operation operation) {
    int first = 0;
    int last = 0;
    for (int attempt = 0; attempt < tries; ++attempt) {
        try {
            last = operation();
        } catch (const std::exception&) {
            last = kRaised;
        }
        if (attempt == 0) first = last;
        if (last == 0) break;
    }
    return 10 * first + last;
}

int Run(const std::vector<std::string>& words) {
    const std::string& operation = words.at(0);
    const bool writing = operation != "load" && operation != "hash";
    const bool withLock = operation == "append" || operation == "delete";
    // Never destroyed: a destructor would commit what is unsaved, and hide what the operation left.
    const bool text = words.at(2) == "text";
    auto& object = *new std::shared_ptr<IPOBase>(
        campaigns::Open(words.at(1), words.at(3), text, writing, withLock));
    if (!object) return 11 * kNoStorage;
    if (operation == "hash") {
        if (object->Load() != 0) return 1;
        std::cout << HashOf(*object) << '\n';
        return 0;
    }
    if (operation == "delete")
        return Outcome(std::stoi(words.at(4)), [&] { return object->DeleteStorage(); });
    if (operation == "load") {
        const std::uint64_t expected = std::stoull(words.at(4));
        return Outcome(std::stoi(words.at(5)), [&] {
            // A load leaves the storage closed; another one would build that of the default mode.
            object->CreateStorageInterface(text ? IPOBase::eReadText : IPOBase::eReadBinary, false);
            const int result = object->Load();
            return result == 0 && HashOf(*object) != expected ? kWrongData : result;
        });
    }
    campaigns::Fill(*object, std::stoi(words.at(4)), std::stoi(words.at(5)));
    return Outcome(std::stoi(words.at(6)), [&] { return object->Commit(false); });
}

}  // namespace

int main(int count, char** arguments) {
    try {
        return Run({arguments + 1, arguments + count});
    } catch (const std::exception& error) {
        std::cerr << "fault_host: " << error.what() << '\n';
        return 99;
    }
}
