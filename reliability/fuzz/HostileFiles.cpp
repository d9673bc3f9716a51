// SPDX-License-Identifier: Apache-2.0
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "reliability/fuzz/Child.h"
#include "tests/samples/SampleFiles.h"
#include "tests/samples/Samples.h"

// Loads files of 1 MiB that are made to cost as much as they can, for every class in both modes:
// false counts at every place of a sample, before bytes that keep a reader busy; very many bodies,
// entries and empty containers; long numbers, lines and white space. Tells the longest time on the
// processor and the most memory. Status 1 beyond what is promised. With a number N as argument
// only every Nth place gets false counts.
namespace {

using namespace fieldstore::fuzz;

constexpr std::size_t kSize = std::size_t{1} << 20;
constexpr double kMostSeconds = 2, kMostMebibytes = 256;
constexpr unsigned kPatience = 60;

std::string Repeated(const std::string& part, std::size_t size) {
    std::string whole;
    while (whole.size() < size) whole += part;
    whole.resize(size);
    return whole;
}

template <typename T>
std::string Raw(T value) {
    std::string bytes(sizeof value, '\0');
    std::memcpy(bytes.data(), &value, sizeof value);
    return bytes;
}

/// Calls `take` with numbers that count down, in pieces of `makeEntry`, until they fill a file:
/// keys in an order for which a reader is not made.
std::string Descending(const std::function<std::string(int)>& makeEntry, std::size_t size) {
    std::string whole;
    for (int key = 1000000; whole.size() < size; --key) whole += makeEntry(key);
    return whole;
}

/// What follows a false count, up to the end of the file.
std::vector<std::string> Fillings(bool text) {
    if (!text) {
        const std::string one = Raw<std::uint64_t>(1), million = Raw<std::uint64_t>(1U << 20U);
        return {Repeated(Raw<std::uint64_t>(0), kSize),
                Repeated(one, kSize),
                Repeated("\xff", kSize),
                Repeated(million, kSize),
                Descending([](int key) { return Raw(key); }, kSize),
                Descending([](int key) { return Raw(key) + Raw<std::uint64_t>(0); }, kSize),
                Descending([](int key) { return Raw(key) + Raw(key); }, kSize)};
    }
    const std::string zeros = Repeated("0", kSize - 1) + "\n",
                      nines = Repeated("9", kSize - 1) + "\n";
    return {Repeated("0 ", kSize),
            Repeated("1\n", kSize),
            Repeated("1000000 ", kSize),
            Repeated("1e-400 ", kSize),
            Repeated(" ", kSize),
            zeros + "1 ",
            nines,
            "0." + nines,
            "1e" + nines,
            Repeated("0.30000000000000004 ", kSize),
            Repeated("-", kSize),
            Descending([](int key) { return std::to_string(key) + " "; }, kSize),
            Descending([](int key) { return std::to_string(key) + " 0 "; }, kSize)};
}

/// The places at which a value of a file may begin.
std::vector<std::size_t> Places(const SampleFile& sample) {
    std::vector<std::size_t> places{0};
    const std::string& content = sample.content;
    const auto isSpace = [](char c) { return c == ' ' || c == '\n'; };
    for (std::size_t i = 1; i <= content.size(); ++i) {
        constexpr std::size_t word = 4;
        const bool begins = sample.kind.text
                                ? isSpace(content[i - 1])
                                : (i - sample.version.size()) % word == 0 || i == content.size();
        if (begins) places.push_back(i);
    }
    return places;
}

std::vector<std::string> FalseCounts(bool text) {
    constexpr std::uint64_t justFits = (std::uint64_t{64} << 20) / 24;
    std::vector<std::string> counts{""};
    for (const std::uint64_t count :
         {std::uint64_t{1000}, std::uint64_t{1} << 17, std::uint64_t{1} << 20, justFits,
          std::uint64_t{1} << 24, std::uint64_t{10000000000}, ~std::uint64_t{0}})
        counts.push_back(text ? std::to_string(count) + "\n" : Raw(count));
    return counts;
}

/// The costs of the loads so far.
struct Worst {
    std::size_t files = 0, loaded = 0, faults = 0;
    double seconds = 0, mebibytes = 0;
    std::string slowest, largest;
};

class Trial {
public:
    void Load(const SampleFile& like, std::string content, const std::string& what) {
        content.resize(std::min(content.size(), kSize));
        file.Fill(content);
        loads->yes = false;
        const ChildEnd end = InChild(kPatience, [&] { loads->yes = Loads(like); });
        const std::string name = like.Label() + ": " + what;
        ++worst.files;
        worst.loaded += loads->yes ? 1U : 0U;
        if (end.seconds > worst.seconds) worst.slowest = name;
        if (end.mebibytes > worst.mebibytes) worst.largest = name;
        worst.seconds = std::max(worst.seconds, end.seconds);
        worst.mebibytes = std::max(worst.mebibytes, end.mebibytes);
        if (end.trouble.empty() && end.seconds < kMostSeconds && end.mebibytes < kMostMebibytes)
            return;
        ++worst.faults;
        std::printf("FAULT: %s: %.2f s, %.0f MiB %s\n", name.c_str(), end.seconds, end.mebibytes,
                    end.trouble.c_str());
    }
    const Worst& Result() const { return worst; }

private:
    struct Answer {
        bool yes;
    };
    bool Loads(const SampleFile& like) const {
        const auto object = samples::New(like.kind.name);
        if (like.blocked) dynamic_cast<IPODOFList&>(*object).SetSelectedBlock(0);
        return fieldstore::fuzz::Load(*object, file, like.kind.text) == 0;
    }

