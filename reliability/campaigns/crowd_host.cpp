// SPDX-License-Identifier: Apache-2.0
// One of many processes on one result file.
//
//   crowd_host write CLASS MODE FILE SIZE FIRST COUNT STEP ACKNOWLEDGED [CONTROL SLOT]
//   crowd_host read CLASS MODE FILE ACKNOWLEDGED STOP
//   crowd_host keys CLASS MODE FILE
//
// write commits bodies of the keys FIRST, FIRST + STEP ... under the lock, an object each, and puts
// down every key in ACKNOWLEDGED once its commit gave 0; a commit that failed is tried again. Every
// eighth body is large, SIZE numbers. CONTROL is a shared file of 32-bit numbers: the gate, and
// from SLOT on what this process is about (see State).
//
// read loads without a lock until the file STOP appears. A load that gives 0 must have every value
// right and, of appending classes, every key acknowledged before it began. Prints the counts.
//
// keys prints the result of a load and the keys.
//
// Status 3 for wrong data.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <thread>
#include <vector>

#include "reliability/campaigns/Bodies.h"
#include "streams/RetryPause.h"
#include "tests/samples/Samples.h"

namespace {

using std::chrono::milliseconds;

constexpr int kWrongData = 3;
constexpr int kSmall = 40;  // numbers of the small bodies
constexpr int kLargeEvery = 8;

/// What the driver sees of a writer. A parked one holds no lock and takes none while the gate is
/// closed: it is between two commits or waits for the lock.
enum State : int { kBusy = 1, kParked = 2 };

struct Control {
    std::atomic<int>* gate = nullptr;  // 0: open
    std::atomic<int>* state = nullptr;
} control;

bool IsClosed() {
    return control.gate != nullptr && *control.gate != 0;
}

void SetState(State state) {
    if (control.state != nullptr) *control.state = state;
}

/// Parks for at least `duration` and until the gate is open.
void Park(milliseconds duration) {
    do {
        SetState(kParked);
        std::this_thread::sleep_for(duration);
        SetState(kBusy);
    } while (IsClosed());
}

void MapControl(const std::string& path, int slot) {
    constexpr std::size_t size = 4096;
    const int file = open(path.c_str(), O_RDWR | O_CLOEXEC);
    void* memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    if (memory == MAP_FAILED) throw std::runtime_error("The control file cannot be mapped.");
    control.gate = static_cast<std::atomic<int>*>(memory);
    control.state = control.gate + slot;
}

/// One write, so that a death leaves a whole line or none.
void Acknowledge(int file, int key) {
    const std::string line = std::to_string(key) + "\n";
    if (write(file, line.data(), line.size()) != static_cast<ssize_t>(line.size()))
        throw std::runtime_error("A commit cannot be acknowledged.");
}

int Write(const std::vector<std::string>& words) {
    const std::string& name = words.at(1);
    const bool text = words.at(2) == "text";
    const int large = std::stoi(words.at(4));
    const int first = std::stoi(words.at(5));
    const int step = std::stoi(words.at(7));
    const int end = first + std::stoi(words.at(6)) * step;
    if (words.size() > 9) MapControl(words.at(9), std::stoi(words.at(10)));
    const int acknowledged =
        open(words.at(8).c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    fieldstore::SetPauseFunction([](std::chrono::microseconds) { Park(milliseconds(1)); });
    int failures = 0;
    for (int key = first; key < end; key += step) {
        if (IsClosed()) Park(milliseconds(1));
        SetState(kBusy);
        const auto object = campaigns::Open(name, words.at(3), text, true, true);
        const bool hasLarge = name != "POSolutionMetrics" && large != 0;
        const int size = !hasLarge ? 0 : key / step % kLargeEvery == 0 ? large : kSmall;
        campaigns::Fill(*object, key, size);
        while (object->Commit(false) != 0) ++failures;
        Acknowledge(acknowledged, key);
    }
    SetState(kParked);
    std::cout << failures << '\n';
    return 0;
}

std::set<int> Acknowledged(const std::string& path) {
    std::ifstream file(path);
    std::set<int> keys;
    std::string line;
    while (std::getline(file, line))
        if (!file.eof()) keys.insert(std::stoi(line));
    return keys;
}

int Read(const std::vector<std::string>& words) {
    const std::string& name = words.at(1);
    int whole = 0;
    int failed = 0;
    while (!std::filesystem::exists(words.at(5))) {
        const auto before = Acknowledged(words.at(4));
        const auto object = campaigns::Open(name, words.at(3), words.at(2) == "text", false, false);
        if (object->Load() != 0) {
            if (!before.empty()) ++failed;  // else there need not be a file yet
            continue;
        }
        const auto keys = campaigns::Keys(*object);
        const bool complete = samples::Appends(name) ? std::includes(keys.begin(), keys.end(),
                                                                     before.begin(), before.end())
                                                     : keys.size() == 1;
        if (!complete) {
            std::cerr << "A load gave 0 without what was acknowledged.\n";
            return kWrongData;
        }
        ++whole;
    }
    std::cout << whole << ' ' << failed << '\n';
    return 0;
}

int PrintKeys(const std::vector<std::string>& words) {
    const auto object =
        campaigns::Open(words.at(1), words.at(3), words.at(2) == "text", false, false);
    const int result = object->Load();
    std::cout << result;
    if (result == 0)
        for (const int key : campaigns::Keys(*object)) std::cout << ' ' << key;
    std::cout << '\n';
    return 0;
}

}  // namespace

int main(int count, char** arguments) {
    return campaigns::RunOperation({{"write", Write}, {"read", Read}, {"keys", PrintKeys}},
                                   kWrongData, count, arguments);
}
