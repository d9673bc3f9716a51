// SPDX-License-Identifier: Apache-2.0
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "reliability/fuzz/Child.h"
#include "tests/samples/SampleFiles.h"

// Cuts every sample file at every byte, changes every byte of it to several values, and loads what
// comes out. A crash, a sanitizer's report, a hang, or a cut that loses data and loads all the same
// is a fault. With a number N as argument only every Nth of them is tried.
namespace {

using namespace fieldstore::fuzz;

constexpr unsigned kPatience = 20;  // seconds for a load, under sanitizers

std::array<char, 7> ChangesOf(char byte) {
    constexpr char lowest = 1, highest = '\x80';
    return {'\0', '\xff', static_cast<char>(byte ^ lowest), static_cast<char>(byte ^ highest), '-',
            '9',  ' '};
}
constexpr std::size_t kChanges = std::tuple_size_v<decltype(ChangesOf(' '))>;

/// What the children of a file have done; `number` is the case that the last one was at.
struct Tally {
    std::size_t number;
    std::size_t cuts, cutsThatLoad, changes, changesThatLoad;
    bool fault;

    void Add(const Tally& other) {
        cuts += other.cuts;
        cutsThatLoad += other.cutsThatLoad;
        changes += other.changes;
        changesThatLoad += other.changesThatLoad;
    }
};

/// The ways to damage a file: first the cuts, then the changes, byte after byte.
class Damage {
public:
    Damage(const SampleFile& damaged, const Shared<Tally>& shared)
        : sample(damaged), tally(shared) {}

    std::size_t Cases() const { return Size() * (1 + kChanges); }
    std::string NameOf(std::size_t number) const {
        if (number < Size()) return sample.Label() + ": cut at byte " + std::to_string(number);
        const std::size_t byte = (number - Size()) / kChanges;
        const auto to = static_cast<unsigned char>(Changed(number)[byte]);
        return sample.Label() + ": byte " + std::to_string(byte) + " changed to " +
               std::to_string(to);
    }
    void Try(std::size_t number) const { number < Size() ? TryCut(number) : TryChange(number); }

private:
    std::size_t Size() const { return sample.content.size(); }

    /// A cut loads at the end of a body alone, and gives the bodies before it.
    void TryCut(std::size_t end) const {
        ++tally->cuts;
        file.Fill(sample.content.substr(0, end));
        const auto loaded = LoadedData(sample, file);
        const auto expected = sample.dataUpTo.find(end);
        const bool loads = expected != sample.dataUpTo.end();
        tally->cutsThatLoad += loaded ? 1 : 0;
        tally->fault = loads ? loaded != expected->second : loaded.has_value();
    }

    std::string Changed(std::size_t number) const {
        std::string content = sample.content;
        char& byte = content[(number - Size()) / kChanges];
        byte = ChangesOf(byte)[(number - Size()) % kChanges];
        return content;
    }
    void TryChange(std::size_t number) const {
        const std::string content = Changed(number);
        if (content == sample.content) return;
        ++tally->changes;
        file.Fill(content);
        if (LoadedData(sample, file)) ++tally->changesThatLoad;
    }

    const SampleFile& sample;
    const Shared<Tally>& tally;
    MemoryFile file;
};

/// Returns the number of faults.
int DamageOne(const SampleFile& sample, std::size_t step, Tally& total) {
    const Shared<Tally> tally;
    const Damage damage(sample, tally);
    int faults = 0;
    const auto report = [&](const std::string& trouble) {
        ++faults;
        std::printf("FAULT: %s: %s\n", damage.NameOf(tally->number).c_str(), trouble.c_str());
    };
    while (tally->number < damage.Cases()) {
        const ChildEnd end = InChild(kPatience, [&] {
            for (; tally->number < damage.Cases(); tally->number += step) {
                alarm(kPatience);
                damage.Try(tally->number);
                if (tally->fault) return;
            }
        });
        if (!end.trouble.empty()) report(end.trouble);
        if (tally->fault) report("what loads is not what stands before the cut");
        tally->fault = false;
        if (tally->number < damage.Cases()) tally->number += step;
    }
    total.Add(*tally.operator->());
    return faults;
}

}  // namespace

int main(int count, char** arguments) {
    const std::size_t step = count > 1 ? std::strtoul(arguments[1], nullptr, 10) : 1;
    Tally total{};
    int faults = 0;
    const auto files = AllSampleFiles();
    for (std::size_t i = 0; i < files.size(); ++i) {
        if (isatty(STDERR_FILENO) != 0)
            std::fprintf(stderr, "\r%zu of %zu files", i + 1, files.size());
        faults += DamageOne(files[i], step, total);
    }
    std::printf(
        "%zu files\n%zu cuts: %zu fail to load, %zu load the bodies before the cut\n"
        "%zu changed bytes: %zu fail to load, %zu load\n%d faults\n",
        files.size(), total.cuts, total.cuts - total.cutsThatLoad, total.cutsThatLoad,
        total.changes, total.changes - total.changesThatLoad, total.changesThatLoad, faults);
    return faults == 0 ? 0 : 1;
}
