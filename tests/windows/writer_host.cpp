// SPDX-License-Identifier: Apache-2.0
// A writer among others, in a process of its own.
//
//   writer_host write FILE FIRST COUNT STEP
//   writer_host keys FILE
//   writer_host halfway DIRECTORY/
//
// write appends bodies of the keys FIRST, FIRST + STEP ... to a mode file under its lock; a commit
// that failed is tried again. keys prints the result of a load and the keys. halfway begins to
// append to number.dat under its lock, prints a line when part of the body is there, and waits to
// be killed.
#include <chrono>
#include <fstream>
#include <iostream>
#include <thread>

#include "reliability/campaigns/Bodies.h"
#include "streams/RetryPause.h"
#include "tests/storage/Number.h"

namespace {

using Words = std::vector<std::string>;
constexpr const char* kClass = "POModeInfo";

int Write(const Words& words) {
    fieldstore::SetPauseFunction([](std::chrono::microseconds) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    });
    const int first = std::stoi(words.at(2)), step = std::stoi(words.at(4));
    const int end = first + std::stoi(words.at(3)) * step;
    for (int key = first; key < end; key += step) {
        const auto object = campaigns::Open(kClass, words.at(1), true, true, true);
        campaigns::Fill(*object, key, 40);
        while (object->Commit(false) != 0) continue;
    }
    return 0;
}

int Keys(const Words& words) {
    const auto object = campaigns::Open(kClass, words.at(1), true, false, false);
    std::cout << object->Load();
    for (const int key : campaigns::Keys(*object)) std::cout << ' ' << key;
    std::cout << '\n';
    return 0;
}

int Halfway(const Words& words) {
    support::Number number(words.at(1));
    number.whileWriting = [&] {
        std::ofstream(words.at(1) + "number.dat", std::ios::binary | std::ios::app) << "ab";
        std::cout << "halfway" << std::endl;
        std::this_thread::sleep_for(std::chrono::hours(1));
    };
    return number.Store();
}

}  // namespace

int main(int count, char** arguments) {
    constexpr int failed = 2;
    return campaigns::RunOperation({{"write", &Write}, {"keys", &Keys}, {"halfway", &Halfway}},
                                   failed, count, arguments);
}
