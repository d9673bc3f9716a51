// SPDX-License-Identifier: Apache-2.0
// A process on a disk that loses power, and those that look at what is left of it.
//
//   power_host write CLASS MODE FILE SIZE FIRST COUNT STEP ACKNOWLEDGED synced|unsynced
//   power_host keys CLASS MODE FILE...
//
// write commits bodies of the keys FIRST, FIRST + STEP ... under the lock, an object each, of about
// SIZE numbers, or the small samples of the tests when that is 0. Each key goes to ACKNOWLEDGED
// once its commit gave 0. A # in FILE stands for the key. Status 1 as soon as a commit fails.
//
// keys prints a line for each file: the result of a load and the keys, or "wrong" when it gave 0
// with values that nobody wrote.
#include <fcntl.h>
#include <unistd.h>

#include <iostream>
#include <stdexcept>
#include <thread>
#include <vector>

#include "fieldstore/IPOStorageControl.h"
#include "reliability/campaigns/Bodies.h"
#include "streams/RetryPause.h"
#include "tests/samples/Samples.h"

namespace {

constexpr int kKeys = 100;  // more than any run commits

void SetDurability(const std::shared_ptr<IPOBase>& object, const std::string& word) {
    const auto durability =
        word == "synced" ? IPOStorageControl::eSynced : IPOStorageControl::eUnsynced;
    std::dynamic_pointer_cast<IPOStorageControl>(object)->SetDurability(durability);
}

void Acknowledge(int file, int key) {
    const std::string line = std::to_string(key) + "\n";
    if (write(file, line.data(), line.size()) != static_cast<ssize_t>(line.size()))
        throw std::runtime_error("A commit cannot be acknowledged.");
}

std::string PathOf(std::string path, int key) {
    const auto place = path.find('#');
    return place == std::string::npos ? path : path.replace(place, 1, std::to_string(key));
}

int Write(const std::vector<std::string>& words) {
    const int size = std::stoi(words.at(4));
    const int first = std::stoi(words.at(5));
    const int step = std::stoi(words.at(7));
    const int end = first + std::stoi(words.at(6)) * step;
    const int acknowledged = open(words.at(8).c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
    fieldstore::SetPauseFunction([](std::chrono::microseconds) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    });
    for (int key = first; key < end; key += step) {
        const auto object = campaigns::Open(words.at(1), PathOf(words.at(3), key),
                                            words.at(2) == "text", true, true);
        SetDurability(object, words.at(9));
        campaigns::Fill(*object, key, size);
        if (object->Commit(false) != 0) {
            const auto control = std::dynamic_pointer_cast<IPOStorageControl>(object);
            const std::string reason = control->GetLastError();
            object->Load();  // has the destructor leave it
            throw std::runtime_error("A commit failed: " + reason);
        }
        Acknowledge(acknowledged, key);
    }
    return 0;
}

/// What the sample of a key holds. It is never destroyed, since its end would commit it.
std::string DescribeSample(const std::string& name, int key) {
    auto& sample = *new std::shared_ptr<IPOBase>(samples::New(name));
    samples::Fill(*sample, key);
    return samples::Describe(*sample);
}

/// Of a sample of a class whose objects do not tell their key.
int KeyByComparison(const std::string& name, IPOBase& object) {
    const std::string held = samples::Describe(object);
    for (int key = 0; key < kKeys; ++key)
        if (held == DescribeSample(name, key)) return key;
    throw std::runtime_error("A body has a value that nobody wrote.");
}

std::set<int> KeysIn(const std::string& name, IPOBase& object) {
    if (samples::Appends(name) || name == "POMeshTree") return campaigns::Keys(object);
    return {KeyByComparison(name, object)};
}

std::string Line(const std::string& name, bool text, const std::string& path) {
    const auto object = campaigns::Open(name, path, text, false, false);
    const int result = object->Load();
    std::string line = std::to_string(result);
    if (result != 0) return line;
    try {
        for (const int key : KeysIn(name, *object)) line += " " + std::to_string(key);
    } catch (const std::exception&) {
        return "wrong";
    }
    return line;
}

int PrintKeys(const std::vector<std::string>& words) {
    for (std::size_t file = 3; file < words.size(); ++file)
        std::cout << Line(words.at(1), words.at(2) == "text", words[file]) << '\n';
    return 0;
}

}  // namespace

int main(int count, char** arguments) {
    return campaigns::RunOperation({{"write", Write}, {"keys", PrintKeys}}, 1, count, arguments);
}
