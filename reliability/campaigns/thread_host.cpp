// SPDX-License-Identifier: Apache-2.0
// Separate objects on separate threads, for a build with the thread sanitizer.
//
//   thread_host DIRECTORY [ROUNDS]
//
// All threads first meet at the first use of the library. Then each commits and loads objects of
// every class in files of its own, appends to a file of all under the lock, and replaces a file of
// all. Status 1 when data are wrong; the sanitizer ends the program at a race.
#include <atomic>
#include <filesystem>
#include <iostream>
#include <thread>

#include "reliability/campaigns/Bodies.h"
#include "streams/RetryPause.h"
#include "tests/samples/Samples.h"

namespace {

constexpr int kThreads = 8;
constexpr int kSize = 2000;

std::atomic<int> arrived{0};
std::atomic<int> faults{0};

void Require(bool condition, const char* message) {
    if (condition) return;
    ++faults;
    std::cerr << message;
}

void MeetOthers() {
    ++arrived;
    while (arrived < kThreads) std::this_thread::yield();
}

/// Every thread asks for the class table and for the functions at the same moment.
void UseFirst() {
    MeetOthers();
    for (const auto& name : samples::ClassNames())
        Require(samples::New(name) != nullptr, "a class is missing\n");
    const auto metrics = fieldstore::Create<IPOSolutionMetrics>();
    Require(metrics->GetResolveFunctions().size() == 6, "resolve functions are missing\n");
}

void StoreAlone(const std::string& directory, int key) {
    for (const auto& name : samples::ClassNames()) {
        for (const bool text : {false, true}) {
            const std::string path = directory + std::to_string(key) + ".dat";
            const auto written = campaigns::Open(name, path, text, true, true);
            campaigns::Fill(*written, key, 0);
            Require(written->Commit(false) == 0, "a commit fails\n");
            const auto read = campaigns::Open(name, path, text, false, false);
            Require(read->Load() == 0 && !samples::Describe(*read).empty(), "a load fails\n");
            written->DeleteStorage();
        }
    }
}

void Commit(const std::string& className, const std::string& path, int key) {
    const auto object = campaigns::Open(className, path, false, true, true);
    campaigns::Fill(*object, key, kSize);
    while (object->Commit(false) != 0) {  // others hold the lock for longer than one waits for it
    }
}

std::set<int> KeysIn(const std::string& className, const std::string& path) {
    const auto object = campaigns::Open(className, path, false, false, false);
    return object->Load() == 0 ? campaigns::Keys(*object) : std::set<int>{};
}

void Work(const std::string& directory, int thread, int rounds) {
    UseFirst();
    for (int round = 0; round < rounds; ++round) {
        const int key = thread * rounds + round;
        StoreAlone(directory, key);
        Commit("POCircuitMatrices", directory + "shared.dat", key);
        Commit("POMeshTree", directory + "replaced.dat", key);
        Require(KeysIn("POMeshTree", directory + "replaced.dat").size() == 1,
                "a replaced file is not whole\n");
    }
}

}  // namespace

int main(int count, char** arguments) {
    if (count < 2) return 2;
    const int rounds = count > 2 ? std::stoi(arguments[2]) : 10;
    const std::string directory = std::string(arguments[1]) + "/threads/";
    std::filesystem::create_directories(directory);
    fieldstore::SetPauseFunction([](std::chrono::microseconds) { std::this_thread::yield(); });
    std::vector<std::thread> threads;
    threads.reserve(kThreads);
    for (int thread = 0; thread < kThreads; ++thread)
        threads.emplace_back(Work, directory, thread, rounds);
    for (auto& thread : threads) thread.join();
    const auto keys =
        static_cast<int>(KeysIn("POCircuitMatrices", directory + "shared.dat").size());
    Require(keys == kThreads * rounds, "appended bodies are missing\n");
    std::filesystem::remove_all(directory);
    std::cout << "Threads: " << kThreads << " threads, " << keys << " bodies appended to one file, "
              << kThreads * rounds * 18 << " commits alone, " << faults << " faults\n";
    return faults == 0 ? 0 : 1;
}