    MemoryFile file;
    const Shared<Answer> loads;
    Worst worst;
};

void TryFalseCounts(const SampleFile& sample, std::size_t step, Trial& trial) {
    const auto places = Places(sample);
    const auto fillings = Fillings(sample.kind.text);
    const auto counts = FalseCounts(sample.kind.text);
    for (std::size_t place = 0; place < places.size(); place += step) {
        for (std::size_t count = 0; count < counts.size(); ++count) {
            for (std::size_t filling = 0; filling < fillings.size(); ++filling) {
                trial.Load(
                    sample,
                    sample.content.substr(0, places[place]) + counts[count] + fillings[filling],
                    "byte " + std::to_string(places[place]) + ", count " + std::to_string(count) +
                        ", filling " + std::to_string(filling));
            }
        }
    }
}

/// Metrics of many bodies whose definitions ask for more, or far more, values than there are: few
/// keys and many, and one long vector that every later body adds to.
void TryClaims(Trial& trial) {
    SampleFile like{};
    like.kind.name = "POSolutionMetrics";
    constexpr std::uint32_t counts[] = {2, 3, 1000, 1U << 17U, 1U << 24U, 0x7fffffff, 0xffffffff};
    constexpr std::uint32_t longest = 60000;
    for (int function = IPOSolutionMetrics::eReplace; function <= IPOSolutionMetrics::eMin;
         ++function) {
        for (const std::uint32_t count : counts) {
            for (const std::uint32_t keys : {1U, 100U, 10000U}) {
                const auto body = ClaimingMetrics(false, function, count, keys, 1);
                trial.Load(like, Repeated(body, kSize - kSize % body.size()),
                           "function " + std::to_string(function) + " claims " +
                               std::to_string(count) + " for " + std::to_string(keys) + " keys");
            }
        }
        const auto small = ClaimingMetrics(false, function, longest, 1, 1);
        std::string file = ClaimingMetrics(false, function, longest, 1, longest);
        while (file.size() + small.size() < kSize) file += small;
        trial.Load(like, file, "function " + std::to_string(function) + ", one long vector");
    }
}

/// As many bookmarks as an index of 1 MiB holds, all for the same place.
std::string FullIndex(const SampleFile& blocked) {
    constexpr std::size_t header = 11 * sizeof(int);
    constexpr int width = 7, entries = 69000;
    std::string index = Raw(entries) + Raw(width);
    for (int i = 0; i < entries; ++i) {
        std::string name = std::to_string(i);
        name.resize(width);
        index += name + Raw(std::int64_t{header});
    }
    return blocked.content.substr(0, header) + Raw(std::uint64_t{index.size()}) + index;
}

}  // namespace

int main(int argumentCount, char** arguments) {
    const std::size_t step = argumentCount > 1 ? std::strtoul(arguments[1], nullptr, 10) : 1;
    Trial trial;
    std::size_t done = 0;
    const auto samples = AllSampleFiles();
    for (const SampleFile& sample : samples) {
        if (isatty(STDERR_FILENO) != 0)
            std::fprintf(stderr, "\r%zu of %zu kinds of files", ++done, samples.size());
        trial.Load(sample, Repeated(sample.content, kSize), "the sample again and again");
        trial.Load(sample, "!" + Repeated("v", kSize), "a long version line");
        if (sample.blocked) trial.Load(sample, FullIndex(sample), "a full index");
        if (sample.bodies == 1) TryFalseCounts(sample, step, trial);
    }
    TryClaims(trial);
    const Worst& worst = trial.Result();
    std::printf("%zu files of 1 MiB: %zu fail to load, %zu load\n", worst.files,
                worst.files - worst.loaded, worst.loaded);
    std::printf("longest: %.2f s (%s)\nlargest: %.0f MiB (%s)\n", worst.seconds,
                worst.slowest.c_str(), worst.mebibytes, worst.largest.c_str());
    std::printf("%zu faults\n", worst.faults);
    return worst.faults == 0 ? 0 : 1;
}
